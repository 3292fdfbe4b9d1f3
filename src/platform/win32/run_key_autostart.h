// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/file_system.h"
#include "platform/system/autostart.h"

namespace relaybird {

/// Where the programs are named that start with the user's session.
inline constexpr const char* kRunKey = "Software\\Microsoft\\Windows\\CurrentVersion\\Run";
/// Where the system's own settings note which of them the user has switched off.
inline constexpr const char* kRunApprovalKey =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\StartupApproved\\Run";
/// The name of the program's value in both. The installer reads it from this line.
inline constexpr const char* kRunValue = "Relaybird";

/// Autostart by the user's Run key of the registry.
class RunKeyAutostart : public Autostart {
 public:
  /// Starts `program`, an absolute path. `files` must outlive it.
  RunKeyAutostart(FileSystem& files, std::string program);

  bool offered() const override { return true; }
  /// False for a value that the system's settings have switched off, and for one whose program no
  /// longer exists. True for another copy of the program; switching it off and on makes it this
  /// one.
  bool enabled() override;
  Result<void> setEnabled(bool enabled) override;

 private:
  FileSystem& files_;
  std::string program_;
};

}  // namespace relaybird
