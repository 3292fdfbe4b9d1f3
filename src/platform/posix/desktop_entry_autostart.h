// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/file_system.h"
#include "platform/system/autostart.h"

namespace relaybird {

/// Autostart on freedesktop.org desktops: an entry in the user's autostart folder.
class DesktopEntryAutostart : public Autostart {
 public:
  /// The entry goes into `configFolder`/autostart and starts `program`, an absolute path. `files`
  /// must outlive it.
  DesktopEntryAutostart(FileSystem& files, std::string configFolder, std::string program);

  bool offered() const override { return true; }
  /// False for an entry that the desktop's own settings have switched off, and for one whose
  /// program no longer exists. True for one that starts another copy of the program; switching it
  /// off and on makes it start this copy.
  bool enabled() override;
  /// The entry is written whole or not at all.
  Result<void> setEnabled(bool enabled) override;

 private:
  FileSystem& files_;
  std::string file_;
  std::string program_;
};

/// One word of the Exec key of a desktop entry, quoted, and escaped as a string value.
std::string desktopEntryWord(const std::string& word);

}  // namespace relaybird
