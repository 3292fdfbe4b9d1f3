// SPDX-License-Identifier: MIT
// Sending, delivering, and recovery after a crash. The promise of outbox.h rests on the order of
// the steps: none may be moved before another. A failure is reported as final only when it is
// certain that the message cannot go out any more. Locking: mutex_ guards the journal and the
// records in memory. It is not held during waits for the disk, so that sending and delivering do
// not wait for each other.
#include "outbox/outbox.h"

#include <algorithm>
#include <cerrno>

#include "outbox/outbox_recovery.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Above this number of arrivals, listing the folder is as cheap as remembering them.
constexpr std::size_t kArrivalLimit = 4096;

// Random, so that two runs within the same second, or after the clock was set back, use different
// names.
constexpr std::size_t kSessionBytes = 8;
// The number that waits is asked for at each line of the log, and listing thousands of files each
// time would take longer than sending them.
constexpr std::chrono::seconds kCountAgain{1};

Error mayStillGoOut(const Error& why) {
  return {why.code, why.text + "; it may still go out"};
}

}  // namespace

Outbox::Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder)
    : files_(files), clock_(clock), random_(std::move(random)), disk_(files, std::move(folder)) {}

Result<std::unique_ptr<Outbox>> Outbox::open(FileSystem& files, const Clock& clock,
                                             RandomBytes random, std::string folder,
                                             std::string journal) {
  std::unique_ptr<Outbox> outbox(new Outbox(files, clock, std::move(random), std::move(folder)));
  if (auto prepared = outbox->prepare(journal); !prepared) {
    return prepared.error();
  }
  if (auto recovered = outbox->recover(); !recovered) {
    return recovered.error();
  }
  return outbox;
}

// In this order: the folder is locked before the journal is read, since the program that has the
// lock may be changing both.
Result<void> Outbox::prepare(const std::string& journal) {
  if (auto made = disk_.make(parentFolder(journal)); !made) {
    return made;
  }
  // For the life of this object. Another program on the same outbox would deliver its messages
  // twice.
  auto lock = files_.lockFolder(disk_.path());
  if (!lock) {
    return lock.error();
  }
  lock_ = std::move(*lock);
  auto session = random_(kSessionBytes);
  if (!session) {
    return session.error();
  }
  session_ = toHex(*session);
  auto opened = Journal::open(files_, clock_, journal, &mutex_);
  if (!opened) {
    return opened.error();
  }
  journal_ = std::move(*opened);
  if (journal_->damagedLines() > 0) {
    findings_.push_back("The outbox journal " + journal + " has damaged lines (" +
                        std::to_string(journal_->damagedLines()) + "), which were left out");
  }
  return {};
}

// A failure here ends the opening. Without knowing what was sent, the outbox could only guess, and
// would lose a forward or send it twice.
Result<void> Outbox::recover() {
  auto inTmp = disk_.namesInTmp();
  if (!inTmp) {
    return inTmp.error();
  }
  if (auto recovered = recoverForwards(files_, disk_, *journal_, *inTmp); !recovered) {
    return recovered;
  }
  // After the recovery: what is still in tmp/ belongs to no forward.
  disk_.clearTmp(*inTmp, clock_.now());
  // Their hand-over is on record, so these must not be delivered again, whatever became of the
  // files.
  handedOver_.assign(journal_->delivered().begin(), journal_->delivered().end());
  (void)finishDeliveries();
  forgetWhatIsGone(files_, disk_, *journal_);
  return {};
}

// The store asks after a failure whether to wait for the disk or to give the message up, so the
// reason is kept until the next send.
Result<void> Outbox::send(const std::string& entryId, const std::string& messageId,
                          const Writer& write) {
  WriteAttempt attempt;
  auto sent = trySend(entryId, messageId, write, attempt);
  // A message that is too large, or cannot be read, says nothing about the disk.
  const bool disk = !sent && !attempt.messageToBlame && sent.error().code != EFBIG;
  const std::lock_guard lock(mutex_);
  refusedSize_ = disk ? std::optional(attempt.size) : std::nullopt;
  return sent;
}

Result<void> Outbox::trySend(const std::string& entryId, const std::string& messageId,
                             const Writer& write, WriteAttempt& attempt) {
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
  auto outcome = writeMessage(**file, write, attempt);
  file->reset();
  const bool intended = outcome && !entryId.empty();
  if (intended) {
    const std::lock_guard lock(mutex_);
    outcome = journal_->intend(entryId, messageId, name);
  }
  if (outcome) {
    return place(name);
  }
  // A file without an intent is no danger: the next start clears it away. With one it would be
  // moved into new/ and sent.
  const auto cleared = files_.remove(disk_.pathOf("tmp", name));
  if (cleared || !intended) {
    return outcome;
  }
  // The intent may be on disk even though writing it was reported as failed.
  return mayStillGoOut(outcome.error());
}

bool Outbox::refusedByDisk() const {
  const std::lock_guard lock(mutex_);
  return refusedSize_.has_value();
}

// Each of the steps can be refused by itself: bytes by a full disk, names by a folder without
// permission, the journal by another disk.
Result<void> Outbox::tryDisk() {
  std::uint64_t size = 0;
  {
    const std::lock_guard lock(mutex_);
    size = refusedSize_.value_or(0);
  }
  if (auto tried = tryTmp(size); !tried) {
    return tried;
  }
  if (auto tried = disk_.tryNew(); !tried) {
    return tried;
  }
  const std::lock_guard lock(mutex_);
  auto mended = journal_->sync();
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
  const auto outcome = disk_.tryFile(**file, size);
  file->reset();
  const auto removed = files_.remove(disk_.pathOf("tmp", name));
  return outcome ? removed : outcome;
}

// A try that could not be taken back leaves an intent without an outcome.
Result<void> Outbox::resolveDoubt(const std::string& entryId) {
  // Runs before each try of an entry, so that a doubt never leads to a second copy.
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->find(entryId);
  if (!record || record->state != ForwardRecord::State::kIntended) {
    return {};
  }
  arrivalsLost_ = true;
  counted_.reset();
  auto inTmp = disk_.namesInTmp();
  if (!inTmp) {
    return inTmp.error();
  }
  return recoverForwards(files_, disk_, *journal_, *inTmp);
}

std::string Outbox::nextName() {
  const std::lock_guard lock(mutex_);
  return makeOutboxName(clock_.now(), ++counter_, session_);
}

Result<std::unique_ptr<OutputFile>> Outbox::createTmp(std::string& name) {
  for (int tries = 0;; ++tries) {
    // The name can be taken only by an accident, which the next number avoids.
    name = nextName();
    auto file = files_.create(disk_.pathOf("tmp", name));
    if (file || file.error().code != EEXIST || tries == 3) {
      return file;
    }
  }
}

Result<void> Outbox::place(const std::string& name) {
  {
    const std::lock_guard lock(mutex_);
    // A delivery must not claim the file before its rename is known to be durable.
    busy_.insert(name);
    ++placing_;
  }
  auto placed = files_.rename(disk_.pathOf("tmp", name), disk_.pathOf("new", name));
  if (placed) {
    placed = files_.syncFolder(joinPath(disk_.path(), "new"));
  }
  const bool takenBack = !placed && disk_.withdraw(name);
  const std::lock_guard lock(mutex_);
  busy_.erase(name);
  --placing_;
  if (placed) {
    counted_ = counted_ ? std::optional(*counted_ + 1) : std::nullopt;
    // If this line is lost, the next start finds the file in new/ and draws the same conclusion.
    (void)journal_->done(name);
    noteArrival(name);
    return {};
  }
  counted_.reset();
  if (takenBack) {
    (void)journal_->annul(name);
    return placed;
  }
  // The file may be in new/, and is then delivered, or in tmp/, from where a repeated send or the
  // next start moves it into new/. Its intent stays on record until one of them has found out, so
  // that the file is neither removed nor written a second time.
  arrivalsLost_ = true;
  return mayStillGoOut(placed.error());
}

// A delivery that is behind lists the folder instead, so that this list does not grow without end
// while no server can be reached.
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
  const std::size_t count = disk_.countWaiting(journal_->delivered());
  // A message that is just moved may be in the count already, and will be added when it is there.
  if (placing_ == 0) {
    counted_ = count;
    countedAt_ = now;
  }
  return count;
}

std::size_t Outbox::countWaiting(FileSystem& files, const std::string& folder) {
  return OutboxFolder(files, folder).countWaiting({});
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

std::string Outbox::pathOf(const Claim& claim) const {
  return disk_.pathOf("new", claim.name());
}

Result<void> Outbox::delivered(const std::vector<const Claim*>& claims) {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  names.reserve(claims.size());
  for (const Claim* claim : claims) {
    names.push_back(claim->name());
  }
  handedOver_.insert(handedOver_.end(), names.begin(), names.end());
  counted_ =
      counted_ && *counted_ > names.size() ? std::optional(*counted_ - names.size()) : std::nullopt;
  return journal_->deliver(names);
}

Result<void> Outbox::begin(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  return journal_->begin(claim.name());
}

Result<void> Outbox::ended(const Claim& claim) {
  const std::lock_guard lock(mutex_);
  return journal_->ended(claim.name());
}

bool Outbox::begun(const Claim& claim) const {
  const std::lock_guard lock(mutex_);
  return journal_->begun(claim.name());
}

Result<void> Outbox::makeDurable() {
  const std::lock_guard lock(mutex_);
  return journal_->sync();
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

// The removals are synced once for a whole run. Only then may the journal forget the files.
Result<void> Outbox::finishDeliveries() {
  std::unique_lock lock(mutex_);
  auto outcome = removeHandedOver(lock);
  const std::vector<std::string> names = std::exchange(removed_, {});
  if (names.empty()) {
    return outcome;
  }
  lock.unlock();
  const auto synced = files_.syncFolder(joinPath(disk_.path(), "new"));
  lock.lock();
  if (!synced) {
    removed_.insert(removed_.end(), names.begin(), names.end());
    return synced;
  }
  const auto noted = journal_->removed(names);
  return outcome ? noted : outcome;
}

}  // namespace relaybird
