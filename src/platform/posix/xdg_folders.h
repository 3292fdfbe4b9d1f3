// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/file_system.h"
#include "platform/system/special_folders.h"

namespace relaybird {

/// An environment variable's value; none where it is not set.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

/// The process's environment.
Environment processEnvironment();
/// The user's home folder by the user database; empty where it has none.
std::string homeFromUserDatabase();

/// modSpecialFol by the XDG Base Directory rules: a variable that is unset, empty or no absolute
/// path does not count, and the default below the home folder holds. The home folder is $HOME, or
/// that of the user database. The environment is asked at every call. `files` must outlive this.
class XdgFolders : public SpecialFolders {
 public:
  explicit XdgFolders(FileSystem& files, Environment environment = processEnvironment(),
                      std::function<std::string()> fallbackHome = homeFromUserDatabase);

  std::string GetSpecialFolderPath(int folderNumber) const override;
  /// XDG_TEMPLATES_DIR of user-dirs.dirs in the configuration folder; empty where the file does not
  /// name one, or names the home folder itself, which there means "none".
  std::string templatesFolder() const override;
  std::string windowsFolder() const override;
  std::string stateFolder() const override;

 private:
  std::string home() const;
  std::string baseFolder(const std::string& variable, const std::string& belowHome) const;

  FileSystem& files_;
  Environment environment_;
  std::function<std::string()> fallbackHome_;
};

}  // namespace relaybird
