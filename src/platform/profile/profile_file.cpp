// SPDX-License-Identifier: MIT
// Reading takes a snapshot of the file. Writing collects settings; commit() locks the folder, reads
// the file afresh, applies them and replaces the file in one step, so that two programs that save
// at the same time lose none of each other's keys.
#include "platform/profile/profile_file.h"

#include <cerrno>
#include <utility>
#include <vector>

#include "platform/profile/profile_document.h"
#include "platform/profile/profile_encoding.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// A missing file counts as empty.
Result<std::string> loadProfile(FileSystem& files, const std::string& file) {
  auto bytes = readFile(files, file, kProfileFileLimit + 1);
  if (!bytes && bytes.error().code == ENOENT) {
    return std::string();
  }
  if (bytes && bytes->size() > kProfileFileLimit) {
    return Error{EFBIG, file + " is too large for a file of settings"};
  }
  return bytes;
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  const auto last = text.find_last_not_of(" \t");
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

class SnapshotReader : public ProfileReader {
 public:
  explicit SnapshotReader(std::string text) : document_(std::move(text)) {}

  std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                  std::size_t bufferSize) const override {
    if (bufferSize == 0) {
      // The buffer of the profile calls has room for the closing NUL, so a value has one character
      // less.
      return {};
    }
    auto value = document_.value(section, key);
    std::string result = value ? std::move(*value) : std::string(withoutTrailingBlanks(fallback));
    result.resize(firstCharacters(result, bufferSize - 1).size());
    return result;
  }

 private:
  ProfileDocument document_;
};

// People keep settings under version control and link to them: the target of a link is read and
// replaced.
std::string target(FileSystem& files, const std::string& file) {
  auto resolved = files.resolve(file);
  return resolved ? *resolved : file;
}

class CollectingWriter : public ProfileWriter {
 public:
  CollectingWriter(FileSystem& files, std::string file) : files_(files), file_(std::move(file)) {}

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
    // The folder, not the file: the file is replaced, so a lock on it would be lost.
    const std::string folder = parentFolder(file_);
    const auto lock = files_.lockFolder(folder);
    if (!lock) {
      return lock.error();
    }
    auto bytes = loadProfile(files_, file_);
    if (!bytes) {
      return bytes.error();
    }
    const ProfileText old = decodeProfile(*bytes);
    const auto updated = encodeProfile(old, ProfileDocument(old.text).with(settings_));
    if (!updated) {
      return Error{EILSEQ, "Cannot write to " + file_ + ": a setting is not valid UTF-8"};
    }
    if (updated->size() > kProfileFileLimit) {
      return Error{EFBIG, "Cannot write to " + file_ + ": it would grow too large"};
    }
    // Even if nothing changed the name may not be on disk yet: syncing the folder may be what
    // failed last time.
    if (*updated == *bytes) {
      return files_.syncFolder(folder);
    }
    // Replacing the file needs only the folder's permission, so the file's own is checked here.
    const auto allowed = files_.mayWrite(file_);
    if (!allowed && allowed.error().code != ENOENT) {
      return Error{allowed.error().code, "Cannot write to " + file_ + ": it is read-only"};
    }
    removeLeftovers();
    return replaceFile(files_, file_, *updated);
  }

  // Removes what a crash during a commit left. Nobody else writes now: we hold the lock.
  void removeLeftovers() {
    for (int number = 1; files_.inspect(temporaryName(file_, number)); ++number) {
      if (!files_.remove(temporaryName(file_, number))) {
        return;
      }
    }
  }

  FileSystem& files_;
  std::string file_;
  std::vector<ProfileDocument::Setting> settings_;
  std::string error_;
};

}  // namespace

std::unique_ptr<ProfileReader> ProfileFile::read(const std::string& file) {
  // A file that cannot be read is an empty one: every key then has its default.
  auto bytes = loadProfile(files_, target(files_, file));
  if (!bytes) {
    return std::make_unique<SnapshotReader>(std::string());
  }
  return std::make_unique<SnapshotReader>(decodeProfile(std::move(*bytes)).text);
}

std::unique_ptr<ProfileWriter> ProfileFile::write(const std::string& file) {
  return std::make_unique<CollectingWriter>(files_, target(files_, file));
}

}  // namespace relaybird
