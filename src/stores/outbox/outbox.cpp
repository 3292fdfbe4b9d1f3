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

}  // namespace

Outbox::Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder)
    : files_(files), clock_(clock), random_(std::move(random)), folder_(std::move(folder)) {}

std::string Outbox::path(const char* subfolder, const std::string& name) const {
  return folder_ + '/' + subfolder + '/' + name;
}

Result<void> Outbox::send(const std::string& entryId, const std::string& messageId,
                          const Writer& write) {
  if (!entryId.empty() && alreadySent(entryId)) return {};
  std::string name;
  auto file = createTmp(name);
  if (!file) return file.error();
  auto outcome = writeWhole(**file, write);
  file->reset();
  if (outcome && !entryId.empty()) {
    const std::lock_guard lock(mutex_);
    outcome = journal_->intend(entryId, messageId, name);
  }
  if (outcome) return place(name);
  (void)files_.remove(path("tmp", name));
  return outcome;
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
  if (!placed) placed = withdraw(name, placed.error());
  const std::lock_guard lock(mutex_);
  busy_.erase(name);
  if (!placed) {
    (void)journal_->annul(name);
    return placed;
  }
  // Should this line get lost, the file in new/ says the same to the next start.
  (void)journal_->done(name);
  noteArrival(name);
  return {};
}

/// Takes back a message that may or may not be in new/ already, so that a repeated send cannot make
/// it two. Where that is impossible, it stays sent: its file and its intent are on the medium.
Result<void> Outbox::withdraw(const std::string& name, Error why) {
  const auto taken = files_.remove(path("new", name));
  if (!taken && taken.error().code != ENOENT) return {};
  if (taken) (void)files_.syncFolder(folder_ + "/new");
  (void)files_.remove(path("tmp", name));
  return why;
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
