// SPDX-License-Identifier: MIT
// Every body that is wanted has a slot with its state, and a place in one of two queues until it is
// asked for: those that somebody waits for go one by one and first, those ahead of the walk in
// groups. The reply to a command decides about what it asked for and did not get: data comes before
// the reply.
//
// A large message comes in pieces, some of which are asked for ahead. Servers answer behind the end
// of a message in different ways, and tell wrong sizes, so the end is where a piece is short; a
// piece with bytes behind that is a contradiction, and such a message is never taken for whole.
#include "stores/account/imap_bodies.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// Bodies in one command.
constexpr std::size_t kBodiesInCommand = 50;

constexpr const char* kPartMissing = "the server has left out a part of the message";

}  // namespace

ImapBodies::Slot& ImapBodies::newSlot(std::uint32_t uid) {
  Slot& slot = slots_[uid];
  if (const auto* known = heads_.known(uid)) {
    slot.expected = known->size;
    slot.received = known->received;
  }
  if (beginning_ && beginning_->uid == uid) {
    slot.body = std::move(beginning_->bytes);
    slot.pieces = true;
    beginning_.reset();
  }
  reset(slot);
  slot.id = ++lastId_;
  return slot;
}

// To be asked for from the start, or from the end of what has come in pieces.
void ImapBodies::reset(Slot& slot) const {
  slot.state = Wanted::kComing;
  slot.asked = false;
  slot.whole = false;
  slot.pieces = slot.pieces || slot.expected == 0 || slot.expected > kPieceBytes;
  slot.piecesAsked = 0;
  slot.end.reset();
  slot.early.clear();
  if (!slot.body || !slot.pieces) {
    slot.body = std::make_unique<FetchedBody>(spool_);
  }
  slot.begun = slot.nextPiece = slot.body->size();
}

// A large message may need several connections, and even several passes.
void ImapBodies::keepBeginning(std::uint32_t uid, Slot& slot) {
  if (slot.pieces && slot.body && slot.body->size() > 0 && slot.body->size() % kPieceBytes == 0) {
    beginning_ = Beginning{uid, std::move(slot.body)};
  }
}

void ImapBodies::want(std::uint32_t uid) {
  if (left_ == uid) {
    left_.reset();
  }
  const auto found = slots_.find(uid);
  if (found != slots_.end() && found->second.state == Wanted::kLost) {
    keepBeginning(uid, found->second);
    erase(found);
    want(uid);
  } else if (found == slots_.end()) {
    newSlot(uid);
    queue_.push_back(uid);
  } else if (std::exchange(found->second.ahead, false) && !found->second.asked) {
    queue_.push_back(uid);
  }
}

void ImapBodies::leave(std::uint32_t uid) {
  const auto earlier = left_ && *left_ != uid ? slots_.find(*left_) : slots_.end();
  if (earlier != slots_.end()) {
    erase(earlier);
  }
  left_ = uid;
}

std::size_t ImapBodies::wantAhead(const std::vector<std::uint32_t>& uids) {
  std::size_t done = 0;
  for (const std::uint32_t uid : uids) {
    const auto* known = heads_.known(uid);
    if (known == nullptr || aheadBytes_ + kBodyAheadBytes > kBodiesAheadBytes) {
      break;
    }
    ++done;
    if (slots_.contains(uid) || known->size == 0 || known->size > kBodyAheadBytes) {
      continue;
    }
    Slot& slot = newSlot(uid);
    slot.ahead = true;
    slot.reserved = slot.expected;
    aheadBytes_ += slot.reserved;
    aheadQueue_.push_back(uid);
  }
  return done;
}

Wanted ImapBodies::state(std::uint32_t uid) const {
  return stateIn(slots_, uid);
}

bool ImapBodies::wantsAny() const {
  return anyComing(slots_);
}

Result<std::unique_ptr<InputFile>> ImapBodies::take(std::uint32_t uid) {
  const auto at = slots_.find(uid);
  Slot slot = std::move(at->second);
  erase(at);
  if (slot.state == Wanted::kGone) {
    return Error{ENOENT, "The message is no longer there"};
  }
  if (slot.state == Wanted::kLost) {
    keepBeginning(uid, slot);
    return Error{kInboxLost, slot.words};
  }
  if (slot.state == Wanted::kFailed) {
    return Error{kMessageFailed, slot.words};
  }
  return slot.body->open(slot.received);
}

void ImapBodies::dropBehind(std::uint32_t uid) {
  for (auto at = slots_.upper_bound(uid); at != slots_.end();) {
    const auto next = std::next(at);
    if (at->second.ahead && (at->second.state != Wanted::kComing || !at->second.asked)) {
      erase(at);
    }
    at = next;
  }
}

void ImapBodies::erase(Slots::iterator at) {
  aheadBytes_ -= at->second.reserved;
  slots_.erase(at);
}

// Asking.

void ImapBodies::pump(ImapClient& client) {
  while (!queue_.empty()) {
    const std::uint32_t uid = queue_.front();
    queue_.pop_front();
    const auto found = slots_.find(uid);
    if (found == slots_.end() || found->second.state != Wanted::kComing || found->second.asked) {
      continue;
    }
    found->second.asked = true;
    if (found->second.pieces) {
      askPieces(client, uid, found->second);
    } else {
      askWhole(client, {uid});
    }
  }
  while (!aheadQueue_.empty()) {
    if (const auto uids = takeGroupAhead(); !uids.empty()) {
      askWhole(client, uids);
    }
  }
}

std::vector<std::uint32_t> ImapBodies::takeGroupAhead() {
  std::vector<std::uint32_t> uids;
  while (!aheadQueue_.empty() && uids.size() < kBodiesInCommand) {
    const auto found = slots_.find(aheadQueue_.front());
    if (found != slots_.end() && found->second.state == Wanted::kComing && !found->second.asked &&
        !found->second.pieces) {
      found->second.asked = true;
      uids.push_back(found->first);
    }
    aheadQueue_.pop_front();
  }
  return uids;
}

void ImapBodies::askWhole(ImapClient& client, const std::vector<std::uint32_t>& uids) {
  client.fetchBodies(UidSet(uids),
                     [this, uids](const Result<void>& result) { onWholeAnswered(uids, result); });
}

void ImapBodies::askPieces(ImapClient& client, std::uint32_t uid, Slot& slot) {
  while (slot.state == Wanted::kComing && !slot.end && slot.piecesAsked < kPiecesAhead &&
         (slot.nextPiece == 0 || slot.nextPiece < slot.expected ||
          (slot.piecesAsked == 0 && slot.body->size() == slot.nextPiece))) {
    const std::uint64_t origin = slot.nextPiece;
    slot.nextPiece += kPieceBytes;
    ++slot.piecesAsked;
    // The client keeps the call, so that it is there when the call is made.
    client.fetchPiece(uid, origin, kPieceBytes,
                      [this, &client, uid, id = slot.id, origin](const Result<void>& result) {
                        onPieceAnswered(client, uid, id, origin, result);
                      });
  }
}

// Arrival.

// Null where nobody waits for such a message.
ImapBodies::Slot* ImapBodies::awaited(std::uint32_t uid) {
  const auto found = slots_.find(uid);
  const bool waits = found != slots_.end() && found->second.state == Wanted::kComing &&
                     found->second.asked && !found->second.whole;
  return waits ? &found->second : nullptr;
}

void ImapBodies::arrived(ImapBody body) {
  Slot* const slot = awaited(body.uid);
  if (slot == nullptr) {
    return;
  }
  if (body.missing) {
    slot->fail("the mail server has the message, but does not give its text");
  } else if (slot->pieces) {
    if (!body.cut) {
      addPiece(*slot, body.origin, std::move(body.bytes));
    }
  } else if (body.cut) {
    // Larger than the server said.
    slot->pieces = true;
    slot->asked = false;
    queue_.push_back(body.uid);
  } else {
    slot->body->append(std::move(body.bytes));
    complete(body.uid, *slot);
    accountForAhead(slots_.find(body.uid));
  }
}

// The sizes that a server tells may be wrong.
void ImapBodies::accountForAhead(Slots::iterator at) {
  Slot& slot = at->second;
  if (!slot.ahead || slot.state != Wanted::kThere) {
    return;
  }
  const std::uint64_t size = slot.body->size();
  aheadBytes_ = aheadBytes_ - slot.reserved + size;
  slot.reserved = size;
  if (size > kBodyAheadBytes || aheadBytes_ > kBodiesAheadBytes) {
    erase(at);
  }
}

void ImapBodies::complete(std::uint32_t uid, Slot& slot) {
  blame_.clear(uid);
  slot.whole = true;
  slot.body->finish();
  slot.state = slot.body->ready() ? Wanted::kThere : Wanted::kComing;
}

void ImapBodies::onDisk() {
  for (auto at = slots_.begin(); at != slots_.end();) {
    const auto next = std::next(at);
    Slot& slot = at->second;
    if (const auto failure = slot.body ? slot.body->failure() : std::nullopt) {
      slot.state = Wanted::kLost;  // the disk is full or broken
      slot.words = failure->text;
      slot.body.reset();
    } else if (slot.state == Wanted::kComing && slot.whole && slot.body->ready()) {
      slot.state = Wanted::kThere;
      accountForAhead(at);
    }
    at = next;
  }
  if (beginning_ && beginning_->bytes->failure()) {
    beginning_.reset();
  }
}

void ImapBodies::addPiece(Slot& slot, std::uint64_t origin, std::string bytes) {
  if (bytes.size() > kPieceBytes || origin % kPieceBytes != 0 || origin >= slot.nextPiece ||
      origin < slot.body->size()) {
    return;  // not asked for; if it was meant as an answer, the piece is found missing
  }
  if (bytes.size() < kPieceBytes) {
    slot.end = std::min(slot.end.value_or(origin + bytes.size()), origin + bytes.size());
  }
  slot.early[origin] = std::move(bytes);
  checkPieces(slot);
  while (slot.state == Wanted::kComing && !slot.early.empty() &&
         slot.early.begin()->first == slot.body->size()) {
    slot.body->append(std::move(slot.early.begin()->second));
    slot.early.erase(slot.early.begin());
  }
}

// A short piece is the last one. Where bytes come behind it nevertheless, some are missing.
void ImapBodies::checkPieces(Slot& slot) {
  const auto behind = [&](const auto& piece) {
    return piece.first >= *slot.end && !piece.second.empty();
  };
  if (slot.end && std::any_of(slot.early.begin(), slot.early.end(), behind)) {
    slot.fail(kPartMissing);
  }
}

// Replies.

void ImapBodies::onWholeAnswered(const std::vector<std::uint32_t>& uids,
                                 const Result<void>& result) {
  for (const std::uint32_t uid : uids) {
    Slot* const slot = awaited(uid);
    if (slot == nullptr || slot->pieces) {
      continue;
    }
    if (result) {
      slot->state = Wanted::kGone;
    } else if (slot->ahead) {
      erase(slots_.find(uid));
    } else if (uids.size() > 1) {
      // One of them was the reason, and the others must not suffer for it.
      slot->asked = false;
      queue_.push_back(uid);
    } else {
      onRefused(uid, *slot, result.error().text);
    }
  }
}

void ImapBodies::onRefused(std::uint32_t uid, Slot& slot, const std::string& words) {
  const bool goesOn = slot.body->size() > slot.begun;
  if (!goesOn && blame_.addRefusal(uid)) {
    slot.fail(words);
  } else {
    slot.state = Wanted::kLost;
    slot.words = refusedForNow(words);
  }
}

void ImapBodies::onPieceAnswered(ImapClient& client, std::uint32_t uid, std::uint64_t id,
                                 std::uint64_t origin, const Result<void>& result) {
  const auto found = slots_.find(uid);
  if (found == slots_.end() || found->second.id != id) {
    return;
  }
  Slot& slot = found->second;
  --slot.piecesAsked;
  if (slot.state != Wanted::kComing) {
    return;
  }
  judgePiece(uid, slot, origin, result);
  // Not before all pieces are answered, as one of them may contradict.
  if (slot.state == Wanted::kComing && slot.end && slot.piecesAsked == 0 &&
      slot.body->size() >= *slot.end) {
    complete(uid, slot);
    return;
  }
  askPieces(client, uid, slot);
}

void ImapBodies::judgePiece(std::uint32_t uid, Slot& slot, std::uint64_t origin,
                            const Result<void>& result) {
  const bool came = slot.body->size() > origin || slot.early.contains(origin);
  const bool behindEnd = slot.end && origin >= *slot.end;
  if (behindEnd) {
    // whatever the server answers
  } else if (!result && !came) {
    onRefused(uid, slot, result.error().text);
  } else if (!came && origin == 0) {
    slot.state = Wanted::kGone;
  } else if (!came && slot.body->size() == origin) {
    slot.end = origin;  // some servers send nothing behind the end
    checkPieces(slot);
  } else if (!came) {
    slot.fail(kPartMissing);
  }
}

// Connections.

void ImapBodies::attach() {
  for (auto at = slots_.begin(); at != slots_.end();) {
    const auto next = std::next(at);
    if (at->second.state == Wanted::kLost) {
      keepBeginning(at->first, at->second);
      erase(at);
    }
    at = next;
  }
}

void ImapBodies::detach(Loss how) {
  for (auto at = slots_.begin(); at != slots_.end();) {
    Slot& slot = at->second;
    const auto next = std::next(at);
    if (slot.state == Wanted::kComing && slot.asked && !slot.whole) {
      const bool goesOn = slot.body->size() > slot.begun;
      if (slot.ahead) {
        erase(at);
      } else if (!goesOn && blame_.add(at->first, how)) {
        slot.fail("the connection is lost whenever this message is fetched");
      } else {
        reset(slot);
        queue_.push_back(at->first);
      }
    }
    at = next;
  }
}

void ImapBodies::giveUp(const std::string& why) {
  queue_.clear();
  aheadQueue_.clear();
  for (auto& [uid, slot] : slots_) {
    if (slot.state == Wanted::kComing && !slot.whole) {
      slot.state = Wanted::kLost;
      slot.words = why;
    }
  }
}

void ImapBodies::keepOnly(const UidSet& unseen) {
  if (beginning_ && !unseen.contains(beginning_->uid)) {
    beginning_.reset();
  }
}

void ImapBodies::forget() {
  slots_.clear();
  queue_.clear();
  aheadQueue_.clear();
  aheadBytes_ = 0;
  left_.reset();
  beginning_.reset();
}

}  // namespace relaybird
