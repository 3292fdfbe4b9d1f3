// SPDX-License-Identifier: MIT
// A commit: lock the folder, copy the file as UTF-16 beside it, have the system's call set each
// value in the copy, sync it and rename it over the file. The system's calls want whole paths; one
// without a folder would be a file of the Windows folder.
#include "platform/win32/win32_profile_strings.h"

#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/profile/profile_document.h"
#include "platform/profile/profile_encoding.h"
#include "platform/profile/profile_file.h"
#include "platform/text/utf8_text.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_path.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
// No value that is written or read has this, so that an absent key is told from any value.
constexpr const wchar_t* kAbsent = L"\x01\xFFFF";
// A character has up to four units where its UTF-8 was decoded in a code page.
constexpr std::size_t kUnitsPerCharacter = 4;

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = firstCharacter(text).length;
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::wstring fromCodePage(std::string_view bytes) {
  const int size = static_cast<int>(bytes.size());
  std::wstring text(bytes.size(), L'\0');
  const int length = size == 0 ? 0
                               : ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data(),
                                                       static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string toCodePage(const std::wstring& text) {
  const int size = static_cast<int>(text.size());
  std::string bytes(kUnitsPerCharacter * text.size(), '\0');
  const int length = size == 0
                         ? 0
                         : ::WideCharToMultiByte(CP_ACP, 0, text.data(), size, bytes.data(),
                                                 static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

bool startsWith(FileSystem& files, const std::string& file, std::string_view mark) {
  const auto beginning = readFile(files, file, mark.size());
  return beginning && *beginning == mark;
}

class CallingReader : public ProfileReader {
 public:
  CallingReader(FileSystem& files, std::string file) : files_(files), file_(std::move(file)) {}

  std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                  std::size_t bufferSize) const override {
    if (bufferSize == 0) {
      return {};
    }
    auto value = find(section, key, bufferSize);
    std::string result = value ? std::move(*value) : std::string(withoutBlanksAtEnd(fallback));
    result.resize(firstCharacters(result, bufferSize - 1).size());
    return result;
  }

 private:
  static std::string_view withoutBlanksAtEnd(std::string_view text) {
    const auto last = text.find_last_not_of(" \t");
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
  }

  std::optional<std::string> find(std::string_view section, std::string_view key,
                                  std::size_t bufferSize) const {
    const auto name = systemPath(file_, "read");
    std::wstring buffer(kUnitsPerCharacter * bufferSize + 2, L'\0');
    const DWORD length = name ? ::GetPrivateProfileStringW(
                                    toWide(section).c_str(), toWide(key).c_str(), kAbsent,
                                    buffer.data(), static_cast<DWORD>(buffer.size()), name->c_str())
                              : 0;
    buffer.resize(length);
    if (!name || buffer == kAbsent) {
      return std::nullopt;
    }
    const bool ascii = std::ranges::all_of(buffer, [](wchar_t unit) { return unit < 0x80; });
    if (ascii || startsWith(files_, file_, kUtf16Mark)) {
      return fromWide(buffer);
    }
    // What is UTF-8 as bytes of the code page was hardly written as anything else.
    const std::string bytes = toCodePage(buffer);
    return isUtf8(bytes) ? bytes : fromWide(buffer);
  }

  FileSystem& files_;
  std::string file_;
};

class CallingWriter : public ProfileWriter {
 public:
  CallingWriter(FileSystem& files, std::string file) : files_(files), file_(std::move(file)) {}

  bool set(std::string_view section, std::string_view key, std::string_view value) override {
    const std::string why = whyNoSetting(section, key, value);
    if (!why.empty()) {
      error_ = "Cannot write to " + file_ + ": " + why;
      return false;
    }
    settings_.push_back({std::string(section), std::string(key), std::string(value)});
    return true;
  }

  bool commit() override {
    if (settings_.empty()) {
      return true;
    }
    const auto done = store();
    if (!done) {
      error_ = done.error().text;
      return false;
    }
    settings_.clear();
    return true;
  }

  std::string error() const override { return error_; }

 private:
  Result<void> store() {
    const std::string folder = parentFolder(file_);
    const auto lock = files_.lockFolder(folder);
    if (!lock) {
      return lock.error();
    }
    auto bytes = readFile(files_, file_, kProfileFileLimit + 1);
    const bool missing = !bytes && bytes.error().code == ENOENT;
    if (!bytes && !missing) {
      return bytes.error();
    }
    if (!missing && bytes->size() > kProfileFileLimit) {
      return ownError("write to " + file_, EFBIG, "it is too large for a file of settings");
    }
    if (!missing && hasAll()) {
      return files_.syncFolder(folder);
    }
    const auto allowed = files_.mayWrite(file_);
    if (!allowed && allowed.error().code != ENOENT) {
      return ownError("write to " + file_, allowed.error().code, "it is read-only");
    }
    removeLeftovers();
    return replaceWithChanged(missing ? std::string() : *bytes, folder);
  }

  bool hasAll() {
    const CallingReader reader(files_, file_);
    return std::ranges::all_of(settings_, [&](const ProfileDocument::Setting& setting) {
      // A value that differs in blanks or quotes alone is the same for every reader.
      const std::string absent = setting.value + "absent";
      return reader.get(setting.section, setting.key, absent, absent.size() + 2) == setting.value;
    });
  }

  Result<void> replaceWithChanged(const std::string& old, const std::string& folder) {
    const std::string copy = temporaryName(file_, 1);
    auto done = fillCopy(copy, old);
    if (done) {
      done = setAll(copy);
    }
    if (done) {
      done = files_.rename(copy, file_);
    }
    if (!done) {
      (void)files_.remove(copy);
      return done;
    }
    return files_.syncFolder(folder);
  }

  Result<void> fillCopy(const std::string& copy, const std::string& old) {
    auto file = files_.create(copy);
    if (!file) {
      return file.error();
    }
    const auto written = (*file)->write(asUtf16(old));
    return written ? (*file)->close() : written;
  }

  static std::string asUtf16(const std::string& old) {
    if (old.starts_with(kUtf16Mark)) {
      return old;
    }
    const ProfileText text = decodeProfile(old);
    const ProfileText target{{}, ProfileEncoding::kUtf16Le, {}};
    const std::string utf8 = isUtf8(text.text) ? text.text : fromWide(fromCodePage(text.text));
    return *encodeProfile(target, utf8);
  }

  Result<void> setAll(const std::string& copy) {
    const std::string what = "write to " + file_;
    const auto name = systemPath(copy, what);
    if (!name) {
      return name.error();
    }
    for (const ProfileDocument::Setting& setting : settings_) {
      if (!::WritePrivateProfileStringW(toWide(trimProfileBlanks(setting.section)).c_str(),
                                        toWide(trimProfileBlanks(setting.key)).c_str(),
                                        toWide(setting.value).c_str(), name->c_str())) {
        return lastError(what);
      }
    }
    // Some releases keep what was written in memory until they are told; the call reports nothing.
    ::WritePrivateProfileStringW(nullptr, nullptr, nullptr, name->c_str());
    auto file = files_.append(copy);
    if (!file) {
      return file.error();
    }
    const auto synced = (*file)->sync();
    return synced ? (*file)->close() : synced;
  }

  // Removes what a crash during a commit left. Nobody else writes now: we hold the lock.
  void removeLeftovers() {
    if (files_.inspect(temporaryName(file_, 1))) {
      (void)files_.remove(temporaryName(file_, 1));
    }
  }

  FileSystem& files_;
  std::string file_;
  std::vector<ProfileDocument::Setting> settings_;
  std::string error_;
};

// The target of a link is read and replaced.
std::string targetOf(FileSystem& files, const std::string& file) {
  auto resolved = files.resolve(file);
  return resolved ? *resolved : file;
}

}  // namespace

std::unique_ptr<ProfileReader> Win32ProfileStrings::read(const std::string& file) {
  // The mark that editors write before UTF-8 would hide the first section from the system's call.
  if (startsWith(files_, file, kUtf8Mark)) {
    return ProfileFile(files_).read(file);
  }
  return std::make_unique<CallingReader>(files_, targetOf(files_, file));
}

std::unique_ptr<ProfileWriter> Win32ProfileStrings::write(const std::string& file) {
  return std::make_unique<CallingWriter>(files_, targetOf(files_, file));
}

}  // namespace relaybird
