// SPDX-License-Identifier: MIT
// The calls that are made of several primitive steps. Their order is what keeps a crash or a full
// disk from losing data, so each step says why it is there.
#include "platform/file_system.h"

#include <algorithm>
#include <cerrno>

namespace relaybird {
namespace {

constexpr std::size_t kReadSize = std::size_t{64} << 10;
// A crash leaves at most one of these, so only somebody who creates them on purpose reaches this
// limit.
constexpr int kTemporaryNames = 1000;

struct TemporaryFile {
  std::string path;
  std::unique_ptr<OutputFile> file;
};

// Numbered names rather than one fixed name: a file left by a crash does not block anything, and
// two writers never share a file.
Result<TemporaryFile> createBeside(FileSystem& files, const std::string& path) {
  for (int number = 1;; ++number) {
    TemporaryFile temporary{temporaryName(path, number), nullptr};
    auto file = files.create(temporary.path);
    if (file) {
      temporary.file = std::move(*file);
      return temporary;
    }
    // Beside the file and not in a folder for temporary files: a rename works within one file
    // system.
    if (file.error().code != EEXIST || number == kTemporaryNames) {
      return file.error();
    }
  }
}

Result<void> fill(OutputFile& file, std::string_view bytes) {
  if (auto written = file.write(bytes); !written) {
    return written;
  }
  // Without this, a crash soon after the rename could leave an empty file under the new name.
  if (auto synced = file.sync(); !synced) {
    return synced;
  }
  return file.close();
}

enum class Presence { kFolder, kMissing, kObstacle };

// What stands at the path. Anything but a missing name is an obstacle, also a name that may not be
// looked at.
Presence look(FileSystem& files, const std::string& path) {
  auto info = files.inspect(path);
  if (info && info->type == FileType::kLink) {
    info = files.inspectTarget(path);
  }
  if (info) {
    return info->type == FileType::kFolder ? Presence::kFolder : Presence::kObstacle;
  }
  return info.error().code == ENOENT ? Presence::kMissing : Presence::kObstacle;
}

}  // namespace

Result<std::string> readFile(FileSystem& files, const std::string& path, std::size_t limit) {
  auto file = files.open(path);
  if (!file) {
    return file.error();
  }
  std::string bytes;
  // The size is a hint only: the file may grow or shrink meanwhile, and some report 0. There is
  // room for the read that finds the end, so that a large file is not copied for it.
  const std::uint64_t expected = (*file)->info().size + kReadSize;
  bytes.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(expected, limit)));
  while (bytes.size() < limit) {
    const std::size_t before = bytes.size();
    bytes.resize(before + std::min(limit - before, kReadSize));
    const auto got = (*file)->readAt(before, bytes.data() + before, bytes.size() - before);
    if (!got) {
      return got.error();
    }
    bytes.resize(before + *got);
    if (*got == 0) {
      break;
    }
  }
  return bytes;
}

// Write beside, sync, rename, sync the folder: at every moment, also after a power cut, the path
// has the old bytes or the new ones, and no mixture.
Result<void> replaceFile(FileSystem& files, const std::string& path, std::string_view bytes) {
  auto temporary = createBeside(files, path);
  if (!temporary) {
    return temporary.error();
  }
  auto done = fill(*temporary->file, bytes);
  temporary->file.reset();
  if (done) {
    done = files.rename(temporary->path, path);
  }
  if (!done) {
    // Keep the first error; clean-up is best effort.
    (void)files.remove(temporary->path);
    return done;
  }
  return files.syncFolder(parentFolder(path));
}

std::string temporaryName(const std::string& path, int number) {
  return path + '.' + std::to_string(number) + ".tmp";
}

bool FileExists(FileSystem& files, const std::string& path) {
  if (path.empty()) {
    return false;
  }
  const Result<FileInfo> info = files.inspectTarget(path);
  return info && info->type == FileType::kRegular;
}

// From the longest existing folder down. Each name is synced, because files in the folder are
// useless after a power cut if its name is lost.
bool MakeFolderPath(FileSystem& files, std::string_view filePath, PathStyle style) {
  const std::string_view folder = folderPart(filePath, style);
  if (folder.empty()) {
    return false;
  }

  std::vector<std::string> missing;
  for (std::string_view level = folder; !level.empty(); level = folderPart(level, style)) {
    if (isSeparator(level.back(), style)) {
      continue;  // an empty component between two separators
    }
    const Presence presence = look(files, std::string(level));
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
    // Another process may have created it meanwhile; whether it is a folder is checked below.
    if (!made && made.error().code != EEXIST) {
      return false;
    }
    // Without this, a power cut could lose the folder's name, and all synced files in it. Best
    // effort: the folder exists even if this fails.
    const std::string_view parent = folderPart(*level, style);
    if (!parent.empty()) {
      (void)files.syncFolder(std::string(parent));
    }
  }
  return missing.empty() || look(files, missing.front()) == Presence::kFolder;
}

}  // namespace relaybird
