// SPDX-License-Identifier: MIT
// The messages of an outbox that wait for their delivery, and their way out of it.
//
// A message waits in new/ or in the journal, which holds the text of one that has no file
// (Journal::hold). What is true at any time:
//
// - A name that is being put here or is claimed is busy: waiting() leaves it out, and nobody else
//   can claim it. It may be claimed once its place is durable.
// - What was handed over (delivered()) is never handed out again, whatever fails.
// - A file leaves new/ only when the record of its hand-over is durable, and the journal forgets
//   that record only when the removal is durable.
// - The journal lets go of a text only when its message has left, or has a file with a durable
//   name. If making the file failed, both may exist. They are one message then: the text is read,
//   and the file is removed with it.
//
// Calls may come from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "outbox/journal.h"
#include "outbox/outbox_folder.h"
#include "outbox/outgoing_text.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// A message that waits.
struct WaitingMessage {
  std::string name;  ///< of the file; any bytes except '/' and NUL, as other programs may add files
  DateTime modified = kNoDate;
};

/// The order of delivery.
inline bool olderFirst(const WaitingMessage& one, const WaitingMessage& other) {
  return std::tie(one.modified, one.name) < std::tie(other.modified, other.name);
}

/// What sending and delivering share.
struct OutboxParts {
  FileSystem& files;
  const Clock& clock;
  OutboxFolder& disk;
  OutboxNames& names;
  Journal& journal;
  std::mutex& mutex;  ///< for the journal, which releases it during its waits for the disk
};

class DeliveryQueue {
 public:
  /// All that is referred to must outlive the queue.
  explicit DeliveryQueue(OutboxParts parts) : parts_(parts) {}
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;

  // Each function takes the mutex of the parts, so its caller must not have it.

  /// Finishes what a crash has interrupted: removes what was handed over, and gives files to what
  /// the journal holds. Called once, before all others. On failure it is not known what waits, and
  /// the queue must not be used.
  Result<void> recover();

  /// Whether messages are delivered from here and nobody else takes files out of new/. Then the
  /// journal may hold a message for a while before it has a file. When it is switched off, what is
  /// held gets files if the disk allows; else it stays held.
  void holdForDelivery(bool hold);

  /// How many messages wait, in new/ and held by the journal; of new/ 0 where it cannot be read.
  /// Lists the folder.
  std::size_t countWaiting() const;
  /// The same, but what others do in new/ is noticed within a second only: the folder is listed at
  /// most once a second.
  std::size_t recentlyWaiting() const;
  /// The same for an outbox that is not open.
  static std::size_t countWaiting(FileSystem& files, const std::string& folder,
                                  const std::string& journal);

  // For sending.

  /// How large a message the journal may hold now, in bytes; 0 if it may hold none.
  std::size_t roomToHold() const;

  enum class Place { kNew, kJournal };

  /// A message that is just being put into the queue. It is busy until it has arrived, or until
  /// this object ends.
  class Arrival {
   public:
    Arrival(DeliveryQueue& queue, std::string name);
    ~Arrival();
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;
    /// It waits there now, durably. Not called: it does not, or forgetWhatIsKnown() is called.
    void arrived(Place place);

   private:
    void end();

    DeliveryQueue& queue_;
    std::string name_;
    bool ended_ = false;
  };
  /// Messages may have come into new/ or gone without an Arrival: the next takeArrivals() has
  /// nothing.
  void forgetWhatIsKnown();

  // For the delivery.

  /// The right to deliver one message. Only one claim on a message exists at a time.
  class Claim {
   public:
    Claim(DeliveryQueue& queue, std::string name) : queue_(&queue), name_(std::move(name)) {}
    Claim(Claim&& other) noexcept
        : queue_(std::exchange(other.queue_, nullptr)), name_(std::move(other.name_)) {}
    Claim& operator=(Claim&&) = delete;
    ~Claim();
    const std::string& name() const { return name_; }

   private:
    DeliveryQueue* queue_;
    std::string name_;
  };

  /// The messages that wait, oldest first by their time of change. Leaves out everything but
  /// regular files, names that begin with a dot, and what is busy.
  Result<std::vector<WaitingMessage>> waiting();
  /// The messages sent since the last call, oldest first, so that a delivery need not list the
  /// whole folder for each message. Nothing if there were too many: list the folder then.
  std::optional<std::vector<WaitingMessage>> takeArrivals();
  /// Nothing for a message that is busy or handed over already.
  std::optional<Claim> claim(const std::string& name);
  /// The message. ENOENT if somebody has removed it.
  Result<OutgoingText> read(const Claim& claim) const;
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
  /// Whether the last try of a message has got no answer, and was for all to whom it goes.
  bool mayHaveReachedAll(const Claim& claim) const;
  /// Makes durable what delivered(), begin() and ended() wrote, with one wait for the disk. Leaves
  /// the wait to a send of another thread if one comes within 3 milliseconds: a pass over the inbox
  /// sends one message after another, and two threads that sync one file hold each other up. After
  /// one such wait in vain there is no other until something is sent.
  Result<void> makeDurable();
  /// As makeDurable(), then removes these messages.
  Result<void> removeDelivered();
  /// The message was handed over for these recipients, and stays for the others. Returns once that
  /// is durable. Even on failure settledFor() names them as long as this object lives.
  Result<void> deliveredTo(const Claim& claim, const std::vector<std::string>& recipients);
  /// The recipients of a waiting message that it must not be sent to any more.
  std::set<std::string> settledFor(const Claim& claim) const;
  /// The message was sent whole, and no answer came, so it may have arrived; `forAll` if nobody is
  /// left then who needs it. Returns once that is durable. Even on failure unansweredSince() tells
  /// it as long as this object lives.
  Result<void> unanswered(const Claim& claim, bool forAll);
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
                         std::size_t number, const OutgoingText& copy, const std::string& words);
  /// As removeDelivered(), makes the removals since the last call durable, and gives files to the
  /// messages that the journal holds. Called once after a series, as it waits for the disk, and
  /// while nothing is claimed.
  Result<void> finishDeliveries();

 private:
  using Lock = std::unique_lock<std::mutex>;

  Result<void> noteWhatHasFiles();
  Result<void> noted(Result<void> written);
  Result<void> removeHandedOver(Lock& lock);
  Result<void> noteRemoved(Lock& lock);
  Result<void> storeHeld(Lock& lock);
  Result<void> store(const std::vector<std::string>& names);
  void noteArrival(const std::string& name);

  OutboxParts parts_;

  // The mutex is for all below.
  bool holds_ = false;  ///< messages may be held by the journal
  std::set<std::string> busy_;
  std::size_t placing_ = 0;  ///< messages that are just being put here
  std::vector<WaitingMessage> arrivals_;
  bool arrivalsLost_ = true;                    ///< the folder was never listed
  mutable std::optional<std::size_t> counted_;  ///< how many wait, as far as it is known
  mutable DateTime countedAt_ = kNoDate;
  std::uint64_t lastWrite_ = 0;          ///< the delivery's last write to the journal
  std::thread::id sender_;               ///< the last thread that has sent a held message
  bool othersSend_ = false;              ///< and may soon send another one
  std::vector<std::string> handedOver_;  ///< files whose record may not be durable yet
  std::vector<std::string> removed_;     ///< files whose removal may not be durable yet
  std::vector<std::string> fileless_;    ///< handed over, and never had a file
  std::set<std::string> copied_;         ///< held, and may have a file in new/ too
};

}  // namespace relaybird
