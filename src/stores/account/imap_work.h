// SPDX-License-Identifier: MIT
// What is wanted of a mailbox on a server, and what of it is there: the unread messages, heads,
// bodies, read marks. It outlives connections: what was asked on one that was lost is asked again
// on the next. Without threads and clocks, like the ImapClient that it uses.
//
// This class decides when the unread messages are asked for, and is the one place that session and
// inbox talk to. What the server says of them, heads, bodies, marks and the recognition after a
// renumbering are classes of their own.
//
// A message is named by its UID. UIDs are worth nothing once the UIDVALIDITY changes; generation()
// changes then, and everything that was wanted or there is gone. Before anything is listed under
// new numbers, heads are read once, to recognise the messages (renumbering.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "stores/account/fetched_body.h"
#include "stores/account/imap_bodies.h"
#include "stores/account/imap_client.h"
#include "stores/account/imap_heads.h"
#include "stores/account/imap_marks.h"
#include "stores/account/message_identities.h"
#include "stores/account/renumbering.h"
#include "stores/account/unseen_set.h"
#include "stores/account/wanted.h"

namespace relaybird {

/// Of more unread messages the newest are listed: a check looks at the newest 32,767.
inline constexpr std::size_t kMostUnseen = kMostRanges;

class ImapWork {
 public:
  /// `spool` and `identities` must outlive this object. `complain` gets a sentence about a mark
  /// that the server refuses, and about messages that are left out after a renumbering. `now` is
  /// the time of receipt of a message of which neither server nor writer tells one. `most`: at most
  /// kMostUnseen.
  ImapWork(BodySpool& spool, MessageIdentities& identities,
           std::function<void(std::string)> complain, std::function<DateTime()> now,
           std::size_t most = kMostUnseen);

  /// The present time, of one steady clock.
  void setTime(MessageBlame::Time now);

  // The connection.
  /// The events that the client has to call.
  ImapClient::Events events();
  /// The folder is about to be opened: what ImapClient::selectSince() is to be given; nothing where
  /// it is to be opened plainly. The unread messages are asked for in any case.
  std::optional<ImapMoment> openingMoment();
  /// From now on the commands go to `client`, in which the folder is open.
  void attach(ImapClient& client, const ImapOpened& opened);
  /// The connection is lost.
  void detach(Loss how);
  /// Sends the commands for what is wanted. To be called whenever something may have changed.
  void pump();
  /// Whether pump() would send something at once.
  bool hasToSend() const;
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
  /// Rising; those that were marked as read here are left out; of very many the newest. Null before
  /// the first refresh; the same object as long as it is the same set.
  const std::shared_ptr<const std::vector<std::uint32_t>>& unseen() const { return unseen_; }
  /// Whether all unread messages are in there.
  bool unseenIsWhole() const { return whole_; }
  /// Whether the message was unread at the last refresh; nothing where that is not known.
  std::optional<bool> isUnseen(std::uint32_t uid) const;
  /// Whether the server has reported changes since the last refresh was asked for.
  bool changed() const { return changed_; }

  // Heads and bodies: see ImapHeads and ImapBodies.
  void wantHeads(const std::vector<std::uint32_t>& uids) { heads_.want(uids); }
  Wanted head(std::uint32_t uid) const { return heads_.state(uid); }
  std::size_t headsMemory() const { return heads_.memory(); }
  ImapHead takeHead(std::uint32_t uid) { return heads_.take(uid); }
  Error takeHeadFailure(std::uint32_t uid) { return heads_.takeFailure(uid); }
  void wantBody(std::uint32_t uid) { bodies_.want(uid); }
  std::size_t wantBodiesAhead(const std::vector<std::uint32_t>& uids) {
    return bodies_.wantAhead(uids);
  }
  Wanted body(std::uint32_t uid) const { return bodies_.state(uid); }
  Result<std::unique_ptr<InputFile>> takeBody(std::uint32_t uid) { return bodies_.take(uid); }
  void leaveBody(std::uint32_t uid) { bodies_.leave(uid); }
  void dropBodiesBehind(std::uint32_t uid) { bodies_.dropBehind(uid); }
  void bodiesOnDisk() { bodies_.onDisk(); }

  // Read marks: see ImapMarks.
  using Mark = ImapMarks::Mark;
  void setSeen(std::uint32_t uid, bool seen) { marks_.set(uid, seen); }
  Mark mark(std::uint32_t uid) const { return marks_.state(uid); }
  bool isMarkedSeen(std::uint32_t uid) const { return marks_.isSeen(uid); }
  void dropMark(std::uint32_t uid) { marks_.dropRefused(uid); }
  std::size_t marksWaiting() const { return marks_.waiting(); }
  std::size_t marksUnconfirmed() const { return marks_.unconfirmed(); }
  void flushMarks() { marks_.flush(); }

 private:
  void onHead(ImapHead head);
  void onMarkRefused(std::uint32_t uid, bool seen, const std::string& words, bool first);
  bool mustRefresh() const;
  void pumpRefresh();
  void onRefreshed(std::uint64_t number, const Result<void>& result);
  void settle(std::uint64_t number);
  void failRefresh(std::uint64_t number, const Error& why);
  void publish(std::uint64_t number, std::vector<std::uint32_t> uids);
  void forgetMailbox();

  MessageIdentities& identities_;
  std::function<void(std::string)> complain_;
  std::function<DateTime()> now_;
  ImapClient* client_ = nullptr;
  ImapOpened opened_;
  std::uint64_t generation_ = 0;

  std::uint64_t refreshWanted_ = 0;
  std::uint64_t refreshSent_ = 0;
  std::uint64_t refreshDone_ = 0;
  std::uint64_t refreshFailed_ = 0;
  std::uint64_t marksBefore_ = 0;  // the last command for marks before the one under way
  Error refreshFailure_;
  bool changed_ = false;
  bool justOpened_ = false;  // what is wanted was wanted before the folder was opened
  std::size_t most_;
  UnseenSet server_;
  std::shared_ptr<const std::vector<std::uint32_t>> unseen_;
  bool whole_ = true;

  MessageBlame headBlame_;
  MessageBlame bodyBlame_;
  ImapHeads heads_{headBlame_, identities_};
  ImapBodies bodies_;
  ImapMarks marks_;
  Renumbering renumbering_;
};

}  // namespace relaybird
