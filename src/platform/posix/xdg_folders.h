// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/file_system.h"
#include "platform/system/special_folders.h"

namespace relaybird {

/// The value of an environment variable; none when it is not set.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

/// The process's environment.
Environment processEnvironment();
/// The user's home folder in the user database; empty when there is none.
std::string homeFromUserDatabase();

/// modSpecialFol by the XDG Base Directory rules: a variable that is unset, empty or not an
/// absolute path is ignored, and the default below the home folder is used. The home folder is
/// $HOME, or that of the user database. The environment is read at every call. `files` must outlive
/// this.
class XdgFolders : public SpecialFolders {
 public:
  explicit XdgFolders(FileSystem& files, Environment environment = processEnvironment(),
                      std::function<std::string()> fallbackHome = homeFromUserDatabase);

  std::string GetSpecialFolderPath(int folderNumber) const override;
  /// XDG_TEMPLATES_DIR of user-dirs.dirs in the configuration folder; empty if it is missing or
  /// names the home folder itself, which means "none" in that file.
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
