// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/system/special_folders.h"

namespace relaybird {

/// A user without any folder.
class NoFolders : public SpecialFolders {
 public:
  std::string GetSpecialFolderPath(int) const override { return {}; }
  std::string templatesFolder() const override { return {}; }
  std::string windowsFolder() const override { return {}; }
  std::string stateFolder() const override { return {}; }
};

/// A machine without a disk.
class NoFiles : public FileSystem {
 public:
  Result<FileInfo> inspect(const std::string&) override { return nothing(); }
  Result<std::vector<FolderEntry>> list(const std::string&) override { return nothing(); }
  Result<std::unique_ptr<InputFile>> open(const std::string&) override { return nothing(); }
  Result<std::unique_ptr<OutputFile>> create(const std::string&) override { return nothing(); }
  Result<std::unique_ptr<OutputFile>> append(const std::string&) override { return nothing(); }
  Result<void> rename(const std::string&, const std::string&) override { return nothing(); }
  Result<void> remove(const std::string&) override { return nothing(); }
  Result<void> createFolder(const std::string&) override { return nothing(); }
  Result<void> syncFolder(const std::string&) override { return nothing(); }
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string&) override { return nothing(); }

 private:
  static Error nothing() { return {ENOENT, "there is no disk"}; }
};

}  // namespace relaybird
