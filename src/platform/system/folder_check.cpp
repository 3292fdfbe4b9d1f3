// SPDX-License-Identifier: MIT
#include "platform/system/folder_check.h"

#include <cerrno>
#include <string>
#include <vector>

namespace relaybird {
namespace {

// The part before the last separator that is not the first character; empty where there is none.
std::string_view folderPart(std::string_view path, char separator) {
  const auto last = path.rfind(separator);
  if (last == std::string_view::npos || last == 0) {
    return {};
  }
  return path.substr(0, last);
}

enum class Presence { kFolder, kMissing, kObstacle };

Presence look(FileSystem& files, const std::string& path, char separator) {
  auto info = files.inspect(path);
  // Seen from behind, a link is what it points to.
  if (info && info->type == FileType::kLink) {
    info = files.inspect(path + separator + '.');
  }
  if (info) {
    return info->type == FileType::kFolder ? Presence::kFolder : Presence::kObstacle;
  }
  return info.error().code == ENOENT ? Presence::kMissing : Presence::kObstacle;
}

}  // namespace

bool MakeFolderPath(FileSystem& files, std::string_view filePath, char separator) {
  const std::string_view folder = folderPart(filePath, separator);
  if (folder.empty()) {
    return false;
  }

  std::vector<std::string> missing;
  for (std::string_view level = folder; !level.empty(); level = folderPart(level, separator)) {
    if (level.back() == separator) {
      continue;  // a doubled separator names nothing
    }
    const Presence presence = look(files, std::string(level), separator);
    if (presence == Presence::kFolder) {
      break;
    }
    if (presence == Presence::kObstacle) {
      return false;
    }
    missing.emplace_back(level);
  }
  for (auto level = missing.rbegin(); level != missing.rend(); ++level) {
    const auto made = files.createFolder(*level);
    // Another process may have been faster; whether it made a folder shows below.
    if (!made && made.error().code != EEXIST) {
      return false;
    }
    // A file synced in a folder whose own name a power cut loses would be lost with it. Where this
    // fails the folder is still there, which is what was asked.
    const std::string_view parent = folderPart(*level, separator);
    if (!parent.empty()) {
      (void)files.syncFolder(std::string(parent));
    }
  }
  return missing.empty() || look(files, missing.front(), separator) == Presence::kFolder;
}

}  // namespace relaybird
