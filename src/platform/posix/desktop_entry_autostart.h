// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/file_system.h"
#include "platform/system/autostart.h"

namespace relaybird {

/// Starting with a free desktop: an entry of the program's own in the user's autostart folder, as
/// freedesktop.org has it for every desktop.
class DesktopEntryAutostart : public Autostart {
 public:
  /// The entry goes into `configFolder`/autostart and starts `program`, a whole path. `files` must
  /// outlive it.
  DesktopEntryAutostart(FileSystem& files, std::string configFolder, std::string program);

  bool offered() const override { return true; }
  /// An entry that the desktop's own settings have switched off does not count, nor one whose
  /// program is no longer there. One that starts another copy of the program does: the program
  /// starts with the desktop, and switching it off and on makes it this one.
  bool enabled() override;
  /// The entry is written whole or not at all.
  Result<void> setEnabled(bool enabled) override;

 private:
  FileSystem& files_;
  std::string file_;
  std::string program_;
};

/// A word of the Exec key of a desktop entry, quoted by its rules and those of its string values.
std::string desktopEntryWord(const std::string& word);

}  // namespace relaybird
