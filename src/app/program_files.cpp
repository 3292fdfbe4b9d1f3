// SPDX-License-Identifier: MIT
#include "app/program_files.h"

#include <limits.h>
#include <unistd.h>

#include <array>

#include "platform/system/file_exists.h"

namespace relaybird {

std::string programFolder() {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) {
    return {};
  }
  return parentFolder({path.data(), static_cast<std::size_t>(length)});
}

std::string defaultHelpFile(FileSystem& files, const std::string& folder) {
  const std::string installed = parentFolder(folder) + "/share/relaybird/rbx.chm";
  const std::string beside = folder + "/rbx.chm";
  return !FileExists(files, installed) && FileExists(files, beside) ? beside : installed;
}

}  // namespace relaybird
