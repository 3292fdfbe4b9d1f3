// SPDX-License-Identifier: MIT
#include "platform/file_system.h"

#include <algorithm>
#include <cerrno>

namespace relaybird {
namespace {

constexpr std::size_t kReadSize = std::size_t{64} << 10;
// A crash leaves at most one of these behind, so only somebody who fills them on purpose meets the
// end of the numbers.
constexpr int kTemporaryNames = 1000;

struct TemporaryFile {
  std::string path;
  std::unique_ptr<OutputFile> file;
};

// Numbered names rather than one fixed name: what a crash left behind is in nobody's way, and two
// writers never share a file.
Result<TemporaryFile> createBeside(FileSystem& files, const std::string& path) {
  for (int number = 1;; ++number) {
    TemporaryFile temporary{temporaryName(path, number), nullptr};
    auto file = files.create(temporary.path);
    if (file) {
      temporary.file = std::move(*file);
      return temporary;
    }
    if (file.error().code != EEXIST || number == kTemporaryNames) {
      return file.error();
    }
  }
}

Result<void> fill(OutputFile& file, std::string_view bytes) {
  if (auto written = file.write(bytes); !written) {
    return written;
  }
  // Without this a crash soon after the rename could leave the new name with an empty file.
  if (auto synced = file.sync(); !synced) {
    return synced;
  }
  return file.close();
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
    // The first error is the one to tell; a file that cannot be removed stays under its own name.
    (void)files.remove(temporary->path);
    return done;
  }
  return files.syncFolder(parentFolder(path));
}

std::string temporaryName(const std::string& path, int number) {
  return path + '.' + std::to_string(number) + ".tmp";
}

std::string parentFolder(std::string_view path) {
  const auto lastOfName = path.find_last_not_of('/');
  if (lastOfName == std::string_view::npos) {
    return path.empty() ? "." : "/";
  }
  const auto separator = path.find_last_of('/', lastOfName);
  if (separator == std::string_view::npos) {
    return ".";
  }
  const auto lastOfParent = path.find_last_not_of('/', separator);
  if (lastOfParent == std::string_view::npos) {
    return "/";
  }
  return std::string(path.substr(0, lastOfParent + 1));
}

}  // namespace relaybird
