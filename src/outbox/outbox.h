// SPDX-License-Identifier: MIT
// The folder that forwards wait in for delivery: a Maildir (tmp/, new/, cur/) with a further folder
// failed/, and a journal beside it (journal.h).
//
// A forward of ordinary size that is about to be delivered has no file at first: the journal holds
// it, which costs one wait for the disk (Journal::hold). Most leave this way. What could not leave
// gets its file when a series of deliveries ends (storeHeld()). In between a crash may leave both;
// the file counts then.
//
// Other messages get their files at once. A forward is written and synced in tmp/, then its intent
// is written to the journal and synced, and only then is the file renamed into new/ and new/
// synced. After a crash at any moment the next open() finds out whether the forward was made: it
// was, if its file is in new/, cur/ or failed/; a file in tmp/ that an intent names is complete and
// is moved into new/; otherwise it was not, and the next try uses the same Message-ID. A file in
// new/ is always complete. A message counts as sent once it is in new/ and new/ is synced. A
// message that the journal records as sent is never removed before it was handed over.
//
// Calls may come from any thread, so that one thread can send while another delivers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "outbox/journal.h"
#include "outbox/outbox_folder.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "platform/system/random_bytes.h"

namespace relaybird {

/// A message waiting in new/.
struct WaitingMessage {
  std::string name;  ///< of the file; any bytes except '/' and NUL, as other programs may add files
  DateTime modified = kNoDate;
};

/// The order of delivery.
inline bool olderFirst(const WaitingMessage& one, const WaitingMessage& other) {
  return std::tie(one.modified, one.name) < std::tie(other.modified, other.name);
}

class Outbox {
 public:
  using Writer = MessageWriter;

  /// Opens the outbox, makes missing folders and their parents, and recovers from a crash.
  /// `journal` is a file's path; its folder is made too. The outbox is locked against other
  /// programs while the object lives; EWOULDBLOCK where another program has it.
  static Result<std::unique_ptr<Outbox>> open(FileSystem& files, const Clock& clock,
                                              RandomBytes random, std::string folder,
                                              std::string journal);

  /// Whether messages are delivered from here and nobody else takes files out of new/. Then the
  /// journal may hold a message for a while before it has a file. When it is switched off, what is
  /// held gets files if the disk allows; else it stays held.
  void holdForDelivery(bool hold);

  /// Puts a message into the outbox. On success the message is durable, and alreadySent() of its
  /// entry is true until settle(). On failure the call may be repeated at once. The message of a
  /// failed send is not delivered, with one exception: if the disk allowed neither to put it into
  /// new/ nor to take it back, the error's text says that it may still go out, and a repeated call
  /// first finds out what became of it. For an entry that was sent and not settled the call does
  /// nothing and succeeds. The entry identifier is empty for a message that forwards no inbox item.
  Result<void> send(const std::string& entryId, const std::string& messageId, const Writer& write);

  /// Whether the last send failed because of the disk and not because of the message. Every failure
  /// of the outbox's own steps is the disk's (full, broken, read-only, no permission), because
  /// these steps are the same for each message. A failing writer and a size that no file can have
  /// (EFBIG) are the message's.
  bool refusedByDisk() const;
  /// Tests whether the disk takes messages again: writes, syncs and removes a file as large as the
  /// refused one, tests whether a name can be made in new/, and writes pending lines of the
  /// journal. Fails with the disk's error.
  Result<void> tryDisk();

  /// The Message-ID of an earlier try to forward the entry, which the next try must use.
  std::optional<std::string> intendedMessageId(const std::string& entryId) const;

  /// Whether the entry was forwarded and its read mark may not be written yet.
  bool alreadySent(const std::string& entryId) const;
  /// All such entries, in no particular order. After a start a store writes their read marks and
  /// settles them, also those whose item no longer exists.
  std::vector<std::string> alreadySent() const;
  /// The entry's read mark is on disk, or no mark is wanted: the entry may be forwarded again. Does
  /// nothing for an unknown entry. After a failure the entry still counts as settled until the
  /// program ends.
  Result<void> settle(const std::string& entryId);

  const std::string& folder() const { return disk_.path(); }
  /// Problems that open() found, as sentences for the log.
  const std::vector<std::string>& findings() const { return findings_; }

  /// How many messages wait, in new/ and held by the journal; of new/ 0 where it cannot be read.
  /// Lists the folder.
  std::size_t countWaiting() const;
  /// The same, but what others do in new/ is noticed within a second only: the folder is listed at
  /// most once a second.
  std::size_t recentlyWaiting() const;
  /// The same for an outbox that is not open.
  static std::size_t countWaiting(FileSystem& files, const std::string& folder,
                                  const std::string& journal);

  // For the delivery of what waits.

  /// The right to deliver one message. Only one claim on a message exists at a time.
  class Claim {
   public:
    Claim(Outbox& outbox, std::string name) : outbox_(&outbox), name_(std::move(name)) {}
    Claim(Claim&& other) noexcept
        : outbox_(std::exchange(other.outbox_, nullptr)), name_(std::move(other.name_)) {}
    Claim& operator=(Claim&&) = delete;
    ~Claim();
    const std::string& name() const { return name_; }

   private:
    Outbox* outbox_;
    std::string name_;
  };

  /// The messages in new/, oldest first by their time of change. Leaves out everything but regular
  /// files, names that begin with a dot, and messages that are being sent just now.
  Result<std::vector<WaitingMessage>> waiting();
  /// The messages sent since the last call, oldest first, so that a delivery need not list the
  /// whole folder for each message. Nothing if there were too many: list the folder then.
  std::optional<std::vector<WaitingMessage>> takeArrivals();
  /// Nothing for a message that is claimed, being sent, or handed over already.
  std::optional<Claim> claim(const std::string& name);
  /// The message, at most `limit` bytes of it. ENOENT if somebody has removed it.
  Result<std::string> read(const Claim& claim, std::size_t limit) const;
  /// The messages were handed over: writes that down, without waiting for the disk. Whatever
  /// becomes of this program, they are not handed out again, except after a power cut before
  /// makeDurable(). Even on failure this object does not hand them out again.
  Result<void> delivered(const std::vector<const Claim*>& claims);
  /// The message is about to be sent whole. Written down like delivered(), so that after a crash
  /// begun() tells that the message may have arrived.
  Result<void> begin(const Claim& claim);
  /// It was not sent whole, or the answer has come.
  Result<void> ended(const Claim& claim);
  bool begun(const Claim& claim) const;
  /// Makes durable what delivered(), begin() and ended() wrote, with one wait for the disk.
  Result<void> makeDurable();
  /// As makeDurable(), then removes these messages.
  Result<void> removeDelivered();
  /// The message was handed over for these recipients, and stays for the others. Returns once that
  /// is durable. Even on failure settledFor() names them as long as this object lives.
  Result<void> deliveredTo(const Claim& claim, const std::vector<std::string>& recipients);
  /// The recipients of a waiting message that it must not be sent to any more.
  std::set<std::string> settledFor(const Claim& claim) const;
  /// The message was sent whole, and no answer came, so it may have arrived. Returns once that is
  /// durable. Even on failure unansweredSince() tells it as long as this object lives.
  Result<void> unanswered(const Claim& claim);
  /// When that was, last; nothing if every try had its answer.
  std::optional<DateTime> unansweredSince(const std::string& name) const;
  /// The message was refused for good: moves it to failed/, with the reason in FILE.txt beside it
  /// if the disk allows. Fails if the message is still in new/.
  Result<void> refuse(const Claim& claim, const std::string& words);
  /// The same for some recipients of a message that others have or still wait for: puts `copy`, the
  /// message addressed to these alone, into failed/, and then settles them. The name of the copy is
  /// made of `number`, which is the same when the call is repeated after a crash. On failure they
  /// are not settled, and the copy may be in failed/ already.
  Result<void> refuseFor(const Claim& claim, const std::vector<std::string>& recipients,
                         std::size_t number, std::string_view copy, const std::string& words);
  /// As removeDelivered(), makes the removals since the last call durable, and gives files to the
  /// messages that the journal holds. Called once after a series, as it waits for the disk, and
  /// while nothing is claimed.
  Result<void> finishDeliveries();

 private:
  Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder);

  Result<void> prepare(const std::string& journal);
  Result<void> recover();
  Result<void> recoverHeld();
  Result<void> resolveDoubt(const std::string& entryId);
  Result<void> removeHandedOver(std::unique_lock<std::mutex>& lock);

  Result<void> trySend(const std::string& entryId, const std::string& messageId,
                       const Writer& write, WriteAttempt& attempt);
  Result<void> sendFile(const std::string& entryId, const std::string& messageId,
                        const Writer& write, WriteAttempt& attempt);
  Result<void> sendHeld(const std::string& entryId, const std::string& messageId,
                        const Writer& write, WriteAttempt& attempt);
  Result<void> finishFile(const std::string& entryId, const std::string& messageId,
                          const std::string& name, Result<void> outcome);
  Result<void> hold(const std::string& entryId, const std::string& messageId,
                    const std::string& text, bool& certain);
  std::size_t roomToHold() const;
  Result<void> noted(Result<void> written);
  Result<void> storeHeld(std::unique_lock<std::mutex>& lock);
  Result<void> store(const std::vector<std::string>& names);
  Result<void> noteRemoved(std::unique_lock<std::mutex>& lock);
  Result<void> tryTmp(std::uint64_t size);

  std::string nextName();
  Result<std::unique_ptr<OutputFile>> createTmp(std::string& name);
  Result<void> place(const std::string& name);
  void noteArrival(const std::string& name);

  FileSystem& files_;
  const Clock& clock_;
  RandomBytes random_;
  OutboxFolder disk_;
  std::string session_;  ///< makes the names of this run differ from those of other runs
  std::vector<std::string> findings_;
  std::unique_ptr<FolderLock> lock_;

  mutable std::mutex mutex_;  ///< for all below
  std::unique_ptr<Journal> journal_;
  bool holds_ = false;  ///< messages may be held by the journal
  std::uint64_t counter_ = 0;
  std::optional<std::uint64_t> refusedSize_;  ///< bytes of the message that the disk refused
  std::set<std::string> busy_;                ///< being sent, or claimed
  std::vector<WaitingMessage> arrivals_;
  bool arrivalsLost_ = true;                    ///< the folder was never listed
  int placing_ = 0;                             ///< messages that are just put into new/ or held
  mutable std::optional<std::size_t> counted_;  ///< how many wait, as far as it is known
  mutable DateTime countedAt_ = kNoDate;
  std::thread::id sender_;               ///< the last thread that has sent a held message
  bool othersSend_ = false;              ///< and may soon send another one
  std::uint64_t deliveryWrite_ = 0;      ///< the delivery's last write to the journal
  std::vector<std::string> handedOver_;  ///< files whose record may not be durable yet
  std::vector<std::string> removed_;     ///< files whose removal may not be durable yet
  std::vector<std::string> fileless_;    ///< handed over, and never had a file
  std::set<std::string> copied_;         ///< held, and may have a file in new/ too
};

}  // namespace relaybird
