// SPDX-License-Identifier: MIT
#include "platform/system/file_exists.h"

namespace relaybird {

bool FileExists(FileSystem& files, const std::string& path) {
  if (path.empty()) {
    return false;
  }
  const Result<std::string> target = files.resolve(path);
  if (!target) {
    return false;
  }
  const Result<FileInfo> info = files.inspect(*target);
  return info && info->type == FileType::kRegular;
}

}  // namespace relaybird
