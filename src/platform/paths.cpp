// SPDX-License-Identifier: MIT
// A path is read in two steps: how long its root is (a drive, a share, separators at the front),
// and then the names after it. Nothing here repairs a path: ".." stays, because after a link it
// does not lead back to where the name before it is.
#include "platform/paths.h"

#include <algorithm>
#include <filesystem>

namespace relaybird {
namespace {

constexpr PathStyle kNativeStyle =
    std::filesystem::path::preferred_separator == '\\' ? PathStyle::kWindows : PathStyle::kPosix;

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The parts of a root, as lengths from the beginning of the path.
struct Root {
  std::size_t name = 0;   // the drive "C:" or the share "\\server\share"
  std::size_t whole = 0;  // and the separators that follow
};

class PathReader {
 public:
  PathReader(std::string_view path, PathStyle style) : path_(path), style_(style) {}

  Root root() const {
    Root root;
    if (style_ == PathStyle::kWindows) {
      root.name = isDrive() ? 2 : shareLength();
    }
    root.whole = afterSeparators(root.name);
    return root;
  }

 private:
  bool isDrive() const { return path_.size() >= 2 && isLetter(path_[0]) && path_[1] == ':'; }
  bool separates(std::size_t at) const { return isSeparator(path_[at], style_); }

  // Exactly two separators begin a share; three or more are like one. The prefixes "\\?\" and
  // "\\.\" of the system's long names have the same form: "\\?\C:" is the root name there.
  std::size_t shareLength() const {
    if (path_.size() < 3 || !separates(0) || !separates(1) || separates(2)) {
      return 0;
    }
    const std::size_t server = afterName(2);
    return afterName(afterSeparators(server));
  }
  std::size_t afterSeparators(std::size_t at) const {
    while (at < path_.size() && separates(at)) {
      ++at;
    }
    return at;
  }
  std::size_t afterName(std::size_t at) const {
    while (at < path_.size() && !separates(at)) {
      ++at;
    }
    return at;
  }

  std::string_view path_;
  PathStyle style_;
};

Root rootOf(std::string_view path, PathStyle style) {
  return PathReader(path, style).root();
}

bool isShare(std::string_view path, const Root& root, PathStyle style) {
  return root.name > 0 && isSeparator(path.front(), style);
}

// The separator that the path uses itself. A path that other programs show as well should not
// mix the two.
char separatorOf(std::string_view path, PathStyle style) {
  for (auto c = path.rbegin(); c != path.rend(); ++c) {
    if (isSeparator(*c, style)) {
      return *c;
    }
  }
  return style == PathStyle::kWindows ? '\\' : '/';
}

// The end of the last name that ends before `end`, down to the root.
std::size_t beforeSeparators(std::string_view path, std::size_t end, std::size_t root,
                             PathStyle style) {
  while (end > root && isSeparator(path[end - 1], style)) {
    --end;
  }
  return end;
}

std::size_t beforeName(std::string_view path, std::size_t end, std::size_t root, PathStyle style) {
  while (end > root && !isSeparator(path[end - 1], style)) {
    --end;
  }
  return end;
}

}  // namespace

PathStyle nativePathStyle() {
  return kNativeStyle;
}

bool isSeparator(char character, PathStyle style) {
  return character == '/' || (character == '\\' && style == PathStyle::kWindows);
}

bool isAbsolutePath(std::string_view path, PathStyle style) {
  const Root root = rootOf(path, style);
  if (style == PathStyle::kPosix) {
    return root.whole > 0;
  }
  return root.name > 0 && (root.whole > root.name || isShare(path, root, style));
}

std::string parentFolder(std::string_view path, PathStyle style) {
  const Root root = rootOf(path, style);
  std::size_t end = beforeSeparators(path, path.size(), root.whole, style);
  end = beforeSeparators(path, beforeName(path, end, root.whole, style), root.whole, style);
  if (end > root.whole) {
    return std::string(path.substr(0, end));
  }
  // One separator is as good as many; without a root the name was all that there is.
  const std::size_t length = std::min(root.name + 1, root.whole);
  return length == 0 ? "." : std::string(path.substr(0, length));
}

std::string_view fileNameOf(std::string_view path, PathStyle style) {
  const std::size_t root = rootOf(path, style).whole;
  return path.substr(beforeName(path, path.size(), root, style));
}

std::string joinPath(std::string_view folder, std::string_view name, PathStyle style) {
  const Root root = rootOf(folder, style);
  // "C:" is the current folder of the drive; a separator would make it the drive's root.
  const bool driveAlone =
      root.name > 0 && root.name == folder.size() && !isShare(folder, root, style);
  const char separator = separatorOf(folder, style);
  std::string path(folder);
  if (!driveAlone && (folder.empty() || !isSeparator(folder.back(), style))) {
    path += separator;
  }
  path += name;
  // On Windows no name has a "/", so that each one in the text divides components.
  std::replace(path.end() - static_cast<std::ptrdiff_t>(name.size()), path.end(), '/', separator);
  return path;
}

std::string pathFrom(std::string_view folder, std::string_view path, PathStyle style) {
  const Root root = rootOf(path, style);
  const Root folderRoot = rootOf(folder, style);
  if (isAbsolutePath(path, style)) {
    return std::string(path);
  }
  // "\name": at the root of the folder's drive or share.
  if (root.whole > root.name) {
    return std::string(folder.substr(0, folderRoot.name)).append(path);
  }
  if (root.name > 0) {
    // "C:name": in the folder where that is on the same drive. The current folder of another drive
    // is not ours to know.
    const bool sameDrive = folderRoot.name == root.name && (folder[0] | 0x20) == (path[0] | 0x20);
    return sameDrive ? joinPath(folder, path.substr(root.name), style) : std::string(path);
  }
  return joinPath(folder, path, style);
}

std::string_view withoutClosingSeparators(std::string_view path, PathStyle style) {
  const Root root = rootOf(path, style);
  const std::size_t end = beforeSeparators(path, path.size(), root.whole, style);
  return path.substr(0, end > root.whole ? end : std::min(root.name + 1, root.whole));
}

std::string_view folderPart(std::string_view filePath, PathStyle style) {
  std::size_t last = filePath.size();
  while (last > 1 && !isSeparator(filePath[last - 1], style)) {
    --last;
  }
  return last > 1 ? filePath.substr(0, last - 1) : std::string_view{};
}

}  // namespace relaybird
