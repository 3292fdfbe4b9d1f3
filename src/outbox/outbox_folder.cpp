// SPDX-License-Identifier: MIT
// The steps of the outbox on its disk. A rename or a removal is durable only when the folder that
// it changes is synced. A failure leaves open what the disk holds, so the functions look at the
// disk again where the answer matters.
#include "outbox/outbox_folder.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace relaybird {

namespace {

constexpr std::string_view kSuffix = ".relaybird";
// Files of other programs in tmp/ are given up after this time, by the rule of Maildirs.
constexpr std::chrono::hours kTmpAge{36};
constexpr std::size_t kTrialBlock = std::size_t{64} << 10;
// Made in new/ for a moment; a leading dot says that it is no message.
constexpr const char* kTrialName = ".trial";

// Leaves room for what is appended to the name of a copy in failed/; a file's name has 255 bytes.
constexpr std::size_t kLongestOwnName = 200;
// What is appended, before the number.
constexpr std::string_view kCopyMark = ".for-";

// Whether the call failed because the name does not exist.
// ENOTDIR: a part of the path is not a folder, so the name does not exist either.
template <class T>
bool isAbsent(const Result<T>& outcome) {
  return !outcome && (outcome.error().code == ENOENT || outcome.error().code == ENOTDIR);
}

// Makes a folder and its missing parents, with durable names.
Result<void> makeFolder(FileSystem& files, const std::string& folder) {
  auto made = files.createFolder(folder);
  if (!made && made.error().code == ENOENT && parentFolder(folder) != folder) {
    if (auto above = makeFolder(files, parentFolder(folder)); !above) {
      return above;
    }
    made = files.createFolder(folder);
  }
  if (made) {
    return files.syncFolder(parentFolder(folder));
  }
  if (made.error().code == EEXIST) {
    return {};
  }
  return made;
}

// An existing folder may come from an earlier try that could not sync its name. Failures are
// ignored: a parent that we may not open was not made by us.
void syncNamesOf(FileSystem& files, std::string folder) {
  for (std::string above = parentFolder(folder); above != folder; above = parentFolder(folder)) {
    (void)files.syncFolder(above);
    folder = above;
  }
}

// Without Maildir flags.
std::string_view uniqueName(std::string_view name) {
  return name.substr(0, name.rfind(":2,"));
}

// Adds the unique names of a folder's messages.
Result<void> addNames(FileSystem& files, const std::string& folder, std::set<std::string>& names) {
  const auto entries = files.list(folder);
  if (!entries) {
    return entries.error();
  }
  for (const FolderEntry& entry : *entries) {
    names.emplace(uniqueName(entry.name));
  }
  return {};
}

// Records whether the disk refused bytes, so that other failures are known to be the writer's.
class WatchedFile : public OutputFile {
 public:
  WatchedFile(OutputFile& file, std::uint64_t& size, bool& failed)
      : file_(file), size_(size), failed_(failed) {}
  Result<void> write(std::string_view bytes) override {
    size_ += bytes.size();
    auto written = file_.write(bytes);
    failed_ = failed_ || !written;
    return written;
  }
  Result<void> sync() override { return file_.sync(); }
  Result<void> close() override { return file_.close(); }

 private:
  OutputFile& file_;
  std::uint64_t& size_;
  bool& failed_;
};

Result<void> finish(OutputFile& file) {
  if (auto synced = file.sync(); !synced) {
    return synced;
  }
  return file.close();
}

}  // namespace

// A Maildir name: the seconds, then what makes it unique within them (microseconds, a counter and
// the run). The counter has ten digits, so that names sort in the order of sending.
std::string makeOutboxName(DateTime now, std::uint64_t counter, std::string_view session) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(now);
  char stamp[80];
  std::snprintf(stamp, sizeof stamp, "%lld.M%06lldQ%010llu",
                static_cast<long long>(whole.time_since_epoch().count()),
                static_cast<long long>((now - whole).count()),
                static_cast<unsigned long long>(counter));
  return std::string(stamp) + 'R' + std::string(session) + std::string(kSuffix);
}

DateTime outboxNameTime(std::string_view name) {
  long long seconds = 0;
  std::from_chars(name.data(), name.data() + name.size(), seconds);
  return DateTime(std::chrono::seconds(seconds));
}

// Only for names in tmp/: decides what may be removed without asking for its age.
bool isOutboxName(std::string_view name) {
  const std::size_t dot = name.find('.');
  return dot > 0 && dot != name.npos && name.ends_with(kSuffix) &&
         name.substr(dot).starts_with(".M") &&
         std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(dot),
                     [](char digit) { return digit >= '0' && digit <= '9'; });
}

Result<void> OutboxFolder::make(const std::string& journalFolder) {
  std::vector<std::string> folders = {path_};
  for (const char* part : {"tmp", "new", "cur", "failed"}) {
    folders.push_back(joinPath(path_, part));
  }
  folders.push_back(journalFolder);
  for (const std::string& folder : folders) {
    if (auto made = makeFolder(files_, folder); !made) {
      return made;
    }
  }
  syncNamesOf(files_, joinPath(path_, "new"));
  syncNamesOf(files_, journalFolder);
  return {};
}

Result<std::unique_ptr<OutputFile>> OutboxFolder::create(OutboxNames& names, std::string& name) {
  for (int tries = 0;; ++tries) {
    // The name can be taken only by an accident, which the next number avoids.
    name = names.next();
    auto file = files_.create(pathOf("tmp", name));
    if (file || file.error().code != EEXIST || tries == 3) {
      return file;
    }
  }
}

Result<std::set<std::string>> OutboxFolder::namesInTmp() {
  const auto entries = files_.list(joinPath(path_, "tmp"));
  if (!entries) {
    return entries.error();
  }
  std::set<std::string> names;
  for (const FolderEntry& entry : *entries) {
    if (entry.type == FileType::kRegular) {
      names.insert(entry.name);
    }
  }
  return names;
}

// In all three places a message counts as sent. A mail program may have moved it from new/ to cur/
// and added flags.
Result<std::set<std::string>> OutboxFolder::placedNames() {
  std::set<std::string> names;
  for (const char* part : {"new", "cur", "failed"}) {
    if (auto listed = addNames(files_, joinPath(path_, part), names); !listed) {
      return listed.error();
    }
  }
  return names;
}

// While the outbox is locked no other process writes to files with names of ours. A file that
// cannot be removed does no harm.
void OutboxFolder::clearTmp(const std::set<std::string>& names, DateTime now) {
  for (const std::string& name : names) {
    bool stale = isOutboxName(name);
    if (!stale) {
      const auto info = files_.inspect(pathOf("tmp", name));
      stale = info && now - info->modified > kTmpAge;
    }
    if (stale) {
      (void)files_.remove(pathOf("tmp", name));
    }
  }
}

// A failed rename usually has changed nothing, but the answer of a failing disk or of a network
// file system does not prove it, so both names are checked. A removal from new/ counts only once
// new/ is synced: until then a power cut could bring the name back.
bool OutboxFolder::withdraw(const std::string& name) {
  const std::string inTmp = pathOf("tmp", name);
  const std::string inNew = pathOf("new", name);
  const auto taken = files_.remove(inNew);
  const bool neverThere = isAbsent(taken);
  const bool synced = neverThere || syncNew();
  const auto cleared = files_.remove(inTmp);
  if (cleared) {
    return true;  // a rename leaves one name: a file still in tmp/ never reached new/
  }
  return synced && (taken || neverThere || isAbsent(files_.inspect(inNew))) &&
         (isAbsent(cleared) || isAbsent(files_.inspect(inTmp)));
}

// As large as the message that failed: a disk may have room for a small file only.
Result<void> writeMessage(OutputFile& file, const MessageWriter& write, WriteAttempt& attempt) {
  WatchedFile watched(file, attempt.size, attempt.writeFailed);
  const auto written = write(watched);
  attempt.messageToBlame = !written && !attempt.writeFailed;
  return written ? finish(file) : written;
}

Result<void> SpillingFile::write(std::string_view bytes) {
  if (!file_ && text_.size() + bytes.size() <= most_) {
    text_ += bytes;
    return {};
  }
  if (!file_) {
    auto file = make_();
    if (!file) {
      return file.error();
    }
    file_ = std::move(*file);
    if (auto moved = file_->write(std::exchange(text_, {})); !moved) {
      return moved;
    }
  }
  return file_->write(bytes);
}

Result<void> SpillingFile::sync() {
  return file_ ? file_->sync() : Result<void>();
}

Result<void> SpillingFile::close() {
  return file_ ? file_->close() : Result<void>();
}

Result<void> OutboxFolder::syncNew() {
  return files_.syncFolder(joinPath(path_, "new"));
}

Result<void> OutboxFolder::store(const std::string& name, const std::string& inTmp,
                                 std::string_view text) {
  const std::string path = pathOf("tmp", inTmp);
  auto file = files_.create(path);
  if (!file) {
    return file.error();
  }
  auto outcome = (*file)->write(text);
  if (outcome) {
    outcome = finish(**file);
  }
  file->reset();
  if (outcome) {
    outcome = files_.rename(path, pathOf("new", name));
  }
  if (!outcome) {
    (void)files_.remove(path);
  }
  return outcome;
}

Result<void> OutboxFolder::moveToFailed(const std::string& name, const std::string& words) {
  const std::string target = pathOf("failed", name);
  (void)replaceFile(files_, target + ".txt", words + "\n");
  if (auto moved = files_.rename(pathOf("new", name), target); !moved) {
    return moved;
  }
  // The new name is synced first, so that a power cut leaves the file with two names rather than
  // with none. If the old name comes back, the message is refused once more.
  if (files_.syncFolder(joinPath(path_, "failed"))) {
    (void)syncNew();
  }
  return {};
}

Result<void> OutboxFolder::putCopyIntoFailed(const std::string& name, const std::string& of,
                                             std::size_t number, const std::string& words) {
  const std::string target = pathOf("failed", of.substr(0, kLongestOwnName)) +
                             std::string(kCopyMark) + std::to_string(number);
  (void)replaceFile(files_, target + ".txt", words + "\n");
  if (auto moved = files_.rename(pathOf("tmp", name), target); !moved) {
    (void)files_.remove(pathOf("tmp", name));
    return moved;
  }
  return files_.syncFolder(joinPath(path_, "failed"));
}

// Whoever moves it may have added Maildir flags.
bool OutboxFolder::isNameOfCopy(std::string_view name) {
  const std::string_view own = uniqueName(name);
  const std::size_t mark = own.rfind(kCopyMark);
  return mark != std::string_view::npos && mark + kCopyMark.size() < own.size() &&
         own.find_first_not_of("0123456789", mark + kCopyMark.size()) == std::string_view::npos;
}

Result<void> OutboxFolder::tryFile(OutputFile& file, std::uint64_t size) {
  const std::string block(kTrialBlock, '\0');
  Result<void> outcome;
  for (std::uint64_t left = size; outcome && left > 0;) {
    const std::size_t now = static_cast<std::size_t>(std::min<std::uint64_t>(left, block.size()));
    outcome = file.write(std::string_view(block).substr(0, now));
    left -= now;
  }
  return outcome ? finish(file) : outcome;
}

Result<void> OutboxFolder::tryNew() {
  const std::string trial = pathOf("new", kTrialName);
  (void)files_.remove(trial);  // left by a crash during an earlier trial
  // Only a name is made, which fails where the folder is read-only or has no room for names.
  if (auto file = files_.create(trial); !file) {
    return file.error();
  }
  if (auto removed = files_.remove(trial); !removed) {
    return removed;
  }
  return syncNew();
}

std::size_t OutboxFolder::countWaiting(const std::set<std::string>& except) const {
  const auto entries = files_.list(joinPath(path_, "new"));
  if (!entries) {
    return 0;
  }
  return static_cast<std::size_t>(
      std::count_if(entries->begin(), entries->end(), [&](const FolderEntry& entry) {
        return entry.type == FileType::kRegular && !entry.name.starts_with('.') &&
               !except.contains(entry.name);
      }));
}

}  // namespace relaybird
