// SPDX-License-Identifier: MIT
#include "outbox/outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "outbox/outbox_name.h"

namespace relaybird {

namespace {

// How many arrivals are remembered one by one; past that, listing the folder is as cheap.
constexpr std::size_t kArrivalLimit = 4096;

constexpr std::size_t kTrialBlock = std::size_t{64} << 10;
// Made in new/ for a moment; a leading dot says that it is no message.
constexpr const char* kTrialName = ".trial";

Error mayStillGoOut(const Error& why) {
  return {why.code, why.text + "; it may still go out"};
}

// Whether the call found that there is no such name.
template <class T>
bool isAbsent(const Result<T>& outcome) {
  return !outcome && (outcome.error().code == ENOENT || outcome.error().code == ENOTDIR);
}

}  // namespace

// What a send comes to on its way.
struct Outbox::Attempt {
  std::uint64_t size = 0;       // bytes that the writer gave so far
  bool writeFailed = false;     // of the file, not of what the writer reads
  bool messageToBlame = false;  // the writer failed by itself
};

namespace {

// Tells a disk that does not take the bytes from a writer that has none to give.
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

Outbox::Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder)
    : files_(files), clock_(clock), random_(std::move(random)), folder_(std::move(folder)) {}

std::string Outbox::path(const char* subfolder, const std::string& name) const {
  return folder_ + '/' + subfolder + '/' + name;
}

Result<void> Outbox::send(const std::string& entryId, const std::string& messageId,
                          const Writer& write) {
  Attempt attempt;
  auto sent = trySend(entryId, messageId, write, attempt);
  const bool disk = !sent && !attempt.messageToBlame && sent.error().code != EFBIG;
  const std::lock_guard lock(mutex_);
  refusedSize_ = disk ? std::optional(attempt.size) : std::nullopt;
  return sent;
}

Result<void> Outbox::trySend(const std::string& entryId, const std::string& messageId,
                             const Writer& write, Attempt& attempt) {
  if (!entryId.empty()) {
    if (auto found = resolveDoubt(entryId); !found) {
      return found;
    }
    if (alreadySent(entryId)) {
      return {};
    }
  }
  std::string name;
  auto file = createTmp(name);
  if (!file) {
    return file.error();
  }
  WatchedFile watched(**file, attempt.size, attempt.writeFailed);
  auto outcome = write(watched);
  attempt.messageToBlame = !outcome && !attempt.writeFailed;
  if (outcome) {
    outcome = finish(**file);
  }
  file->reset();
  const bool intended = outcome && !entryId.empty();
  if (intended) {
    const std::lock_guard lock(mutex_);
    outcome = journal_->intend(entryId, messageId, name);
  }
  if (outcome) {
    return place(name);
  }
  const auto cleared = files_.remove(path("tmp", name));
  if (cleared || !intended) {
    return outcome;
  }
  // The intent may have reached the medium, whatever was said of it.
  return mayStillGoOut(outcome.error());
}

bool Outbox::refusedByDisk() const {
  const std::lock_guard lock(mutex_);
  return refusedSize_.has_value();
}

Result<void> Outbox::tryDisk() {
  std::uint64_t size = 0;
  {
    const std::lock_guard lock(mutex_);
    size = refusedSize_.value_or(0);
  }
  if (auto tried = tryTmp(size); !tried) {
    return tried;
  }
  if (auto tried = tryNew(); !tried) {
    return tried;
  }
  const std::lock_guard lock(mutex_);
  auto mended = journal_->mend();
  if (mended) {
    refusedSize_.reset();
  }
  return mended;
}

Result<void> Outbox::tryTmp(std::uint64_t size) {
  std::string name;
  auto file = createTmp(name);
  if (!file) {
    return file.error();
  }
  const std::string block(kTrialBlock, '\0');
  Result<void> outcome;
  for (std::uint64_t left = size; outcome && left > 0;) {
    const std::size_t now = static_cast<std::size_t>(std::min<std::uint64_t>(left, block.size()));
    outcome = (*file)->write(std::string_view(block).substr(0, now));
    left -= now;
  }
  if (outcome) {
    outcome = finish(**file);
  }
  file->reset();
  const auto removed = files_.remove(path("tmp", name));
  return outcome ? removed : outcome;
}

Result<void> Outbox::tryNew() {
  const std::string trial = path("new", kTrialName);
  (void)files_.remove(trial);  // what a crash left of an earlier one
  if (auto file = files_.create(trial); !file) {
    return file.error();
  }
  if (auto removed = files_.remove(trial); !removed) {
    return removed;
  }
  return files_.syncFolder(folder_ + "/new");
}

// An intent without an end is left by a try that could not be taken back.
Result<void> Outbox::resolveDoubt(const std::string& entryId) {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->find(entryId);
  if (!record || record->state != ForwardRecord::State::kIntended) {
    return {};
  }
  arrivalsLost_ = true;
  auto inTmp = namesInTmp();
  if (!inTmp) {
    return inTmp.error();
  }
  return recoverForwards(*inTmp);
}

std::string Outbox::nextName() {
  const std::lock_guard lock(mutex_);
  return makeOutboxName(clock_.now(), ++counter_, session_);
}

Result<std::unique_ptr<OutputFile>> Outbox::createTmp(std::string& name) {
  for (int tries = 0;; ++tries) {
    name = nextName();
    auto file = files_.create(path("tmp", name));
    if (file || file.error().code != EEXIST || tries == 3) {
      return file;
    }
  }
}

Result<void> Outbox::place(const std::string& name) {
  {
    const std::lock_guard lock(mutex_);
    busy_.insert(name);
  }
  auto placed = files_.rename(path("tmp", name), path("new", name));
  if (placed) {
    placed = files_.syncFolder(folder_ + "/new");
  }
  const bool takenBack = !placed && withdraw(name);
  const std::lock_guard lock(mutex_);
  busy_.erase(name);
  if (placed) {
    // Should this line get lost, the file in new/ says the same to the next start.
    (void)journal_->done(name);
    noteArrival(name);
    return {};
  }
  if (takenBack) {
    (void)journal_->annul(name);
    return placed;
  }
  // It may lie in new/, and then goes out, or in tmp/, from where a repeated send or the next start
  // moves it on. Its intent stays on record until one of them has found out, so that it is neither
  // cleared away nor written a second time.
  arrivalsLost_ = true;
  return mayStillGoOut(placed.error());
}

// Takes back a message that could not be put into place for good. True when it is certain that
// nothing of it is left. A rename that failed has as a rule changed nothing, but the answer of a
// dying disk or of a network is no proof, so both names are looked at. What was in new/ is gone
// for good when that is synced: a power cut could bring the name back.
bool Outbox::withdraw(const std::string& name) {
  const std::string inTmp = path("tmp", name);
  const std::string inNew = path("new", name);
  const auto taken = files_.remove(inNew);
  const bool neverThere = isAbsent(taken);
  const bool synced = neverThere || files_.syncFolder(folder_ + "/new");
  const auto cleared = files_.remove(inTmp);
  if (cleared) {
    return true;  // a rename leaves one name: what was in tmp/ never came to new/
  }
  return synced && (taken || neverThere || isAbsent(files_.inspect(inNew))) &&
         (isAbsent(cleared) || isAbsent(files_.inspect(inTmp)));
}

void Outbox::noteArrival(const std::string& name) {
  if (arrivalsLost_) {
    return;
  }
  if (arrivals_.size() >= kArrivalLimit) {
    arrivals_.clear();
    arrivalsLost_ = true;
    return;
  }
  arrivals_.push_back({name, clock_.now()});
}

std::optional<std::string> Outbox::intendedMessageId(const std::string& entryId) const {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->find(entryId);
  if (!record) {
    return std::nullopt;
  }
  return record->messageId;
}

bool Outbox::alreadySent(const std::string& entryId) const {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->find(entryId);
  return record && record->state == ForwardRecord::State::kSent;
}

std::vector<std::string> Outbox::alreadySent() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> entries;
  for (const auto& [entry, record] : journal_->records()) {
    if (record.state == ForwardRecord::State::kSent) {
      entries.push_back(entry);
    }
  }
  return entries;
}

Result<void> Outbox::settle(const std::string& entryId) {
  const std::lock_guard lock(mutex_);
  return journal_->settle(entryId);
}

Outbox::Claim::~Claim() {
  if (!outbox_) {
    return;
  }
  const std::lock_guard lock(outbox_->mutex_);
  outbox_->busy_.erase(name_);
}

Result<std::vector<WaitingMessage>> Outbox::waiting() {
  {
    // What arrives from here on is told again by takeArrivals, at worst twice.
    const std::lock_guard lock(mutex_);
    arrivals_.clear();
    arrivalsLost_ = false;
  }
  auto entries = files_.list(folder_ + "/new");
  if (!entries) {
    return entries.error();
  }
  std::vector<WaitingMessage> messages;
  for (FolderEntry& entry : *entries) {
    if (entry.type != FileType::kRegular || entry.name.starts_with('.')) {
      continue;
    }
    {
      const std::lock_guard lock(mutex_);
      if (busy_.contains(entry.name) || journal_->delivered().contains(entry.name)) {
        continue;
      }
    }
    const auto info = files_.inspect(path("new", entry.name));
    if (info) {
      messages.push_back({std::move(entry.name), info->modified});
    }
  }
  std::sort(messages.begin(), messages.end(), olderFirst);
  return messages;
}

std::size_t Outbox::countWaiting() const {
  std::set<std::string> gone;
  {
    const std::lock_guard lock(mutex_);
    gone = journal_->delivered();
  }
  return countWaiting(files_, folder_, gone);
}

std::size_t Outbox::countWaiting(FileSystem& files, const std::string& folder,
                                 const std::set<std::string>& except) {
  const auto entries = files.list(folder + "/new");
  if (!entries) {
    return 0;
  }
  return static_cast<std::size_t>(
      std::count_if(entries->begin(), entries->end(), [&](const FolderEntry& entry) {
        return entry.type == FileType::kRegular && !entry.name.starts_with('.') &&
               !except.contains(entry.name);
      }));
}

std::optional<std::vector<WaitingMessage>> Outbox::takeArrivals() {
  const std::lock_guard lock(mutex_);
  if (arrivalsLost_) {
    return std::nullopt;
  }
  return std::exchange(arrivals_, {});
}

std::optional<Outbox::Claim> Outbox::claim(const std::string& name) {
  const std::lock_guard lock(mutex_);
  if (journal_->delivered().contains(name) || !busy_.insert(name).second) {
    return std::nullopt;
  }
  return Claim(*this, name);
}

std::string Outbox::pathOf(const Claim& claim) const {
  return path("new", claim.name());
}

Result<void> Outbox::delivered(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  auto noted = journal_->deliver(claim.name());
  auto gone = files_.remove(pathOf(claim));
  if (!gone && gone.error().code == ENOENT) {
    gone = {};
  }
  if (gone) {
    removed_.push_back(claim.name());
  }
  return noted ? gone : noted;
}

Result<void> Outbox::refuse(const Claim& claim, const std::string& words) {
  const std::string target = path("failed", claim.name());
  (void)replaceFile(files_, target + ".txt", words + "\n");
  if (auto moved = files_.rename(pathOf(claim), target); !moved) {
    return moved;
  }
  // Its new name comes first, so that a power cut leaves it with two names rather than with none.
  // Where it gets its old one back it is refused once more.
  if (files_.syncFolder(folder_ + "/failed")) {
    (void)files_.syncFolder(folder_ + "/new");
  }
  return {};
}

Result<void> Outbox::finishDeliveries() {
  const std::lock_guard lock(mutex_);
  if (removed_.empty()) {
    return {};
  }
  if (auto synced = files_.syncFolder(folder_ + "/new"); !synced) {
    return synced;
  }
  return journal_->removed(std::exchange(removed_, {}));
}

}  // namespace relaybird
