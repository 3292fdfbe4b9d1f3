// SPDX-License-Identifier: MIT
// What this program does with a mailbox over IMAP: opens it, finds the unread messages, fetches
// heads and bodies, sets read marks. Without input and output, threads and clocks, like the
// ImapDialogue that it speaks through.
//
// Messages are named by UID only. Sequence numbers change whenever another program deletes a
// message, so that one that is used a moment too late is the number of another message.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "platform/clock.h"
#include "platform/result.h"
#include "stores/account/imap_changes.h"
#include "stores/account/imap_dialogue.h"
#include "stores/account/uid_set.h"

namespace relaybird {

/// So many heads are asked for in one command. Commands of this size sent ahead cost hardly more
/// than one large one, and what is lost with a connection, or to a NO, stays small.
inline constexpr std::size_t kHeadsInCommand = 100;

/// So many messages are marked in one command: the line stays below the 8000 bytes that every
/// server accepts (RFC 7162 section 4), even if no two numbers adjoin.
inline constexpr std::size_t kMarksInCommand = 500;

/// The header fields of a head: those that HeaderBlock looks up, circles.h, and the message kind
/// reads. Not the whole section, because its other fields (Received, signatures) are most of its
/// bytes, and because servers keep single fields in an index but read whole sections from disk.
std::string_view imapHeadFields();

/// What is known of a message without its body.
struct ImapHead {
  std::uint32_t uid = 0;
  DateTime received = kNoDate;        ///< INTERNALDATE
  std::optional<std::uint64_t> size;  ///< RFC822.SIZE, in bytes
  std::string header;                 ///< the fields of imapHeadFields(), as stored
  std::optional<ImapPart> structure;  ///< not set where the server's is unusable
  bool missing = false;               ///< the server has the message, but its header cannot be had
};

/// Bytes of a message. `origin` is the offset of the first one.
struct ImapBody {
  std::uint32_t uid = 0;
  std::uint64_t origin = 0;
  std::string bytes;
  bool cut = false;      ///< more than the limit: `bytes` is empty
  bool missing = false;  ///< the server has the message, but not its bytes
};

/// A mailbox that was opened.
struct ImapOpened {
  std::uint32_t uidValidity = 0;
  /// Read marks cannot be set, or do not last: the folder may only be read, or \Seen is not among
  /// its PERMANENTFLAGS (RFC 9051 section 7.1).
  bool readOnly = false;
  std::uint32_t messages = 0;
  /// The server's number of the present moment (RFC 7162); 0 where it has none.
  std::uint64_t modSeq = 0;
  /// What has happened since the moment that select() was given, where the server told it.
  std::optional<ImapChanges> changes;
};

class ImapClient {
 public:
  /// What arrives besides the ends of commands; called from received().
  struct Events {
    std::function<void(ImapHead)> head;
    std::function<void(ImapBody)> body;
    /// Another program has changed the mailbox, or mail has arrived: the unread messages may be
    /// others now.
    std::function<void()> changed;
  };
  using Done = std::function<void(const Result<void>&)>;

  ImapClient(Events events, std::function<void(ProtocolLine)> trace, ImapLimits limits = {});
  ImapClient(const ImapClient&) = delete;
  ImapClient& operator=(const ImapClient&) = delete;

  /// Asks what the server can do. The first command of a connection.
  void capability(Done done);
  bool can(std::string_view name) const { return capabilities_.contains(std::string(name)); }
  /// Says which program this is (RFC 2971), where the server offers that: some providers refuse the
  /// inbox to programs that do not. Sends name and version only (digits and dots). Never fails.
  void identify(std::string_view version);
  using Opened = std::function<void(const Result<ImapOpened>&)>;
  /// Opens the folder, named as people write it. Fails where the server refuses, or does not
  /// number messages lastingly.
  void select(std::string_view folder, Opened done);
  /// The same; from now on the server numbers its changes, where it offers that, and tells at once
  /// what has happened since the moment `known`. A server that refuses this is asked plainly.
  void selectSince(std::string_view folder, const ImapMoment& known, Opened done);
  /// The unread messages that are not being deleted.
  void searchUnseen(std::function<void(const Result<UidSet>&)> done);
  /// What has happened since the moment with that number, which must be one of this numbering. Only
  /// after ImapOpened::modSeq was not 0.
  void fetchChanges(std::uint64_t since, std::function<void(Result<ImapChanges>)> done);
  /// The highest number of a moment that the server has told; 0 for none.
  std::uint64_t modSeq() const { return modSeq_; }
  /// Whether the server has told of changes that fetchChanges() will not tell, since the last
  /// searchUnseen() was sent.
  bool missedChanges() const { return gatherer_.missed(); }
  /// The messages in the folder, as far as the server has told.
  std::uint32_t messages() const { return exists_; }
  /// Whether a reply is due for which servers may need minutes, where a folder is large: to SELECT,
  /// SEARCH or fetchChanges().
  bool awaitsSlowReply() const { return selecting_ || searches_ > 0; }
  /// Asks for the heads; Events::head gets each. Messages that have vanished have none.
  /// `structure`: with BODYSTRUCTURE. `done` is called once for each command of kHeadsInCommand.
  void fetchHeads(const std::vector<std::uint32_t>& uids, bool structure, const Done& done);
  /// Asks for whole messages in one command; Events::body gets each.
  void fetchBodies(const UidSet& uids, Done done);
  /// Asks for at most `count` bytes from `origin` on.
  void fetchPiece(std::uint32_t uid, std::uint64_t origin, std::uint64_t count, Done done);
  /// Sets or clears the read mark of at most kMarksInCommand messages.
  void store(const UidSet& uids, bool seen, Done done);
  /// Opens the folder, named as the server has it, so that nothing in it changes.
  void examine(std::string_view name, Done done);
  /// The messages with this Message-ID ("<...>") in the folder that is open.
  void searchMessageId(std::string_view id, std::function<void(const Result<UidSet>&)> done);
  /// The name of the folder of sent messages as the server has it, by its attribute (RFC 6154),
  /// else by one of its usual names; empty if there is none.
  void findSent(std::function<void(const Result<std::string>&)> done);
  /// Puts a message into a folder, as read. Lines of `message` end with CR LF.
  void append(std::string_view name, std::string_view message, Done done);
  /// Asks for news where IDLE is not offered.
  void noop(Done done);
  /// Lets the server report changes by itself until the next command. `refused` is called where it
  /// does not want to. Does nothing where IDLE is not offered.
  void idle(std::function<void()> refused);
  void logout();

  /// Of the folder that is open, as the server has said it last.
  std::uint32_t uidValidity() const { return opened_.uidValidity; }

  ImapDialogue& dialogue() { return dialogue_; }
  const ImapDialogue& dialogue() const { return dialogue_; }

 private:
  void onData(ImapResponse response);
  void onFetch(ImapFetch fetch);
  void search(ImapCommand command, std::function<void(const Result<UidSet>&)> done);
  void onCondition(const ImapCondition& condition);
  void onMailbox(ImapMailbox mailbox);
  void onVanished(const ImapVanished& vanished);
  void sendSelect(const std::string& folder, const ImapMoment& known, Opened done);
  void endSelect(const ImapCondition& reply, const Opened& done);
  void learn(const std::vector<std::string>& names);
  static Result<void> outcome(const ImapCondition& reply);
  ImapLiterals literals() const;

  Events events_;
  std::unordered_set<std::string> capabilities_;
  bool tellsVanished_ = false;  // QRESYNC is on
  std::uint32_t exists_ = 0;
  bool selecting_ = false;
  ImapOpened opened_;
  std::uint64_t modSeq_ = 0;
  ImapChangeGatherer gatherer_;
  UidGathering found_;  // by the search under way
  bool foundAll_ = true;
  int searches_ = 0;  // and requests for changes; unanswered
  // The first folders of sent messages in the LIST under way, by attribute and by name. The others
  // are not kept: there is no end to what a server may name.
  std::optional<std::string> markedSent_;
  std::optional<std::string> usualSent_;
  ImapDialogue dialogue_;  // last, as its calls use the other members
};

}  // namespace relaybird
