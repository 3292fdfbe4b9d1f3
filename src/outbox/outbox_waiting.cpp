// SPDX-License-Identifier: MIT
// What waits in the outbox, and its way out of it. Locking is as in outbox.cpp: mutex_ is not held
// during waits for the disk.
#include <algorithm>
#include <cerrno>

#include "outbox/outbox.h"

namespace relaybird {

namespace {

// The number that waits is asked for at each line of the log, and listing thousands of files each
// time would take longer than sending them.
constexpr std::chrono::seconds kCountAgain{1};
// How long the next send of a pass is waited for.
constexpr std::chrono::milliseconds kNextSend{3};

}  // namespace

Outbox::Claim::~Claim() {
  if (!outbox_) {
    return;
  }
  const std::lock_guard lock(outbox_->mutex_);
  outbox_->busy_.erase(name_);
}

// What is being moved into new/ or is claimed is left out here and reported as an arrival, or tried
// already. What cannot be inspected has just been removed by somebody.
Result<std::vector<WaitingMessage>> Outbox::waiting() {
  {
    // Reset first: messages that arrive from here on are reported by takeArrivals, at worst a
    // second time.
    const std::lock_guard lock(mutex_);
    arrivals_.clear();
    arrivalsLost_ = false;
  }
  auto entries = files_.list(joinPath(disk_.path(), "new"));
  if (!entries) {
    return entries.error();
  }
  std::vector<WaitingMessage> messages;
  std::set<std::string> held;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [name, text] : journal_->texts()) {
      if (!busy_.contains(name)) {
        held.insert(name);
        messages.push_back({name, outboxNameTime(name)});
      }
    }
  }
  for (FolderEntry& entry : *entries) {
    if (entry.type != FileType::kRegular || entry.name.starts_with('.') ||
        held.contains(entry.name)) {
      continue;
    }
    {
      const std::lock_guard lock(mutex_);
      if (busy_.contains(entry.name) || journal_->delivered().contains(entry.name)) {
        continue;
      }
    }
    const auto info = files_.inspect(disk_.pathOf("new", entry.name));
    if (info) {
      messages.push_back({std::move(entry.name), info->modified});
    }
  }
  std::sort(messages.begin(), messages.end(), olderFirst);
  return messages;
}

std::size_t Outbox::recentlyWaiting() const {
  {
    const std::lock_guard lock(mutex_);
    const DateTime now = clock_.now();
    // A clock that was set back does not make the last count recent.
    if (counted_ && countedAt_ <= now && now < countedAt_ + kCountAgain) {
      return *counted_;
    }
  }
  return countWaiting();
}

std::size_t Outbox::countWaiting() const {
  const std::lock_guard lock(mutex_);
  const DateTime now = clock_.now();
  std::set<std::string> others = journal_->delivered();
  for (const auto& [name, text] : journal_->texts()) {
    others.insert(name);
  }
  const std::size_t count = disk_.countWaiting(others) + journal_->texts().size();
  // A message that is just moved may be in the count already, and will be added when it is there.
  if (placing_ == 0) {
    counted_ = count;
    countedAt_ = now;
  }
  return count;
}

std::size_t Outbox::countWaiting(FileSystem& files, const std::string& folder,
                                 const std::string& journal) {
  const std::set<std::string> held = Journal::namesHeldIn(files, journal);
  return OutboxFolder(files, folder).countWaiting(held) + held.size();
}

std::optional<std::vector<WaitingMessage>> Outbox::takeArrivals() {
  const std::lock_guard lock(mutex_);
  if (arrivalsLost_) {
    return std::nullopt;
  }
  return std::exchange(arrivals_, {});
}

// The record of deliveries outlasts the file: it keeps a message from going out again when its file
// could not be removed.
std::optional<Outbox::Claim> Outbox::claim(const std::string& name) {
  const std::lock_guard lock(mutex_);
  if (journal_->delivered().contains(name) || !busy_.insert(name).second) {
    return std::nullopt;
  }
  return Claim(*this, name);
}

Result<std::string> Outbox::read(const Claim& claim, std::size_t limit) const {
  {
    const std::lock_guard lock(mutex_);
    const auto held = journal_->texts().find(claim.name());
    if (held != journal_->texts().end()) {
      return held->second.substr(0, limit);
    }
  }
  return readFile(files_, disk_.pathOf("new", claim.name()), limit);
}

Result<void> Outbox::delivered(const std::vector<const Claim*>& claims) {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  names.reserve(claims.size());
  for (const Claim* claim : claims) {
    const std::string& name = claim->name();
    const bool fileless = journal_->texts().contains(name) && copied_.erase(name) == 0;
    (fileless ? fileless_ : handedOver_).push_back(name);
    names.push_back(name);
  }
  counted_ =
      counted_ && *counted_ > names.size() ? std::optional(*counted_ - names.size()) : std::nullopt;
  return noted(journal_->deliver(names));
}

Result<void> Outbox::begin(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  return noted(journal_->begin(claim.name()));
}

Result<void> Outbox::ended(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  return noted(journal_->ended(claim.name()));
}

bool Outbox::begun(const Claim& claim) const {
  const std::lock_guard lock(mutex_);
  return journal_->begun(claim.name());
}

Result<void> Outbox::noted(Result<void> written) {
  deliveryWrite_ = journal_->writes();
  return written;
}

// A send may have waited for the disk since then, for its own line and so for these as well. A pass
// sends one message after another, so the next send is worth a short wait: two threads that sync
// one file hold each other up. After one such wait in vain there is no other until something is
// sent.
Result<void> Outbox::makeDurable() {
  const std::lock_guard lock(mutex_);
  if (othersSend_ && sender_ != std::this_thread::get_id()) {
    othersSend_ = journal_->leaveToOthers(deliveryWrite_, kNextSend);
  }
  return journal_->syncUpTo(deliveryWrite_);
}

Result<void> Outbox::removeDelivered() {
  std::unique_lock lock(mutex_);
  return removeHandedOver(lock);
}

// In this order: the hand-over is on disk before a file goes. Otherwise a power cut between the two
// could leave neither file nor record, and the item would be forwarded anew. If the record fails,
// the files are removed all the same: they must not be delivered again.
Result<void> Outbox::removeHandedOver(std::unique_lock<std::mutex>& lock) {
  const std::vector<std::string> names = std::exchange(handedOver_, {});
  if (names.empty()) {
    return {};
  }
  auto outcome = journal_->sync();
  lock.unlock();
  std::vector<std::string> removed;
  for (const std::string& name : names) {
    const auto gone = files_.remove(disk_.pathOf("new", name));
    if (gone || gone.error().code == ENOENT) {
      removed.push_back(name);
    } else if (outcome) {
      outcome = gone;
    }
  }
  lock.lock();
  removed_.insert(removed_.end(), removed.begin(), removed.end());
  return outcome;
}

Result<void> Outbox::deliveredTo(const Claim& claim, const std::vector<std::string>& recipients) {
  const std::lock_guard lock(mutex_);
  return journal_->deliverTo(claim.name(), recipients);
}

std::set<std::string> Outbox::settledFor(const Claim& claim) const {
  const std::lock_guard lock(mutex_);
  return journal_->settledFor(claim.name());
}

Result<void> Outbox::unanswered(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  return journal_->unanswered(claim.name());
}

std::optional<DateTime> Outbox::unansweredSince(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto seconds = journal_->unansweredSince(name);
  return seconds ? std::optional<DateTime>(DateTime(std::chrono::seconds(*seconds))) : std::nullopt;
}

Result<void> Outbox::refuse(const Claim& claim, const std::string& words) {
  if (auto stored = store({claim.name()}); !stored) {
    return stored;
  }
  auto moved = disk_.moveToFailed(claim.name(), words);
  const std::lock_guard lock(mutex_);
  counted_.reset();
  return moved;
}

Result<void> Outbox::refuseFor(const Claim& claim, const std::vector<std::string>& recipients,
                               std::size_t number, std::string_view copy,
                               const std::string& words) {
  std::string name;
  auto file = createTmp(name);
  if (!file) {
    return file.error();
  }
  WriteAttempt attempt;
  auto written = writeMessage(
      **file, [&](OutputFile& to) { return to.write(copy); }, attempt);
  file->reset();
  if (written) {
    written = disk_.putCopyIntoFailed(name, claim.name(), number, words);
  } else {
    (void)files_.remove(disk_.pathOf("tmp", name));
  }
  if (!written) {
    return written;
  }
  const std::lock_guard lock(mutex_);
  // If this line is lost, they are tried once more, and a second refusal replaces the copy.
  (void)journal_->deliverTo(claim.name(), recipients);
  return {};
}

Result<void> Outbox::finishDeliveries() {
  std::unique_lock lock(mutex_);
  auto outcome = removeHandedOver(lock);
  for (auto step : {&Outbox::noteRemoved, &Outbox::storeHeld}) {
    auto taken = (this->*step)(lock);
    outcome = outcome ? taken : outcome;
  }
  auto dropped = journal_->dropTexts();
  return outcome ? dropped : outcome;
}

// The removals are synced once for a whole run. Only then may the journal forget the files.
Result<void> Outbox::noteRemoved(std::unique_lock<std::mutex>& lock) {
  std::vector<std::string> names = std::exchange(removed_, {});
  Result<void> synced;
  if (!names.empty()) {
    lock.unlock();
    synced = files_.syncFolder(joinPath(disk_.path(), "new"));
    lock.lock();
  }
  if (!synced) {
    removed_.insert(removed_.end(), names.begin(), names.end());
    names.clear();
  }
  const std::vector<std::string> fileless = std::exchange(fileless_, {});
  names.insert(names.end(), fileless.begin(), fileless.end());
  const auto noted = journal_->removed(names);
  return synced ? noted : synced;
}

Result<void> Outbox::storeHeld(std::unique_lock<std::mutex>& lock) {
  std::vector<std::string> names;
  for (const auto& [name, text] : journal_->texts()) {
    if (!busy_.contains(name)) {
      names.push_back(name);
    }
  }
  lock.unlock();
  auto stored = store(names);
  lock.lock();
  return stored;
}

// Gives files to those of the messages that the journal holds. It need not hold them any more once
// the files have durable names.
Result<void> Outbox::store(const std::vector<std::string>& names) {
  std::vector<std::string> placed;
  Result<void> outcome;
  for (const std::string& name : names) {
    std::string text;
    {
      const std::lock_guard lock(mutex_);
      const auto held = journal_->texts().find(name);
      if (held == journal_->texts().end()) {
        continue;
      }
      text = held->second;
      copied_.insert(name);  // also if this fails: the disk may have done it all the same
    }
    outcome = disk_.store(name, nextName(), text);
    if (!outcome) {
      break;
    }
    placed.push_back(name);
  }
  if (placed.empty()) {
    return outcome;
  }
  if (auto synced = files_.syncFolder(joinPath(disk_.path(), "new")); !synced) {
    return synced;
  }
  const std::lock_guard lock(mutex_);
  for (const std::string& name : placed) {
    copied_.erase(name);
  }
  const auto noted = journal_->stored(placed);
  return outcome ? noted : outcome;
}

void Outbox::holdForDelivery(bool hold) {
  std::unique_lock lock(mutex_);
  holds_ = hold;
  if (!hold && storeHeld(lock)) {
    (void)journal_->dropTexts();
  }
}

}  // namespace relaybird
