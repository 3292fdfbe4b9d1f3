// SPDX-License-Identifier: MIT
// The folder that forwards wait in for delivery: a Maildir (tmp/, new/, cur/) with a further folder
// failed/, and a journal beside it (journal.h).
//
// A forward is written and synced in tmp/, its intent is put on the medium, and only then is it
// renamed into new/ and new/ synced. Whatever moment a crash chooses, the next open() finds out
// whether the forward was made: a file in new/, cur/ or failed/ was; a file in tmp/ that an intent
// names is complete and is moved on; otherwise it was not, and the next try uses the same
// Message-ID. A file in new/ is always whole. A message counts as sent once it is in new/ and new/
// is synced; nothing that the journal calls sent is ever cleared away before it was handed over.
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
  std::string name;  ///< of the file; arbitrary bytes but '/' and NUL, when others put it there
  DateTime modified = kNoDate;
};

/// The order of delivery.
inline bool olderFirst(const WaitingMessage& one, const WaitingMessage& other) {
  return std::tie(one.modified, one.name) < std::tie(other.modified, other.name);
}

class Outbox {
 public:
  /// Writes the message to the file that it is given, without syncing or closing it.
  using Writer = std::function<Result<void>(OutputFile&)>;

  /// Opens the outbox, making what is missing of the folder and of its parents, and clears up after
  /// a crash. `journal` is a file's path; its folder is made too. The outbox stays locked for other
  /// programs while the object lives; EWOULDBLOCK where another one has it.
  static Result<std::unique_ptr<Outbox>> open(FileSystem& files, const Clock& clock,
                                              RandomBytes random, std::string folder,
                                              std::string journal);

  /// Puts a message into the outbox. On success it will not be lost any more, and alreadySent() of
  /// its entry holds until settle(). On failure the call may be repeated at once. Nothing of a
  /// failed send will be delivered, except where the disk let it neither be put into place nor be
  /// taken back: the error's text then says that it may still go out, and a repeated call finds out
  /// what became of it before it writes anything. For an entry that was sent and not settled it
  /// does nothing and succeeds. An empty entry identifier stands for a message that answers to no
  /// inbox item.
  Result<void> send(const std::string& entryId, const std::string& messageId, const Writer& write);

  /// Whether the disk, and not the message, was to blame when the last send failed. To blame is
  /// whatever fails of the outbox's own steps, be it full, broken, read-only or without rights:
  /// they are the same for each message. The message's own are a failing writer and a size that no
  /// file can have (EFBIG).
  bool refusedByDisk() const;
  /// Tries out whether the disk would take a message again: writes, syncs and removes a file as
  /// large as the refused one, looks whether new/ takes names, and brings the journal up to date.
  /// Fails with what the disk says.
  Result<void> tryDisk();

  /// The Message-ID that an earlier try to forward the entry had chosen, for the next one to take.
  std::optional<std::string> intendedMessageId(const std::string& entryId) const;

  /// Whether the entry was forwarded and its read mark may still be to be written.
  bool alreadySent(const std::string& entryId) const;
  /// All such entries, in no particular order. After a start, a store writes their read marks and
  /// settles them; also those whose item is no longer there.
  std::vector<std::string> alreadySent() const;
  /// The entry's read mark is on the medium, or it is to have none: the entry may be forwarded
  /// anew. Nothing to do for an unknown entry. After a failure the entry is settled all the same
  /// until the program ends.
  Result<void> settle(const std::string& entryId);

  const std::string& folder() const { return disk_.path(); }
  /// What open() found amiss, as sentences for the log.
  const std::vector<std::string>& findings() const { return findings_; }

  /// How many messages wait in new/; 0 where it cannot be read.
  std::size_t countWaiting() const;
  /// The same for an outbox that is not open.
  static std::size_t countWaiting(FileSystem& files, const std::string& folder);

  // For the delivery of what waits.

  /// The right to deliver one message; while it is held nobody else gets it.
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

  /// The messages in new/, oldest first by their time of change. Other things than regular files,
  /// names that begin with a dot and messages on their way in are left out.
  Result<std::vector<WaitingMessage>> waiting();
  /// The messages sent since the last call, oldest first, so that a delivery need not list the
  /// whole folder for each. Empty optional: too many to tell, list the folder.
  std::optional<std::vector<WaitingMessage>> takeArrivals();
  /// Nothing for a message that is claimed, on its way in, or handed over already.
  std::optional<Claim> claim(const std::string& name);
  std::string pathOf(const Claim& claim) const;
  /// The message was handed over: notes that durably, then removes it. Whatever fails, it is not
  /// handed out again by this object.
  Result<void> delivered(const Claim& claim);
  /// The message was refused for good: moves it to failed/, with `words` beside it in FILE.txt as
  /// far as the disk takes them. Fails where the message is still in new/.
  Result<void> refuse(const Claim& claim, const std::string& words);
  /// Makes the removals since the last call durable and forgets them. Once after a series.
  Result<void> finishDeliveries();

 private:
  Outbox(FileSystem& files, const Clock& clock, RandomBytes random, std::string folder);

  Result<void> prepare(const std::string& journal);
  Result<void> recover();
  Result<void> recoverForwards(std::set<std::string>& inTmp);
  Result<void> resolveDoubt(const std::string& entryId);
  void removeDelivered();

  struct Attempt;
  Result<void> trySend(const std::string& entryId, const std::string& messageId,
                       const Writer& write, Attempt& attempt);
  Result<void> tryTmp(std::uint64_t size);

  std::string nextName();
  Result<std::unique_ptr<OutputFile>> createTmp(std::string& name);
  Result<void> place(const std::string& name);
  void noteArrival(const std::string& name);

  FileSystem& files_;
  const Clock& clock_;
  RandomBytes random_;
  OutboxFolder disk_;
  std::string session_;  ///< tells the names of this run from those of others
  std::vector<std::string> findings_;
  std::unique_ptr<FolderLock> lock_;

  mutable std::mutex mutex_;  ///< for all below
  std::unique_ptr<Journal> journal_;
  std::uint64_t counter_ = 0;
  std::optional<std::uint64_t> refusedSize_;  ///< bytes of the message that the disk refused
  std::set<std::string> busy_;                ///< on their way in, or claimed
  std::vector<WaitingMessage> arrivals_;
  bool arrivalsLost_ = true;  ///< the folder was never listed
  std::vector<std::string> removed_;
};

}  // namespace relaybird
