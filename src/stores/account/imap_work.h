// SPDX-License-Identifier: MIT
// What is wanted of a mailbox on a server, and what of it is there: the unread messages, heads,
// bodies, read marks. It outlives connections: what was asked on one that was lost is asked again
// on the next. Without input and output, threads and clocks, like the ImapClient that it uses.
//
// Memory is bounded whatever the mailbox: heads and bodies are kept only from their arrival until
// they are taken, and few are asked for ahead.
//
// A message is named by its UID. UIDs are worth nothing once the UIDVALIDITY changes; generation()
// changes then, and everything that was wanted or there is gone. Before anything is listed under
// new numbers, all heads are read once, to recognise the messages (message_identities.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/result.h"
#include "stores/account/fetched_body.h"
#include "stores/account/imap_client.h"
#include "stores/account/message_identities.h"
#include "stores/account/uid_set.h"

namespace relaybird {

/// A message is fetched in pieces of this size, unless it is known to be smaller.
inline constexpr std::uint64_t kPieceBytes = std::uint64_t{1} << 20;
/// So many pieces of one message are asked for ahead.
inline constexpr std::size_t kPiecesAhead = 4;

/// So many commands for heads are unanswered at a time.
inline constexpr std::size_t kHeadCommandsAhead = 4;

/// What bodies fetched ahead may take in memory together, and how large one of them may be. The
/// others are fetched when they are needed.
inline constexpr std::uint64_t kBodiesAheadBytes = std::uint64_t{8} << 20;
inline constexpr std::uint64_t kBodyAheadBytes = std::uint64_t{256} << 10;

/// So many marks are sent at once even if more may follow soon.
inline constexpr std::size_t kMarksAtOnce = 200;

/// Whether a thing that was wanted is there.
enum class Wanted {
  kNot,  ///< never wanted, or taken already
  kComing,
  kThere,
  kGone,    ///< the server has no such message any more
  kFailed,  ///< the message cannot be had
  kLost,    ///< it did not come, for a reason outside of the message; a later want asks again
};

/// How a connection ended, for the messages that were asked for on it.
enum class Loss {
  kOther,         ///< says nothing about them
  kBroken,        ///< no answer any more, or the network lost it instead of one: hardly over them
  kClosedAtOnce,  ///< the server ended it as soon as it had to answer
};

class ImapWork {
 public:
  /// `spool` and `identities` must outlive this object. `complain` gets a sentence about a mark
  /// that the server refuses, and about messages that are left out after a renumbering. `now` is
  /// the time of receipt of a message of which neither server nor writer tells one.
  ImapWork(BodySpool& spool, MessageIdentities& identities,
           std::function<void(std::string)> complain, std::function<DateTime()> now);

  // The connection.
  /// The events that the client has to call.
  ImapClient::Events events();
  /// From now on the commands go to `client`, in which the folder is open.
  void attach(ImapClient& client, const ImapOpened& opened);
  /// The connection is lost.
  void detach(Loss how);
  /// Sends the commands for what is wanted. To be called whenever something may have changed.
  void pump();
  /// Whether anything is wanted but marks.
  bool wantsAnything() const;
  /// Everything that is wanted but marks becomes kFailed or kLost, until the next attach().
  void giveUp(const Error& why);
  std::uint64_t generation() const { return generation_; }
  bool readOnly() const { return opened_.readOnly; }
  std::uint32_t uidValidity() const { return opened_.uidValidity; }
  const MessageIdentities& identities() const { return identities_; }

  // The unread messages.
  /// Asks for the unread messages anew, after the marks that wait. Returns a number for
  /// refreshed().
  std::uint64_t wantRefresh();
  Wanted refreshed(std::uint64_t number) const;
  /// Why the last refresh that failed did.
  const Error& refreshFailure() const { return refreshFailure_; }
  /// Rising; those that were marked as read here are left out. Null before the first refresh; the
  /// same object as long as it is the same set.
  const std::shared_ptr<const std::vector<std::uint32_t>>& unseen() const { return unseen_; }
  /// Whether the message was unread at the last refresh; nothing before the first one.
  std::optional<bool> isUnseen(std::uint32_t uid) const;
  /// Whether the server has reported changes since the last refresh was asked for.
  bool changed() const { return changed_; }

  // Heads and bodies.
  /// Asks for heads that are neither wanted nor there, in this order.
  void wantHeads(const std::vector<std::uint32_t>& uids);
  Wanted head(std::uint32_t uid) const;
  ImapHead takeHead(std::uint32_t uid);
  /// For Wanted::kFailed and kLost, which are forgotten by this call. The code is kInboxLost for
  /// the latter.
  Error takeHeadFailure(std::uint32_t uid);
  /// Asks for the message before all that is only fetched ahead.
  void wantBody(std::uint32_t uid);
  /// Asks for these messages in this order, as far as their heads have come and there is room, but
  /// for large ones. Returns how many of them were gone through.
  std::size_t wantBodiesAhead(const std::vector<std::uint32_t>& uids);
  Wanted body(std::uint32_t uid) const;
  Result<std::unique_ptr<InputFile>> takeBody(std::uint32_t uid);
  /// Nobody waits for this body any more. It is still fetched, as it will probably be wanted again,
  /// but only one such is kept.
  void leaveBody(std::uint32_t uid);
  /// Drops the bodies fetched ahead whose messages come behind this one.
  void dropBodiesBehind(std::uint32_t uid);

  // Read marks.
  void setSeen(std::uint32_t uid, bool seen);
  enum class Mark { kNone, kOnItsWay, kDurable, kRefused };
  Mark mark(std::uint32_t uid) const;
  /// Whether it was marked as read here, and the server has not refused that.
  bool isMarkedSeen(std::uint32_t uid) const;
  /// Forgets a mark that was refused.
  void dropMark(std::uint32_t uid);
  std::size_t marksWaiting() const { return queue_.size(); }
  std::size_t marksUnconfirmed() const { return queue_.size() + marksSent_; }
  /// Sends the waiting marks at the next pump(), however few they are.
  void flushMarks() { flush_ = true; }

 private:
  struct HeadSlot {
    Wanted state = Wanted::kNot;
    bool asked = false;
    bool plain = false;  // ask, or was asked, without the structure
    ImapHead head;
    std::string words;
  };
  struct BodySlot {
    Wanted state = Wanted::kComing;
    bool asked = false;
    bool ahead = false;
    bool pieces = false;
    std::uint64_t id = 0;         // tells the commands of this slot from those of an earlier one
    std::uint64_t reserved = 0;   // its part of aheadBytes_
    std::uint64_t expected = 0;   // bytes, as far as known
    std::uint64_t begun = 0;      // bytes that had come when it was last asked for
    std::uint64_t nextPiece = 0;  // offset of the next piece to be asked for
    std::size_t piecesAsked = 0;  // and not answered
    std::optional<std::uint64_t> end;
    std::map<std::uint64_t, std::string> early;  // pieces that came before the one in front of them
    DateTime received = kNoDate;
    std::unique_ptr<FetchedBody> body;
    std::string words;
  };
  // The beginning of a large message.
  struct Beginning {
    std::uint32_t uid = 0;
    std::unique_ptr<FetchedBody> bytes;
  };
  struct MarkSlot {
    bool seen = true;
    Mark state = Mark::kOnItsWay;
    std::uint64_t command = 0;  // the one in which it was sent; 0: waits
    bool alone = false;         // a command with others was refused
  };
  // The renumbering under way.
  struct Renumbering {
    std::uint64_t number = 0;  // of the refresh
    std::vector<std::uint32_t> uids;
    std::unordered_map<std::uint32_t, MessageIdentities::Found> found;
    std::unordered_map<std::uint32_t, std::string> subjects;
    std::size_t commands = 0;  // unanswered
    bool singly = false;
    std::string refusal;  // the server's words
  };
  struct Known {
    std::uint64_t size = 0;
    DateTime received = kNoDate;
  };

  void detachHeads(Loss how);
  void detachBodies(Loss how);
  void onHead(ImapHead head);
  void onBody(ImapBody body);
  void pumpRefresh();
  void search(std::uint64_t number);
  void onSearched(std::uint64_t number, std::uint64_t marksBefore, const Result<UidSet>& found);
  void publish(std::vector<std::uint32_t> uids);
  void recognise(std::uint64_t number, std::vector<std::uint32_t> uids);
  void onHeadsToRecognise(std::uint64_t number, const Result<void>& result);
  void onRecognised();
  std::string namesOfLeftOut(const Renumbering& all) const;
  void pumpHeads();
  void askHeads(std::vector<std::uint32_t> uids, bool plain);
  void onHeadsAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result);
  void pumpBodies();
  void askWhole(const std::vector<std::uint32_t>& uids);
  void askPieces(std::uint32_t uid, BodySlot& slot);
  void onWholeAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result);
  void onPieceAnswered(std::uint32_t uid, std::uint64_t id, std::uint64_t origin,
                       const Result<void>& result);
  static void addPiece(BodySlot& slot, std::uint64_t origin, std::string bytes);
  static void append(BodySlot& slot, std::string bytes);
  static void checkPieces(BodySlot& slot);
  void accountForAhead(std::map<std::uint32_t, BodySlot>::iterator at);
  void eraseBody(std::map<std::uint32_t, BodySlot>::iterator at);
  void pumpMarks();
  void refuseMarks();
  void refuse(std::uint32_t uid, const std::string& words);
  void sendMarks(std::size_t count);
  void onMarked(std::uint64_t command, const std::vector<std::uint32_t>& uids,
                const Result<void>& result);
  BodySlot& newBody(std::uint32_t uid);
  void resetBody(BodySlot& slot) const;
  void keepBeginning(std::uint32_t uid, BodySlot& slot);
  bool isToBlame(std::uint32_t uid, Loss how);
  void forgetMailbox();

  BodySpool& spool_;
  MessageIdentities& identities_;
  std::optional<Renumbering> renumbering_;
  int refusedRenumberings_ = 0;
  std::function<void(std::string)> complain_;
  std::function<DateTime()> now_;
  ImapClient* client_ = nullptr;
  ImapOpened opened_;
  std::uint64_t generation_ = 0;

  std::uint64_t refreshWanted_ = 0;
  std::uint64_t refreshSent_ = 0;
  std::uint64_t refreshDone_ = 0;
  std::uint64_t refreshFailed_ = 0;
  Error refreshFailure_;
  bool changed_ = false;
  bool justOpened_ = false;  // nothing can have happened in the folder unseen
  std::shared_ptr<const std::vector<std::uint32_t>> unseen_;
  std::unordered_map<std::uint32_t, Known> known_;  // of the unread messages whose heads came

  std::unordered_map<std::uint32_t, HeadSlot> heads_;
  std::deque<std::uint32_t> headQueue_;
  std::size_t headCommands_ = 0;  // unanswered
  std::size_t careful_ = 0;       // so many heads are asked for one by one

  std::map<std::uint32_t, BodySlot> bodies_;
  std::deque<std::uint32_t> bodyQueue_;
  std::deque<std::uint32_t> aheadQueue_;
  std::uint64_t aheadBytes_ = 0;
  std::uint64_t lastBody_ = 0;
  std::optional<std::uint32_t> leftBody_;
  std::optional<Beginning> beginning_;

  std::unordered_map<std::uint32_t, int> blame_;  // of messages over which connections were lost

  std::unordered_map<std::uint32_t, MarkSlot> marks_;
  std::deque<std::uint32_t> queue_;
  std::size_t marksSent_ = 0;                      // and not answered
  std::unordered_set<std::uint32_t> toldOfMarks_;  // refused, and the user was told
  std::uint64_t lastCommand_ = 0;
  bool flush_ = false;
};

}  // namespace relaybird
