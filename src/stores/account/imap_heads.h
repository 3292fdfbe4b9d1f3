// SPDX-License-Identifier: MIT
// The heads of messages that are wanted: asked for in groups, kept from their arrival until they
// are taken. Without input and output, threads and clocks.
//
// Memory is bounded whatever the mailbox: strangers write the headers, and 100 KB of addressees is
// nothing unusual. Besides the head that somebody waits for, those that are kept have
// kHeadsKeptBytes together. One that finds no room is dropped, and counts as never wanted. What is
// asked for at a time shrinks to what there is room for, so that few are fetched twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/result.h"
#include "stores/account/imap_client.h"
#include "stores/account/message_identities.h"
#include "stores/account/uid_table.h"
#include "stores/account/wanted.h"

namespace relaybird {

/// So many commands for heads are unanswered at a time.
inline constexpr std::size_t kHeadCommandsAhead = 4;

/// What the heads that are kept may take in memory together.
inline constexpr std::size_t kHeadsKeptBytes = std::size_t{8} << 20;

/// What the writer says of the time; nothing where the head has no usable one.
std::optional<DateTime> timeOfWriting(const ImapHead& head);

class ImapHeads {
 public:
  /// Both must outlive this object. `identities` is told of each head that comes.
  ImapHeads(MessageBlame& blame, MessageIdentities& identities)
      : blame_(blame), identities_(identities) {}

  /// Asks for heads that are neither wanted nor there. Somebody waits for the first of them, which
  /// comes first; the others are for a walk down the numbers from there, and come in that order.
  void want(const std::vector<std::uint32_t>& uids);
  Wanted state(std::uint32_t uid) const;
  /// Whether any head is on its way.
  bool wantsAny() const;
  /// What the heads that are kept take in memory.
  std::size_t memory() const { return keptBytes_; }
  /// For Wanted::kThere.
  ImapHead take(std::uint32_t uid);
  /// For Wanted::kFailed and kLost, which are forgotten by this call. The code is kInboxLost for
  /// the latter, such as a head that the server refuses, until MessageBlame gives it up.
  Error takeFailure(std::uint32_t uid);

  /// What a head has told that its body needs; kept as long as the message is unread, and one of
  /// the newest.
  struct Known {
    std::uint64_t size = 0;  ///< bytes; 0 where the server does not say
    DateTime received = kNoDate;
  };
  /// Null before the head has come. Valid until the next call.
  const Known* known(std::uint32_t uid) const;

  /// Sends the commands for what is wanted.
  void pump(ImapClient& client);
  /// Whether pump() has something to do.
  bool hasToSend() const { return !queue_.empty() && commands_ < mostCommands() && mayAsk() > 0; }
  /// A head has come, with its time of receipt.
  void arrived(ImapHead head);
  /// A connection begins: what could not be had on an earlier one may be had on this one.
  void attach();
  /// The connection is lost.
  void detach(Loss how);
  /// All that is on its way becomes kLost.
  void giveUp(const std::string& why);
  /// Only these messages are unread.
  void keepOnly(const UidSet& unseen);
  /// The folder was numbered anew.
  void forget();

 private:
  struct Slot {
    Wanted state = Wanted::kNot;
    bool asked = false;
    bool plain = false;      // ask, or was asked, without the structure
    bool alone = false;      // was asked for in a command of its own
    std::size_t weight = 0;  // its part of keptBytes_
    ImapHead head;
    std::string words;
  };

  using Slots = std::map<std::uint32_t, Slot>;

  std::uint32_t nextInQueue() const;
  std::size_t mayAsk() const;
  std::size_t mostCommands() const { return careful_ > 0 ? 1 : kHeadCommandsAhead; }
  void ask(ImapClient& client, std::vector<std::uint32_t> uids, bool plain);
  template <class Superfluous>
  void dropKept(const Superfluous& superfluous);
  void keepWithinBounds();
  void onAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result);
  void onRefused(std::uint32_t uid, bool alone, const std::string& words);
  void dropQueued();

  MessageBlame& blame_;
  MessageIdentities& identities_;
  Slots slots_;
  std::optional<std::uint32_t> awaited_;  // somebody waits for this one
  std::size_t keptBytes_ = 0;
  std::size_t usualBytes_ = 0;  // of the last heads, on average
  UidTable<Known> known_;
  std::set<std::uint32_t> queue_;  // to be asked for
  std::size_t commands_ = 0;       // unanswered
  std::size_t asked_ = 0;          // heads asked for in these
  std::size_t careful_ = 0;        // so many heads are asked for one by one
};

}  // namespace relaybird
