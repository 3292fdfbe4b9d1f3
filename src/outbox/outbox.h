// SPDX-License-Identifier: MIT
// The folder that forwards wait in for delivery: a Maildir (tmp/, new/, cur/) with a further folder
// failed/, and a journal beside it (journal.h).
//
// A forward of ordinary size that is about to be delivered has no file at first: the journal holds
// it, which costs one wait for the disk (Journal::hold). Most leave this way. What could not leave
// gets its file when a series of deliveries ends (DeliveryQueue::finishDeliveries). In between a
// crash may leave both; the file counts then.
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
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "outbox/delivery_queue.h"
#include "outbox/journal.h"
#include "outbox/outbox_folder.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "platform/system/random_bytes.h"

namespace relaybird {

class Outbox {
 public:
  using Writer = MessageWriter;

  /// Opens the outbox, makes missing folders and their parents, and recovers from a crash.
  /// `journal` is a file's path; its folder is made too. The outbox is locked against other
  /// programs while the object lives; EWOULDBLOCK where another program has it.
  static Result<std::unique_ptr<Outbox>> open(FileSystem& files, const Clock& clock,
                                              const RandomBytes& random, std::string folder,
                                              const std::string& journal);

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

  /// What waits for its delivery.
  DeliveryQueue& queue() { return *queue_; }

 private:
  Outbox(FileSystem& files, const Clock& clock, std::string folder);

  Result<void> prepare(const RandomBytes& random, const std::string& journal);
  Result<void> recover();
  Result<void> resolveDoubt(const std::string& entryId);
  Result<void> resolveDoubts();

  Result<void> trySend(const std::string& entryId, const std::string& messageId,
                       const Writer& write, WriteAttempt& attempt);
  Result<void> sendFile(const std::string& entryId, const std::string& messageId,
                        const Writer& write, WriteAttempt& attempt);
  Result<void> sendHeld(const std::string& entryId, const std::string& messageId, std::size_t room,
                        const Writer& write, WriteAttempt& attempt);
  Result<void> finishFile(const std::string& entryId, const std::string& messageId,
                          const std::string& name, Result<void> outcome);
  Result<void> hold(const std::string& entryId, const std::string& messageId,
                    const std::string& text, bool& certain);
  Result<void> place(const std::string& name);
  Result<void> tryTmp(std::uint64_t size);

  FileSystem& files_;
  const Clock& clock_;
  OutboxFolder disk_;
  std::vector<std::string> findings_;
  std::unique_ptr<FolderLock> lock_;
  std::optional<OutboxNames> names_;

  mutable std::mutex mutex_;  ///< for the journal, the queue and all below
  std::unique_ptr<Journal> journal_;
  std::optional<DeliveryQueue> queue_;
  std::optional<std::uint64_t> refusedSize_;  ///< bytes of the message that the disk refused
};

}  // namespace relaybird
