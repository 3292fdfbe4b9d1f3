// SPDX-License-Identifier: MIT
// The mutex is not held during waits for the disk, so that sending and delivering do not wait for
// each other. A step that fails leaves its message among those that the next call of the same kind
// deals with; where the disk may have done it all the same, the message counts as not yet dealt
// with.
#include "outbox/delivery_queue.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "outbox/outbox_recovery.h"

namespace relaybird {

namespace {

// The number that waits is asked for at each line of the log, and listing thousands of files each
// time would take longer than sending them.
constexpr std::chrono::seconds kCountAgain{1};
// How long the next send of a pass is waited for: longer than a pass takes for one message, and too
// short to be noticed where no other message follows.
constexpr std::chrono::milliseconds kNextSend{3};
// Above this number of arrivals, listing the folder is as cheap as remembering them.
constexpr std::size_t kArrivalLimit = 4096;
// A message that the journal holds is written twice if it cannot leave soon, and is encoded; a
// larger one is better written once.
constexpr std::size_t kLargestHeld = std::size_t{64} << 10;
// Held messages are in memory too.
constexpr std::size_t kMostHeld = std::size_t{4} << 20;

}  // namespace

DeliveryQueue::Arrival::Arrival(DeliveryQueue& queue, std::string name)
    : queue_(queue), name_(std::move(name)) {
  const std::lock_guard lock(queue_.parts_.mutex);
  queue_.busy_.insert(name_);
  ++queue_.placing_;
}

DeliveryQueue::Arrival::~Arrival() {
  const std::lock_guard lock(queue_.parts_.mutex);
  end();
}

void DeliveryQueue::Arrival::end() {
  if (!std::exchange(ended_, true)) {
    queue_.busy_.erase(name_);
    --queue_.placing_;
  }
}

// All at once: a delivery that is told of the arrival must be able to claim the message.
void DeliveryQueue::Arrival::arrived(Place place) {
  const std::lock_guard lock(queue_.parts_.mutex);
  end();
  queue_.counted_ = queue_.counted_ ? std::optional(*queue_.counted_ + 1) : std::nullopt;
  queue_.noteArrival(name_);
  if (place == Place::kJournal) {
    queue_.sender_ = std::this_thread::get_id();
    queue_.othersSend_ = true;
  }
}

DeliveryQueue::Claim::~Claim() {
  if (!queue_) {
    return;
  }
  const std::lock_guard lock(queue_->parts_.mutex);
  queue_->busy_.erase(name_);
}

Result<void> DeliveryQueue::recover() {
  if (auto noted = noteWhatHasFiles(); !noted) {
    return noted;
  }
  {
    // Their hand-over is on record, so these must not be delivered again, whatever became of the
    // files.
    const std::lock_guard lock(parts_.mutex);
    const std::set<std::string>& delivered = parts_.journal.records().delivered();
    handedOver_.assign(delivered.begin(), delivered.end());
  }
  (void)finishDeliveries();
  const std::lock_guard lock(parts_.mutex);
  forgetWhatIsGone(parts_.files, parts_.disk, parts_.journal);
  return {};
}

// A crash may have come after the file was made. The others get theirs from finishDeliveries(), or
// stay held where the disk does not allow that.
Result<void> DeliveryQueue::noteWhatHasFiles() {
  const std::lock_guard lock(parts_.mutex);
  if (parts_.journal.records().texts().empty()) {
    return {};
  }
  const auto placed = parts_.disk.placedNames();
  if (!placed) {
    return placed.error();
  }
  if (auto synced = parts_.disk.syncNew(); !synced) {
    return synced;
  }
  std::vector<std::string> have;
  for (const auto& [name, text] : parts_.journal.records().texts()) {
    if (placed->contains(name)) {
      have.push_back(name);
    }
  }
  (void)parts_.journal.stored(have);
  return {};
}

void DeliveryQueue::holdForDelivery(bool hold) {
  Lock lock(parts_.mutex);
  holds_ = hold;
  if (!hold && storeHeld(lock)) {
    (void)parts_.journal.dropTexts();
  }
}

std::size_t DeliveryQueue::roomToHold() const {
  const std::lock_guard lock(parts_.mutex);
  const std::size_t held = parts_.journal.records().textBytes();
  return !holds_ || held >= kMostHeld ? 0 : std::min(kLargestHeld, kMostHeld - held);
}

void DeliveryQueue::forgetWhatIsKnown() {
  const std::lock_guard lock(parts_.mutex);
  arrivalsLost_ = true;
  counted_.reset();
}

// A delivery that is behind lists the folder instead, so that this list does not grow without end
// while no server can be reached.
void DeliveryQueue::noteArrival(const std::string& name) {
  if (arrivalsLost_) {
    return;
  }
  if (arrivals_.size() >= kArrivalLimit) {
    arrivals_.clear();
    arrivalsLost_ = true;
    return;
  }
  arrivals_.push_back({name, parts_.clock.now()});
}

// What is being moved into new/ or is claimed is left out here and reported as an arrival, or tried
// already. What cannot be inspected has just been removed by somebody.
Result<std::vector<WaitingMessage>> DeliveryQueue::waiting() {
  {
    // Reset first: messages that arrive from here on are reported by takeArrivals, at worst a
    // second time.
    const std::lock_guard lock(parts_.mutex);
    arrivals_.clear();
    arrivalsLost_ = false;
  }
  auto entries = parts_.files.list(joinPath(parts_.disk.path(), "new"));
  if (!entries) {
    return entries.error();
  }
  std::vector<WaitingMessage> messages;
  std::set<std::string> held;
  {
    const std::lock_guard lock(parts_.mutex);
    for (const auto& [name, text] : parts_.journal.records().texts()) {
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
      const std::lock_guard lock(parts_.mutex);
      if (busy_.contains(entry.name) || parts_.journal.records().delivered().contains(entry.name)) {
        continue;
      }
    }
    const auto info = parts_.files.inspect(parts_.disk.pathOf("new", entry.name));
    if (info) {
      messages.push_back({std::move(entry.name), info->modified});
    }
  }
  std::sort(messages.begin(), messages.end(), olderFirst);
  return messages;
}

std::size_t DeliveryQueue::recentlyWaiting() const {
  {
    const std::lock_guard lock(parts_.mutex);
    const DateTime now = parts_.clock.now();
    // A clock that was set back does not make the last count recent.
    if (counted_ && countedAt_ <= now && now < countedAt_ + kCountAgain) {
      return *counted_;
    }
  }
  return countWaiting();
}

std::size_t DeliveryQueue::countWaiting() const {
  const std::lock_guard lock(parts_.mutex);
  const DateTime now = parts_.clock.now();
  std::set<std::string> others = parts_.journal.records().delivered();
  for (const auto& [name, text] : parts_.journal.records().texts()) {
    others.insert(name);
  }
  const std::size_t count =
      parts_.disk.countWaiting(others) + parts_.journal.records().texts().size();
  // A message that is just moved may be in the count already, and will be added when it is there.
  if (placing_ == 0) {
    counted_ = count;
    countedAt_ = now;
  }
  return count;
}

std::size_t DeliveryQueue::countWaiting(FileSystem& files, const std::string& folder,
                                        const std::string& journal) {
  const std::set<std::string> held = Journal::namesHeldIn(files, journal);
  return OutboxFolder(files, folder).countWaiting(held) + held.size();
}

std::optional<std::vector<WaitingMessage>> DeliveryQueue::takeArrivals() {
  const std::lock_guard lock(parts_.mutex);
  if (arrivalsLost_) {
    return std::nullopt;
  }
  return std::exchange(arrivals_, {});
}

// The record of deliveries outlasts the file: it keeps a message from going out again when its file
// could not be removed.
std::optional<DeliveryQueue::Claim> DeliveryQueue::claim(const std::string& name) {
  const std::lock_guard lock(parts_.mutex);
  if (parts_.journal.records().delivered().contains(name) || !busy_.insert(name).second) {
    return std::nullopt;
  }
  return Claim(*this, name);
}

Result<OutgoingText> DeliveryQueue::read(const Claim& claim) const {
  {
    const std::lock_guard lock(parts_.mutex);
    const auto held = parts_.journal.records().texts().find(claim.name());
    if (held != parts_.journal.records().texts().end()) {
      return OutgoingText(held->second);
    }
  }
  auto file = parts_.files.open(parts_.disk.pathOf("new", claim.name()));
  if (!file) {
    return file.error();
  }
  return OutgoingText::read(std::move(*file));
}

Result<void> DeliveryQueue::delivered(const std::vector<const Claim*>& claims) {
  const std::lock_guard lock(parts_.mutex);
  std::vector<std::string> names;
  names.reserve(claims.size());
  for (const Claim* claim : claims) {
    const std::string& name = claim->name();
    const bool fileless =
        parts_.journal.records().texts().contains(name) && copied_.erase(name) == 0;
    (fileless ? fileless_ : handedOver_).push_back(name);
    names.push_back(name);
  }
  counted_ =
      counted_ && *counted_ > names.size() ? std::optional(*counted_ - names.size()) : std::nullopt;
  return noted(parts_.journal.deliver(names));
}

Result<void> DeliveryQueue::begin(const Claim& claim) {
  const std::lock_guard lock(parts_.mutex);
  return noted(parts_.journal.begin(claim.name()));
}

Result<void> DeliveryQueue::ended(const Claim& claim) {
  const std::lock_guard lock(parts_.mutex);
  return noted(parts_.journal.ended(claim.name()));
}

bool DeliveryQueue::begun(const Claim& claim) const {
  const std::lock_guard lock(parts_.mutex);
  return parts_.journal.records().begun(claim.name());
}

bool DeliveryQueue::mayHaveReachedAll(const Claim& claim) const {
  const std::lock_guard lock(parts_.mutex);
  return parts_.journal.records().mayHaveReachedAll(claim.name());
}

Result<void> DeliveryQueue::noted(Result<void> written) {
  lastWrite_ = parts_.journal.writes();
  return written;
}

// A send may have waited for the disk since then, for its own line and so for these as well. A pass
// sends one message after another, so the next send is worth a short wait: two threads that sync
// one file hold each other up. After one such wait in vain there is no other until something is
// sent.
Result<void> DeliveryQueue::makeDurable() {
  const std::lock_guard lock(parts_.mutex);
  if (othersSend_ && sender_ != std::this_thread::get_id()) {
    othersSend_ = parts_.journal.leaveToOthers(lastWrite_, kNextSend);
  }
  return parts_.journal.syncUpTo(lastWrite_);
}

Result<void> DeliveryQueue::removeDelivered() {
  Lock lock(parts_.mutex);
  return removeHandedOver(lock);
}

// In this order: the hand-over is on disk before a file goes. Otherwise a power cut between the two
// could leave neither file nor record, and the item would be forwarded anew. If the record fails,
// the files are removed all the same: they must not be delivered again.
Result<void> DeliveryQueue::removeHandedOver(Lock& lock) {
  const std::vector<std::string> names = std::exchange(handedOver_, {});
  if (names.empty()) {
    return {};
  }
  auto outcome = parts_.journal.sync();
  lock.unlock();
  std::vector<std::string> removed;
  std::vector<std::string> left;
  for (const std::string& name : names) {
    const auto gone = parts_.files.remove(parts_.disk.pathOf("new", name));
    if (gone || gone.error().code == ENOENT) {
      removed.push_back(name);
      continue;
    }
    left.push_back(name);
    outcome = outcome ? gone : outcome;
  }
  lock.lock();
  removed_.insert(removed_.end(), removed.begin(), removed.end());
  handedOver_.insert(handedOver_.end(), left.begin(), left.end());
  return outcome;
}

Result<void> DeliveryQueue::deliveredTo(const Claim& claim,
                                        const std::vector<std::string>& recipients) {
  const std::lock_guard lock(parts_.mutex);
  return parts_.journal.deliverTo(claim.name(), recipients);
}

std::set<std::string> DeliveryQueue::settledFor(const Claim& claim) const {
  const std::lock_guard lock(parts_.mutex);
  return parts_.journal.records().settledFor(claim.name());
}

Result<void> DeliveryQueue::unanswered(const Claim& claim, bool forAll) {
  const std::lock_guard lock(parts_.mutex);
  return parts_.journal.unanswered(claim.name(), forAll);
}

std::optional<DateTime> DeliveryQueue::unansweredSince(const std::string& name) const {
  const std::lock_guard lock(parts_.mutex);
  const auto seconds = parts_.journal.records().unansweredSince(name);
  return seconds ? std::optional<DateTime>(DateTime(std::chrono::seconds(*seconds))) : std::nullopt;
}

Result<void> DeliveryQueue::refuse(const Claim& claim, const std::string& words) {
  if (auto stored = store({claim.name()}); !stored) {
    return stored;
  }
  auto moved = parts_.disk.moveToFailed(claim.name(), words);
  const std::lock_guard lock(parts_.mutex);
  counted_.reset();
  return moved;
}

Result<void> DeliveryQueue::refuseFor(const Claim& claim,
                                      const std::vector<std::string>& recipients,
                                      std::size_t number, const OutgoingText& copy,
                                      const std::string& words) {
  std::string name;
  auto file = parts_.disk.create(parts_.names, name);
  if (!file) {
    return file.error();
  }
  WriteAttempt attempt;
  auto written = writeMessage(
      **file,
      [&](OutputFile& to) {
        return copy.forEachPiece([&](std::string_view piece) { return to.write(piece); });
      },
      attempt);
  file->reset();
  if (written) {
    written = parts_.disk.putCopyIntoFailed(name, claim.name(), number, words);
  } else {
    (void)parts_.files.remove(parts_.disk.pathOf("tmp", name));
  }
  if (!written) {
    return written;
  }
  const std::lock_guard lock(parts_.mutex);
  // If this line is lost, they are tried once more, and a second refusal replaces the copy.
  (void)parts_.journal.deliverTo(claim.name(), recipients);
  return {};
}

Result<void> DeliveryQueue::finishDeliveries() {
  Lock lock(parts_.mutex);
  auto outcome = removeHandedOver(lock);
  for (auto step : {&DeliveryQueue::noteRemoved, &DeliveryQueue::storeHeld}) {
    auto taken = (this->*step)(lock);
    outcome = outcome ? taken : outcome;
  }
  auto dropped = parts_.journal.dropTexts();
  return outcome ? dropped : outcome;
}

// The removals are synced once for a whole run. Only then may the journal forget the files.
Result<void> DeliveryQueue::noteRemoved(Lock& lock) {
  std::vector<std::string> names = std::exchange(removed_, {});
  Result<void> synced;
  if (!names.empty()) {
    lock.unlock();
    synced = parts_.disk.syncNew();
    lock.lock();
  }
  if (!synced) {
    removed_.insert(removed_.end(), names.begin(), names.end());
    names.clear();
  }
  const std::vector<std::string> fileless = std::exchange(fileless_, {});
  names.insert(names.end(), fileless.begin(), fileless.end());
  const auto noted = parts_.journal.removed(names);
  return synced ? noted : synced;
}

Result<void> DeliveryQueue::storeHeld(Lock& lock) {
  std::vector<std::string> names;
  for (const auto& [name, text] : parts_.journal.records().texts()) {
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
Result<void> DeliveryQueue::store(const std::vector<std::string>& names) {
  std::vector<std::string> placed;
  Result<void> outcome;
  for (const std::string& name : names) {
    std::string text;
    {
      const std::lock_guard lock(parts_.mutex);
      const auto held = parts_.journal.records().texts().find(name);
      if (held == parts_.journal.records().texts().end()) {
        continue;
      }
      text = held->second;
      copied_.insert(name);  // also if this fails: the disk may have done it all the same
    }
    outcome = parts_.disk.store(name, parts_.names.next(), text);
    if (!outcome) {
      break;
    }
    placed.push_back(name);
  }
  if (placed.empty()) {
    return outcome;
  }
  if (auto synced = parts_.disk.syncNew(); !synced) {
    return synced;
  }
  const std::lock_guard lock(parts_.mutex);
  for (const std::string& name : placed) {
    copied_.erase(name);
  }
  const auto noted = parts_.journal.stored(placed);
  return outcome ? noted : outcome;
}

}  // namespace relaybird
