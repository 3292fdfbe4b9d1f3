// SPDX-License-Identifier: MIT
// Opening, sending, and recovery after a crash.
// The promise of outbox.h rests on the order of the steps: none may be moved before another. A
// failure is reported as final only when it is certain that the message cannot go out any more.
// Locking: mutex_ guards the journal and the records in memory. It is not held during waits for the
// disk, so that sending and delivering do not wait for each other.
#include "outbox/outbox.h"

#include <algorithm>
#include <cerrno>

#include "outbox/outbox_recovery.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Random, so that two runs within the same second, or after the clock was set back, use different
// names.
constexpr std::size_t kSessionBytes = 8;

Error mayStillGoOut(const Error& why) {
  return {why.code, why.text + "; it may still go out"};
}

}  // namespace

Outbox::Outbox(FileSystem& files, const Clock& clock, std::string folder)
    : files_(files), clock_(clock), disk_(files, std::move(folder)) {}

Result<std::unique_ptr<Outbox>> Outbox::open(FileSystem& files, const Clock& clock,
                                             const RandomBytes& random, std::string folder,
                                             const std::string& journal) {
  std::unique_ptr<Outbox> outbox(new Outbox(files, clock, std::move(folder)));
  if (auto prepared = outbox->prepare(random, journal); !prepared) {
    return prepared.error();
  }
  if (auto recovered = outbox->recover(); !recovered) {
    return recovered.error();
  }
  return outbox;
}

// In this order: the folder is locked before the journal is read, since the program that has the
// lock may be changing both.
Result<void> Outbox::prepare(const RandomBytes& random, const std::string& journal) {
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
  auto session = random(kSessionBytes);
  if (!session) {
    return session.error();
  }
  names_.emplace(clock_, toHex(*session));
  auto opened = Journal::open(files_, clock_, journal, &mutex_);
  if (!opened) {
    return opened.error();
  }
  journal_ = std::move(*opened);
  queue_.emplace(OutboxParts{files_, clock_, disk_, *names_, *journal_, mutex_});
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
  return queue_->recover();
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
  // Messages that forward no inbox item are not in the journal.
  const std::size_t room = entryId.empty() ? 0 : queue_->roomToHold();
  return room == 0 ? sendFile(entryId, messageId, write, attempt)
                   : sendHeld(entryId, messageId, room, write, attempt);
}

Result<void> Outbox::sendFile(const std::string& entryId, const std::string& messageId,
                              const Writer& write, WriteAttempt& attempt) {
  std::string name;
  auto file = disk_.create(*names_, name);
  if (!file) {
    return file.error();
  }
  auto outcome = writeMessage(**file, write, attempt);
  file->reset();
  return finishFile(entryId, messageId, name, std::move(outcome));
}

Result<void> Outbox::sendHeld(const std::string& entryId, const std::string& messageId,
                              std::size_t room, const Writer& write, WriteAttempt& attempt) {
  std::string name;
  SpillingFile file(room, [&] { return disk_.create(*names_, name); });
  auto outcome = writeMessage(file, write, attempt);
  if (file.spilled()) {
    return finishFile(entryId, messageId, name, std::move(outcome));
  }
  if (!outcome) {
    return outcome;
  }
  const std::string text = file.takeText();
  bool certain = true;
  outcome = hold(entryId, messageId, text, certain);
  if (outcome) {
    return outcome;
  }
  if (!certain) {
    return mayStillGoOut(outcome.error());
  }
  // The journal may be on another disk than the files, with less room.
  attempt = {};
  return sendFile(
      entryId, messageId, [&](OutputFile& to) { return to.write(text); }, attempt);
}

// A delivery must not claim the message before it is durable.
Result<void> Outbox::hold(const std::string& entryId, const std::string& messageId,
                          const std::string& text, bool& certain) {
  const std::string name = names_->next();
  DeliveryQueue::Arrival arrival(*queue_, name);
  Result<void> held;
  {
    const std::lock_guard lock(mutex_);
    held = journal_->hold(entryId, messageId, name, text, certain);
  }
  if (held) {
    arrival.arrived(DeliveryQueue::Place::kJournal);
  }
  return held;
}

Result<void> Outbox::finishFile(const std::string& entryId, const std::string& messageId,
                                const std::string& name, Result<void> outcome) {
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
  auto file = disk_.create(*names_, name);
  if (!file) {
    return file.error();
  }
  const auto outcome = disk_.tryFile(**file, size);
  file->reset();
  const auto removed = files_.remove(disk_.pathOf("tmp", name));
  return outcome ? removed : outcome;
}

// A try that could not be taken back leaves an intent without an outcome. Runs before each try of
// an entry, so that a doubt never leads to a second copy.
Result<void> Outbox::resolveDoubt(const std::string& entryId) {
  {
    const std::lock_guard lock(mutex_);
    const ForwardRecord* record = journal_->records().find(entryId);
    if (!record || record->state != ForwardRecord::State::kIntended) {
      return {};
    }
  }
  auto resolved = resolveDoubts();
  queue_->forgetWhatIsKnown();
  return resolved;
}

Result<void> Outbox::resolveDoubts() {
  const std::lock_guard lock(mutex_);
  auto inTmp = disk_.namesInTmp();
  return inTmp ? recoverForwards(files_, disk_, *journal_, *inTmp) : inTmp.error();
}

Result<void> Outbox::place(const std::string& name) {
  // A delivery must not claim the file before its rename is known to be durable.
  DeliveryQueue::Arrival arrival(*queue_, name);
  auto placed = files_.rename(disk_.pathOf("tmp", name), disk_.pathOf("new", name));
  if (placed) {
    placed = disk_.syncNew();
  }
  const bool takenBack = !placed && disk_.withdraw(name);
  if (placed || takenBack) {
    // If this line is lost, the next start finds the file in new/, or does not, and draws the same
    // conclusion.
    const std::lock_guard lock(mutex_);
    (void)(placed ? journal_->done(name) : journal_->annul(name));
  }
  if (placed) {
    arrival.arrived(DeliveryQueue::Place::kNew);
  }
  if (placed || takenBack) {
    return placed;
  }
  // The file may be in new/, and is then delivered, or in tmp/, from where a repeated send or the
  // next start moves it into new/. Its intent stays on record until one of them has found out, so
  // that the file is neither removed nor written a second time.
  queue_->forgetWhatIsKnown();
  return mayStillGoOut(placed.error());
}

std::optional<std::string> Outbox::intendedMessageId(const std::string& entryId) const {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->records().find(entryId);
  if (!record) {
    return std::nullopt;
  }
  return record->messageId;
}

bool Outbox::alreadySent(const std::string& entryId) const {
  const std::lock_guard lock(mutex_);
  const ForwardRecord* record = journal_->records().find(entryId);
  return record && record->state == ForwardRecord::State::kSent;
}

std::vector<std::string> Outbox::alreadySent() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> entries;
  for (const auto& [entry, record] : journal_->records().forwards()) {
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

}  // namespace relaybird
