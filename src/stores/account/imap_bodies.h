// SPDX-License-Identifier: MIT
// The bodies of messages that are wanted: at once, or ahead of the walk in bounded memory. Large
// messages are fetched in pieces, and go on where the connection was lost. Without threads and
// clocks, and without touching the disk.
//
// What a server refuses ahead of the walk is asked for again when the walk comes to it, and not
// before: the server may be short of time for us.
//
// Memory is bounded whatever the mailbox: bodies are kept only from their arrival until they are
// taken, few are asked for ahead, and a large one is in a file (fetched_body.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"
#include "stores/account/fetched_body.h"
#include "stores/account/imap_client.h"
#include "stores/account/imap_heads.h"
#include "stores/account/wanted.h"

namespace relaybird {

/// A message is fetched in pieces of this size, unless it is known to be smaller.
inline constexpr std::uint64_t kPieceBytes = std::uint64_t{1} << 20;
/// So many pieces of one message are asked for ahead.
inline constexpr std::size_t kPiecesAhead = 3;

/// What bodies fetched ahead may take in memory together, and how large one of them may be. The
/// others are fetched when they are needed.
inline constexpr std::uint64_t kBodiesAheadBytes = std::uint64_t{8} << 20;
inline constexpr std::uint64_t kBodyAheadBytes = std::uint64_t{256} << 10;

class ImapBodies {
 public:
  /// All must outlive this object. `heads` tells the sizes.
  ImapBodies(BodySpool& spool, MessageBlame& blame, const ImapHeads& heads)
      : spool_(spool), blame_(blame), heads_(heads) {}

  /// Asks for the message before all that is only fetched ahead.
  void want(std::uint32_t uid);
  /// Asks for these messages in this order, as far as their heads have come and there is room, but
  /// for large ones. Returns how many of them were gone through.
  std::size_t wantAhead(const std::vector<std::uint32_t>& uids);
  Wanted state(std::uint32_t uid) const;
  /// Whether any body is on its way.
  bool wantsAny() const;
  /// Once it is neither wanted in vain nor on its way. An Error's code is ENOENT for a message that
  /// has vanished, kInboxLost for one that may be had later, also where the server refuses it: that
  /// counts as the message's own failure only once MessageBlame says so.
  Result<std::unique_ptr<InputFile>> take(std::uint32_t uid);
  /// Nobody waits for this body any more. It is still fetched, as it will probably be wanted again,
  /// but only one such is kept.
  void leave(std::uint32_t uid);
  /// Drops the bodies fetched ahead whose messages come behind this one.
  void dropBehind(std::uint32_t uid);

  /// Sends the commands for what is wanted.
  void pump(ImapClient& client);
  /// Whether pump() has something to do.
  bool hasToSend() const { return !queue_.empty() || !aheadQueue_.empty(); }
  void arrived(ImapBody body);
  /// What was queued in the spool was done, as well as the disk allows.
  void onDisk();
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
    Wanted state = Wanted::kComing;
    bool asked = false;
    bool ahead = false;
    bool pieces = false;
    bool whole = false;           // all has come, and is on its way to the disk
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

    void fail(std::string why) {
      state = Wanted::kFailed;
      words = std::move(why);
    }
  };
  using Slots = std::map<std::uint32_t, Slot>;
  // The beginning of a large message.
  struct Beginning {
    std::uint32_t uid = 0;
    std::unique_ptr<FetchedBody> bytes;
  };

  Slot& newSlot(std::uint32_t uid);
  void reset(Slot& slot) const;
  void keepBeginning(std::uint32_t uid, Slot& slot);
  void erase(Slots::iterator at);
  void accountForAhead(Slots::iterator at);
  Slot* awaited(std::uint32_t uid);
  std::vector<std::uint32_t> takeGroupAhead();
  void askWhole(ImapClient& client, const std::vector<std::uint32_t>& uids);
  void onWholeAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result);
  void askPieces(ImapClient& client, std::uint32_t uid, Slot& slot);
  void onPieceAnswered(ImapClient& client, std::uint32_t uid, std::uint64_t id,
                       std::uint64_t origin, const Result<void>& result);
  void judgePiece(std::uint32_t uid, Slot& slot, std::uint64_t origin, const Result<void>& result);
  void onRefused(std::uint32_t uid, Slot& slot, const std::string& words);
  static void addPiece(Slot& slot, std::uint64_t origin, std::string bytes);
  static void checkPieces(Slot& slot);
  void complete(std::uint32_t uid, Slot& slot);

  BodySpool& spool_;
  MessageBlame& blame_;
  const ImapHeads& heads_;
  Slots slots_;
  std::deque<std::uint32_t> queue_;
  std::deque<std::uint32_t> aheadQueue_;
  std::uint64_t aheadBytes_ = 0;
  std::uint64_t lastId_ = 0;
  std::optional<std::uint32_t> left_;
  std::optional<Beginning> beginning_;
};

}  // namespace relaybird
