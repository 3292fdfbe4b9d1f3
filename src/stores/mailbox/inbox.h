// SPDX-License-Identifier: MIT
// The interface between a kind of mailbox (a Maildir, an account on a server) and everything that
// the stores share: items, forwards, read marks, outbox, delivery. A store implements Inbox and
// InboxListing; MailboxStore (mailbox_store.h) makes a mail store of them.
//
// Threads: all calls come from the user-interface thread, and `done` of synchronise() is called on
// it. An implementation may work on threads of its own, but shows their results only there.
//
// Waiting: identity(), folder(), check(), alive(), userAsks(), minutePassed(),
// forwardingSwitched(), synchronise(), and of a listing size(), entryId(), seen() and setSeen()
// answer from what is known, without waiting for a server. signIn(), list(), head() and open() may
// wait for one, and give up once nothing has come from it for kLongestInboxWait. While it waits an
// implementation calls StoreWorld::keepAlive at least every 50 ms, and fails at once when that
// returns false. keepAlive runs events, so other calls of the same inbox can come in between, also
// close(), after which the waiting call fails at once; but not its destruction.
//
// Failures: an Error has a sentence for the user (server, step, and the server's words) and a code.
// The caller turns it into a MailStoreError. Codes that the caller tells apart: those of a logon
// that failed (mail/logon_failure.h), and ENOENT for a message that has vanished. Nothing throws.
//
// Other programs change the mailbox at any moment. A message may vanish while its listing is in
// use, or get another read mark there.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "mail/logon_failure.h"
#include "message/circles.h"
#include "message/header_block.h"
#include "message/message_kind.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

inline constexpr std::chrono::seconds kLongestInboxWait{60};

/// A message could not be read because of its server and not because of itself: the connection is
/// lost, the disk for fetched messages is full, the server refuses the message and may give it out
/// later. The value is MAPI_E_NETWORK_ERROR. ECANCELED, ETIMEDOUT and a failed logon mean the same
/// for the message, and so does any failure but ENOENT and kMessageFailed while alive() fails. Such
/// a message stays unread, and the pass ends. Any other failure of head() or open() counts as the
/// message's own: it is logged, and the message is not tried again. So an inbox tells a refusal as
/// one only after it has been repeated for long enough; until then other messages may have to wait
/// behind that one.
inline constexpr int kInboxLost = static_cast<int>(0x80040115);

/// The message itself is the reason, whatever has become of the connection: a server may end it
/// over a message. The value is MAPI_E_CORRUPT_DATA.
inline constexpr int kMessageFailed = static_cast<int>(0x8004011B);

/// The beginning of a message.
struct InboxHead {
  HeaderBlock headers;
  MessageKind kind = MessageKind::kMail;
  DateTime received = kNoDate;  ///< when the message came into the mailbox
  /// Why the members above are incomplete. Those that could be read are set all the same, so that
  /// the message can be named in the log.
  std::optional<Error> failure;
};

/// The messages at one moment, oldest first. Order, length and identifiers never change; the read
/// marks do, by setSeen() and as far as other programs' changes become known. A listing may outlive
/// later ones, but not its inbox. Indexes are below size().
class InboxListing {
 public:
  virtual ~InboxListing() = default;

  virtual std::size_t size() const = 0;
  /// Whether no unread message is missing. Of very many an inbox may list the newest only.
  virtual bool isWhole() const { return true; }
  /// Identifies the message in the mailbox: the same in every listing and every run as long as the
  /// message is there, never empty, no line breaks, and never used for another message. An
  /// account's contains the UIDVALIDITY and the UID: when the server changes the UIDVALIDITY, the
  /// old identifiers are absent from later listings.
  virtual std::string entryId(std::size_t index) const = 0;
  /// Whether the message is read. True as soon as setSeen() has accepted that mark.
  virtual bool seen(std::size_t index) const = 0;

  /// Sets the read mark, or clears it. On success the mark is accepted: seen() and later listings
  /// show it. A store on disk has written it; an account has queued it, keeps the queue across
  /// lost connections, and sends it in batches soon, in the order of the calls. A mark that the
  /// server refuses later is reported to StoreWorld::notice by the inbox, and seen() shows the
  /// state on the server again. Does nothing where the mark has that state. ENOENT where the
  /// message has vanished.
  virtual Result<void> setSeen(std::size_t index, bool seen) = 0;

  /// Reads the header section and the kind. `own` recognises the user's own forwards and is used
  /// during the call only. The caller keeps the result; a walk asks once for each message that is
  /// not on its ignore list, from the last to the first.
  virtual InboxHead head(std::size_t index, const OwnMarks& own) = 0;

  /// Opens the whole message as stored, header section included. Its info() has the size and the
  /// time of receipt. The file is independent of the listing, and readable after the message has
  /// vanished. Reading it does not wait for a server.
  virtual Result<std::unique_ptr<InputFile>> open(std::size_t index) = 0;
};

/// What became of read marks.
struct MarkReport {
  std::vector<std::string> durable;  ///< survive a crash of this program and of the machine
  std::vector<std::string> refused;  ///< will not be set; another try needs another setSeen()
};

class Inbox {
 public:
  virtual ~Inbox() = default;

  /// Identifies the mailbox: the same text whatever way the settings name it, and in every run. For
  /// a Maildir the folder's path with links resolved; for an account a text that begins with no
  /// '/', "imap:" for example, and contains user, server and folder. Fails where it cannot be found
  /// out.
  virtual Result<std::string> identity() const = 0;
  /// The folder on this disk that holds the mailbox, as the settings name it. It is locked against
  /// other programs before each use. Empty for an account.
  virtual std::string folder() const { return {}; }
  /// The account that the mailbox belongs to, the same text for each of its folders. It is locked
  /// against other programs: copies of forwards wait in a place of the account's. Empty for a
  /// mailbox on this disk.
  virtual std::string account() const { return {}; }

  /// Whether the mailbox can be used at all, as far as is known without asking a server. An account
  /// that has not been connected yet can. Called when the application object is made, and before
  /// each listing.
  virtual Result<void> check() = 0;
  /// Whether the mailbox can be used now: the Maildir is there, the connection to the server lives.
  /// While this fails the program starts a synchronisation before the next check.
  virtual Result<void> alive() { return check(); }
  /// Waits until the user is signed in. kLogonRefused where the server refuses that. An
  /// implementation does not repeat a refused sign-in with the same secret by itself.
  virtual Result<void> signIn() { return check(); }
  /// The user asks for a check that follows, and has perhaps just corrected a password: tries that
  /// are put off after failures are made at once when they are needed next, and what was refused
  /// may be tried again. Never called for a check of the schedule. An implementation keeps a floor,
  /// so that a user who asks ten times a second does not do so to the server.
  virtual void userAsks() {}
  /// See OutgoingMail::minutePassed().
  virtual void minutePassed() {}
  /// See OutgoingMail::forwardingSwitched().
  virtual void forwardingSwitched(bool /*on*/) {}

  /// The listing of the moment, complete or not at all: a message that is missing from it has left
  /// the mailbox, or is being moved within it. An account may leave out messages that are read.
  /// Returns the same object as the last time if nothing has changed since. 10,000 messages cost no
  /// more than reading their names; an account answers from its last refresh while that is current.
  virtual Result<std::shared_ptr<InboxListing>> list() = 0;

  /// Reports on marks that setSeen(true) has accepted, in this run, for these messages. A mark in
  /// neither list is still on its way; the journal keeps its message from being forwarded again. A
  /// store on disk makes its marks durable here, as far as it can; an account reports what the
  /// server has confirmed, and does not wait. The mark of a message that has left the mailbox for
  /// good counts as durable. Also called after close().
  virtual MarkReport syncMarks(const std::unordered_set<std::string>& entryIds) = 0;

  /// Starts to fetch the present state of the mailbox from its server, connecting first if needed.
  /// A call during a synchronisation joins it. `done` is called later, never inside this call, at
  /// the end, also after a failure, which alive() and the notices report. Never called after
  /// close(). Where mail arrives by itself there is nothing to do, and `done` is posted.
  virtual void synchronise(std::function<void()> done) = 0;

  /// Begins what close() does, without waiting for it. Called once at most, and only what may be
  /// called after close() is called after it, and close(). True: close() will not wait. False:
  /// `ready` is called later, by an event, once it does not; never after close().
  virtual bool beginToClose(std::function<void()> /*ready*/) { return true; }
  /// Ends what is under way; only identity(), folder() and syncMarks() are called after it. An
  /// account first gives the queued marks a few seconds to reach the server.
  virtual void close() {}
};

}  // namespace relaybird
