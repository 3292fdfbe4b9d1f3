// SPDX-License-Identifier: MIT
// An older release kept the file elsewhere. It is moved by rename where that works, and by copy for
// a link or another file system. At every step one complete file is in place: whatever fails, the
// settings are the former or the current ones, never a mixture and never the defaults.
#include "prefs/preference_location.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "platform/file_system.h"
#include "prefs/preference_fields.h"
#include "prefs/preference_file.h"

namespace relaybird {

namespace {

// Far more than any settings need; a larger file is renamed but not copied.
constexpr std::size_t kLargestFile = 16 << 20;

constexpr std::string_view kFormerName = "rbx.ini";

// Without the folder there is no file either.
std::string fileIn(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string() : joinPath(folder, name);
}

bool isFile(FileSystem& files, const std::string& path) {
  const Result<FileInfo> info = files.inspect(path);
  return info && info->type == FileType::kRegular;
}

bool isLink(FileSystem& files, const std::string& path) {
  const Result<FileInfo> info = files.inspect(path);
  return info && info->type == FileType::kLink;
}

// The target of a link; any other path unchanged.
// A link that leads nowhere is used as it is, so that the failure is about the name the user knows.
std::string target(FileSystem& files, const std::string& path) {
  Result<std::string> resolved = files.resolve(path);
  return resolved ? *resolved : path;
}

// A file that is not there yet can be written: its folder decides about that later.
bool isReadOnly(FileSystem& files, const std::string& path) {
  const Result<void> allowed = files.mayWrite(path);
  return !allowed && allowed.error().code != ENOENT;
}

// The whole file or nothing: a part must never replace a whole file.
std::optional<std::string> wholeFile(FileSystem& files, const std::string& path) {
  const Result<FileInfo> info = files.inspect(path);
  if (!info || info->size > kLargestFile) {
    return std::nullopt;
  }
  Result<std::string> bytes = readFile(files, path, kLargestFile);
  if (!bytes || bytes->size() != info->size) {
    return std::nullopt;
  }
  return std::move(*bytes);
}

void putBack(FileSystem& files, const std::string& path, const std::optional<std::string>& bytes) {
  // If this fails too there is nothing left to try: the former file, which is used, is still whole.
  if (bytes) {
    static_cast<void>(replaceFile(files, path, *bytes));
  } else {
    static_cast<void>(files.remove(path));
  }
}

// For a former file on another file system, and for a link, which may be relative: the target is
// copied and stays. The former name is removed only once the copy is on disk. If it cannot be
// removed it would replace everything saved later, so the copy is undone.
bool moveByCopy(FileSystem& files, const std::string& former, const std::string& current) {
  const bool replaces = isFile(files, current);
  const std::optional<std::string> replaced = replaces ? wholeFile(files, current) : std::nullopt;
  const std::optional<std::string> bytes = wholeFile(files, target(files, former));
  if (!bytes || (replaces && !replaced)) {
    return false;
  }
  if (!replaceFile(files, current, *bytes)) {
    return false;
  }
  if (files.remove(former)) {
    return true;
  }
  putBack(files, current, replaced);
  return false;
}

// Older releases let everyone read the file. Replacing it makes it readable by its owner only; if
// that fails now, the next save does it. A read-only file stays unchanged.
void makePrivate(FileSystem& files, const std::string& path) {
  if (isReadOnly(files, path)) {
    return;
  }
  const std::optional<std::string> bytes = wholeFile(files, path);
  if (bytes) {
    static_cast<void>(replaceFile(files, path, *bytes));
  }
}

bool moveFile(FileSystem& files, const std::string& former, const std::string& current) {
  if (isReadOnly(files, current)) {
    return false;
  }
  if (isLink(files, former)) {
    return moveByCopy(files, former, current);
  }
  const Result<void> renamed = files.rename(former, current);
  if (renamed) {
    static_cast<void>(files.syncFolder(parentFolder(current)));
    makePrivate(files, current);
  } else if (renamed.error().code != EXDEV || !moveByCopy(files, former, current)) {
    return false;
  }
  // Otherwise a power cut could bring the former name back, and it would replace everything saved
  // from now on.
  static_cast<void>(files.syncFolder(parentFolder(former)));
  return true;
}

bool holdsKey(const ProfileReader& file, const std::string& key) {
  // No value can contain a line break, so this fallback cannot be a value.
  constexpr std::string_view kMissing = "\n";
  return file.get(kHelpSection, key, kMissing) != kMissing;
}

// Asked key by key, because the file may also belong to the memory of the help file.
bool holdsSettings(const ProfileReader& file) {
  return std::any_of(
      kPreferenceFields.begin(), kPreferenceFields.end(), [&](const PreferenceField& field) {
        return holdsKey(file, std::string(field.name)) || holdsKey(file, countKey(field.name));
      });
}

// Both had the same name and place once. One that has settings is moved, whatever else it has.
bool isHelpFileMemory(ProfileStrings& profiles, const SpecialFolders& folders,
                      const std::string& former) {
  if (former != helpMemoryFile(folders)) {
    return false;
  }
  const std::unique_ptr<ProfileReader> file = profiles.read(former);
  return holdsKey(*file, std::string(kHelpKey)) && !holdsSettings(*file);
}

}  // namespace

std::string currentPreferenceFile(const SpecialFolders& folders) {
  return fileIn(fileIn(folders.GetAppDataFolder(), "rbx"), "rbx_prefs.ini");
}

// Where the settings were depended on the system, and still does for those who come from there.
std::string formerPreferenceFile(const SpecialFolders& folders, const OsVersion& osVersion) {
  const bool oldest =
      IsPreWin95(osVersion) || IsWin95(osVersion) || IsWin98(osVersion) || IsWinME(osVersion);
  std::string folder = oldest ? std::string() : folders.templatesFolder();
  if (folder.empty()) {
    folder = folders.windowsFolder();
  }
  return fileIn(folder, kFormerName);
}

std::string helpMemoryFile(const SpecialFolders& folders) {
  return fileIn(folders.windowsFolder(), kFormerName);
}

std::string locatePreferenceFile(FileSystem& files, ProfileStrings& profiles,
                                 const SpecialFolders& folders, const OsVersion& osVersion) {
  std::string former = formerPreferenceFile(folders, osVersion);
  std::string current = currentPreferenceFile(folders);
  if (current.empty() || !MakeFolderPath(files, current)) {
    // Without a folder of its own the former place is still better than none.
    return former;
  }
  if (!FileExists(files, former) || isHelpFileMemory(profiles, folders, former)) {
    return current;
  }
  return moveFile(files, former, current) ? current : former;
}

}  // namespace relaybird
