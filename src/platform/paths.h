// SPDX-License-Identifier: MIT
// The names of files and folders as text: the one place where a path is taken apart or put
// together. No call looks at a disk. Every call takes the style of the paths, so that either
// system's rules are tested on both; the programs use the default, their own system's.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

enum class PathStyle {
  /// "/" is the only separator, and a path that begins with it is absolute.
  kPosix,
  /// Both "\" and "/" separate. A path may begin with a drive ("C:") or with a share
  /// ("\\server\share"), and is absolute with either of them and a separator.
  kWindows,
};

/// The style of the system that the program was built for.
PathStyle nativePathStyle();

bool isSeparator(char character, PathStyle style = nativePathStyle());

/// Whether the path names the same file wherever the program was started. On Windows neither
/// "C:name", which depends on the current folder of drive C, nor "\name", which depends on the
/// current drive, does.
bool isAbsolutePath(std::string_view path, PathStyle style = nativePathStyle());

/// Removes a path's last component ("/a/b" -> "/a", "C:\a" -> "C:\"). A root stays what it is, and
/// the folder of a name alone is ".". Separators at the end and repeated ones do not count.
std::string parentFolder(std::string_view path, PathStyle style = nativePathStyle());

/// The last component ("/a/b" -> "b"); empty for a root and after a separator at the end.
std::string_view fileNameOf(std::string_view path, PathStyle style = nativePathStyle());

/// The path of `name` in the folder; a name of several components has "/" between them. Adds the
/// kind of separator that the folder itself uses, or the system's own, and none where the folder
/// ends in one. An empty folder counts as the root: a
/// folder that is not known must not make a path that depends on where the program was started.
std::string joinPath(std::string_view folder, std::string_view name,
                     PathStyle style = nativePathStyle());

/// What `path` names for somebody who is in `folder`: the path itself where it is absolute, else
/// the path in the folder, on its drive, or at its root.
std::string pathFrom(std::string_view folder, std::string_view path,
                     PathStyle style = nativePathStyle());

/// The path without separators at its end. A root keeps its own.
std::string_view withoutClosingSeparators(std::string_view path,
                                          PathStyle style = nativePathStyle());

/// The part before the last separator after the first character, for a path that names a file;
/// empty without one. Other than parentFolder(), it keeps repeated separators and knows no root.
std::string_view folderPart(std::string_view filePath, PathStyle style = nativePathStyle());

}  // namespace relaybird
