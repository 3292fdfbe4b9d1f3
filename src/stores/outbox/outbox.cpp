// SPDX-License-Identifier: MIT
#include "stores/outbox/outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "stores/outbox/outbox_name.h"

namespace relaybird {

namespace {

/// How many arrivals are remembered one by one; past that, listing the folder is as cheap.
constexpr std::size_t kArrivalLimit = 4096;

Result<void> writeWhole(OutputFile& file, const Outbox::Writer& write) {
  if (auto written = write(file); !written) return written;
  if (auto synced = file.sync(); !synced) return synced;
  return file.close();
}

Error mayStillGoOut(const Error& why) {
  return {why.code, why.text + "; it may still go out"};
}

/// Whether the call found that there is no such name.
template <class T>
bool isAbsent(const Result<T>& outcome) {
  return !outcome && (outcome.error().code == ENOENT || outcome.error().code == ENOTDIR);
}

}  // namespace

Outbox::Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder)
    : files_(files), clock_(clock), random_(std::move(random)), folder_(std::move(folder)) {}

std::string Outbox::path(const char* subfolder, const std::string& name) const {
  return folder_ + '/' + subfolder + '/' + name;
}

Result<void> Outbox::send(const std::string& entryId, const std::string& messageId,
                          const Writer& write) {
  if (!entryId.empty()) {
    if (auto found = resolveDoubt(entryId); !found) return found;
    if (alreadySent(entryId)) return {};
  }
  std::string name;
  auto file = createTmp(name);
  if (!file) return file.error();
  auto outcome = writeWhole(**file, write);
  file->reset();
  const bool intended = outcome && !entryId.empty();
  if (intended) {
    const std::lock_guard lock(mutex_);
    outcome = journal_->intend(entryId, messageId, name);
  }
  if (outcome) return place(name);
  const auto cleared = files_.remove(path("tmp", name));
  if (cleared || !intended) return outcome;
  // The intent may have reached the medium, whatever was said of it.
  return mayStillGoOut(outcome.error());
}

/// An intent without an end is left by a try that could not be taken back.
Result<void> Outbox::resolveDoubt(const std::string& entryId) {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->find(entryId);
  if (!record || record->state != ForwardRecord::State::kIntended) return {};
  arrivalsLost_ = true;
  auto inTmp = namesInTmp();
  if (!inTmp) return inTmp.error();
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
    if (file || file.error().code != EEXIST || tries == 3) return file;
  }
}

Result<void> Outbox::place(const std::string& name) {
  {
    const std::lock_guard lock(mutex_);
    busy_.insert(name);
  }
  auto placed = files_.rename(path("tmp", name), path("new", name));
  if (placed) placed = files_.syncFolder(folder_ + "/new");
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

/// Takes back a message that could not be put into place for good. True when it is certain that
/// nothing of it is left. A rename that failed has as a rule changed nothing, but the answer of a
/// dying disk or of a network is no proof, so both names are looked at.
bool Outbox::withdraw(const std::string& name) {
  const std::string inTmp = path("tmp", name);
  const std::string inNew = path("new", name);
  const auto taken = files_.remove(inNew);
  if (taken) (void)files_.syncFolder(folder_ + "/new");
  const auto cleared = files_.remove(inTmp);
  if (cleared) return true;  // a rename leaves one name: what was in tmp/ never came to new/
  return (taken || isAbsent(taken) || isAbsent(files_.inspect(inNew))) &&
         (isAbsent(cleared) || isAbsent(files_.inspect(inTmp)));
}

void Outbox::noteArrival(const std::string& name) {
  if (arrivalsLost_) return;
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
  if (!record) return std::nullopt;
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
    if (record.state == ForwardRecord::State::kSent) entries.push_back(entry);
  }
  return entries;
}

Result<void> Outbox::settle(const std::string& entryId) {
  const std::lock_guard lock(mutex_);
  return journal_->settle(entryId);
}

Outbox::Claim::~Claim() {
  if (!outbox_) return;
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
  if (!entries) return entries.error();
  std::vector<WaitingMessage> messages;
  for (FolderEntry& entry : *entries) {
    if (entry.type != FileType::kRegular || entry.name.starts_with('.')) continue;
    {
      const std::lock_guard lock(mutex_);
      if (busy_.contains(entry.name) || journal_->delivered().contains(entry.name)) continue;
    }
    const auto info = files_.inspect(path("new", entry.name));
    if (info) messages.push_back({std::move(entry.name), info->modified});
  }
  std::sort(messages.begin(), messages.end(), olderFirst);
  return messages;
}

std::optional<std::vector<WaitingMessage>> Outbox::takeArrivals() {
  const std::lock_guard lock(mutex_);
  if (arrivalsLost_) return std::nullopt;
  return std::exchange(arrivals_, {});
}

std::optional<Outbox::Claim> Outbox::claim(const std::string& name) {
  const std::lock_guard lock(mutex_);
  if (journal_->delivered().contains(name) || !busy_.insert(name).second) return std::nullopt;
  return Claim(*this, name);
}

std::string Outbox::pathOf(const Claim& claim) const {
  return path("new", claim.name());
}

Result<void> Outbox::delivered(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  auto noted = journal_->deliver(claim.name());
  auto gone = files_.remove(pathOf(claim));
  if (!gone && gone.error().code == ENOENT) gone = {};
  if (gone) removed_.push_back(claim.name());
  return noted ? gone : noted;
}

Result<void> Outbox::refuse(const Claim& claim, const std::string& words) {
  const std::string target = path("failed", claim.name());
  const auto told = replaceFile(files_, target + ".txt", words + "\n");
  auto moved = files_.rename(pathOf(claim), target);
  if (moved) moved = files_.syncFolder(folder_ + "/failed");
  if (moved) moved = files_.syncFolder(folder_ + "/new");
  return moved ? told : moved;
}

Result<void> Outbox::finishDeliveries() {
  const std::lock_guard lock(mutex_);
  if (removed_.empty()) return {};
  if (auto synced = files_.syncFolder(folder_ + "/new"); !synced) return synced;
  return journal_->removed(std::exchange(removed_, {}));
}

}  // namespace relaybird
