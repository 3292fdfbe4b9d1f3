// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird {

/// The shell's number of the per-user application-data folder (CSIDL_APPDATA).
inline constexpr int kAppDataFolder = 26;

/// The platform's folders for a user's files. Paths have no closing separator.
class SpecialFolders {
 public:
  virtual ~SpecialFolders() = default;
  /// The folder of a shell folder number; empty where it cannot be found. Off Windows only
  /// kAppDataFolder is known: $XDG_CONFIG_HOME, or ~/.config.
  virtual std::string GetSpecialFolderPath(int folderNumber) const = 0;
  /// The user's document templates; empty where it cannot be found.
  virtual std::string templatesFolder() const = 0;
  /// The Windows folder; off Windows the same as the application-data folder.
  virtual std::string windowsFolder() const = 0;
  /// The folder for a program's state, data that it keeps between runs but nobody edits:
  /// $XDG_STATE_HOME or ~/.local/state.
  virtual std::string stateFolder() const = 0;

  std::string GetAppDataFolder() const { return GetSpecialFolderPath(kAppDataFolder); }
};

}  // namespace relaybird
