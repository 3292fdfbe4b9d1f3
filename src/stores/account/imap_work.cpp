// SPDX-License-Identifier: MIT
// Every thing that is wanted has a slot with its state, and a place in a queue until it is asked
// for. pump() turns queues into commands. The reply to a command decides about what it asked for
// and did not get: data comes before the reply.
//
// One message must not block the others, whatever a server does with it. A group of heads that is
// refused, or in which some are missing, is asked for once more without the structures, which
// servers make badly of bad mail. After a server has closed the connection instead of sending
// heads, they are asked for one by one for a while, so that a message over which a server fails is
// found and given up. A body over which it closes repeatedly is given up too. Connections are also
// lost for reasons of the network, and no message must be given up for those: only a connection
// that ends as soon as the server has to answer counts fully.
#include "stores/account/imap_work.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "message/message.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// Larger mailboxes are worked off in parts: the oldest unread messages first.
constexpr std::size_t kMostUnseen = 500'000;

// Heads that were asked for ahead and never taken are dropped beyond this number.
constexpr std::size_t kHeadsKept = 1000;

// After a connection was lost over heads, so many are asked for one by one.
constexpr std::size_t kCarefulHeads = 2 * kHeadsInCommand;

// Bodies in one command.
constexpr std::size_t kBodiesInCommand = 50;

// A message is given up when its blame reaches the limit.
constexpr int kMostBlame = 4;

constexpr int blameFor(Loss how) {
  switch (how) {
    case Loss::kClosedAtOnce:
      return 2;
    case Loss::kBroken:
      return 1;
    case Loss::kOther:
      break;
  }
  return 0;
}

// After so many refusals the heads of a folder numbered anew are asked for one by one.
constexpr int kRefusalsOfGroups = 2;

// So many messages are named in one sentence.
constexpr std::size_t kNamedMessages = 5;

std::optional<DateTime> timeOfWriting(BodySpool& spool, const ImapHead& head) {
  FetchedBody fields(spool);
  auto file = fields.append(head.header) ? fields.finish(head.received)
                                         : Result<std::unique_ptr<InputFile>>(Error{});
  if (!file) {
    return std::nullopt;
  }
  const auto message = Message::read(std::move(*file));
  return message ? (*message)->date() : std::nullopt;
}

// When the message came or was written, whichever is earlier: a move to another server may set the
// former anew.
DateTime earliestTime(BodySpool& spool, const ImapHead& head) {
  return std::min(head.received, timeOfWriting(spool, head).value_or(head.received));
}

}  // namespace

ImapWork::ImapWork(BodySpool& spool, MessageIdentities& identities,
                   std::function<void(std::string)> complain, std::function<DateTime()> now)
    : spool_(spool),
      identities_(identities),
      complain_(std::move(complain)),
      now_(std::move(now)) {}

ImapClient::Events ImapWork::events() {
  return {[this](ImapHead head) { onHead(std::move(head)); },
          [this](ImapBody body) { onBody(std::move(body)); }, [this] { changed_ = true; }};
}

void ImapWork::attach(ImapClient& client, const ImapOpened& opened) {
  if (opened.uidValidity != opened_.uidValidity) {
    forgetMailbox();
  }
  if (identities_.uidValidity() == 0) {
    identities_.begin(opened.uidValidity);
  }
  // What could not be had on an earlier connection may be had on this one.
  std::erase_if(heads_, [](const auto& entry) { return entry.second.state == Wanted::kLost; });
  for (auto at = bodies_.begin(); at != bodies_.end();) {
    const auto next = std::next(at);
    if (at->second.state == Wanted::kLost) {
      keepBeginning(at->first, at->second);
      eraseBody(at);
    }
    at = next;
  }
  client_ = &client;
  opened_ = opened;
  changed_ = true;
  justOpened_ = true;
}

void ImapWork::detach(Loss how) {
  client_ = nullptr;
  renumbering_.reset();
  refreshSent_ = refreshDone_;
  headCommands_ = 0;
  detachHeads(how);
  detachBodies(how);
  std::vector<std::uint32_t> again;
  for (auto& [uid, slot] : marks_) {
    if (slot.state == Mark::kOnItsWay && slot.command != 0) {
      slot.command = 0;
      again.push_back(uid);
    }
  }
  std::sort(again.begin(), again.end());
  queue_.insert(queue_.begin(), again.begin(), again.end());
  marksSent_ = 0;
}

void ImapWork::detachHeads(Loss how) {
  bool lostHeads = false;
  for (auto& [uid, slot] : heads_) {
    if (slot.state == Wanted::kComing && slot.asked) {
      lostHeads = true;
      if (careful_ > 0 && isToBlame(uid, how)) {
        slot.state = Wanted::kFailed;
        slot.words = "the connection is lost whenever this message is asked for";
      } else {
        slot.asked = false;
        headQueue_.push_front(uid);
      }
    }
  }
  careful_ = lostHeads && blameFor(how) > 0 ? kCarefulHeads : careful_;
}

void ImapWork::detachBodies(Loss how) {
  for (auto at = bodies_.begin(); at != bodies_.end();) {
    BodySlot& slot = at->second;
    const auto next = std::next(at);
    if (slot.state == Wanted::kComing && slot.asked) {
      const bool goesOn = slot.body->size() > slot.begun;
      if (slot.ahead) {
        eraseBody(at);
      } else if (!goesOn && isToBlame(at->first, how)) {
        slot.state = Wanted::kFailed;
        slot.words = "the connection is lost whenever this message is fetched";
      } else {
        resetBody(slot);
        bodyQueue_.push_back(at->first);
      }
    }
    at = next;
  }
}

// Notes that a connection was lost over the message.
bool ImapWork::isToBlame(std::uint32_t uid, Loss how) {
  if (blameFor(how) == 0) {
    return false;
  }
  int& blame = blame_[uid];
  blame += blameFor(how);
  if (blame < kMostBlame) {
    return false;
  }
  blame_.erase(uid);
  return true;
}

void ImapWork::forgetMailbox() {
  ++generation_;
  unseen_.reset();
  known_.clear();
  heads_.clear();
  headQueue_.clear();
  bodies_.clear();
  leftBody_.reset();
  beginning_.reset();
  blame_.clear();
  bodyQueue_.clear();
  aheadQueue_.clear();
  aheadBytes_ = 0;
  marks_.clear();
  queue_.clear();
  toldOfMarks_.clear();
  marksSent_ = 0;
}

void ImapWork::pump() {
  if (client_ == nullptr) {
    return;
  }
  pumpMarks();
  pumpRefresh();
  pumpBodies();
  pumpHeads();
}

bool ImapWork::wantsAnything() const {
  const auto coming = [](const auto& entry) { return entry.second.state == Wanted::kComing; };
  return refreshed(refreshWanted_) == Wanted::kComing ||
         std::any_of(heads_.begin(), heads_.end(), coming) ||
         std::any_of(bodies_.begin(), bodies_.end(), coming);
}

void ImapWork::giveUp(const Error& why) {
  if (refreshed(refreshWanted_) == Wanted::kComing) {
    refreshFailed_ = refreshWanted_;
    refreshFailure_ = why;
  }
  headQueue_.clear();
  bodyQueue_.clear();
  aheadQueue_.clear();
  for (auto& [uid, slot] : heads_) {
    if (slot.state == Wanted::kComing) {
      slot.state = Wanted::kLost;
      slot.words = why.text;
    }
  }
  for (auto& [uid, slot] : bodies_) {
    if (slot.state == Wanted::kComing) {
      slot.state = Wanted::kLost;
      slot.words = why.text;
    }
  }
}

// The unread messages.

std::uint64_t ImapWork::wantRefresh() {
  flush_ = true;
  // One that was sent already may have missed what made the caller ask.
  if (refreshWanted_ == std::max({refreshSent_, refreshDone_, refreshFailed_})) {
    ++refreshWanted_;
  }
  return refreshWanted_;
}

Wanted ImapWork::refreshed(std::uint64_t number) const {
  if (refreshDone_ >= number) {
    return Wanted::kThere;
  }
  return refreshFailed_ >= number ? Wanted::kFailed : Wanted::kComing;
}

void ImapWork::pumpRefresh() {
  const bool justOpened = std::exchange(justOpened_, false);
  // One at a time: a search of a large folder may take the server minutes.
  if (refreshWanted_ <= std::max(refreshSent_, refreshFailed_) ||
      refreshSent_ > std::max(refreshDone_, refreshFailed_)) {
    return;
  }
  const std::uint64_t number = refreshWanted_;
  refreshSent_ = number;
  if (justOpened) {
    search(number);
    return;
  }
  // A server may answer a search from what this session has seen so far, and not even tell that
  // there is more. What had happened before it answers a NOOP, it has seen.
  client_->noop([this, number](const Result<void>&) { search(number); });
}

void ImapWork::search(std::uint64_t number) {
  changed_ = false;
  client_->searchUnseen([this, number, marks = lastCommand_](const Result<UidSet>& found) {
    onSearched(number, marks, found);
  });
}

void ImapWork::onSearched(std::uint64_t number, std::uint64_t marksBefore,
                          const Result<UidSet>& found) {
  if (!found) {
    refreshFailed_ = std::max(refreshFailed_, number);
    refreshFailure_ = found.error();
    changed_ = true;
    return;
  }
  auto uids = found->uids(kMostUnseen);
  if (identities_.uidValidity() != opened_.uidValidity) {
    recognise(number, std::move(uids));
    return;
  }
  refreshDone_ = std::max(refreshDone_, number);
  std::erase_if(uids, [&](std::uint32_t uid) {
    const auto slot = marks_.find(uid);
    if (slot == marks_.end() || !slot->second.seen || slot->second.state == Mark::kRefused) {
      return false;
    }
    if (slot->second.state == Mark::kOnItsWay || slot->second.command > marksBefore) {
      return true;
    }
    marks_.erase(slot);  // the search saw the mark set: another program has cleared it since
    return false;
  });
  std::erase_if(marks_, [&](const auto& entry) {
    return entry.second.state == Mark::kDurable && entry.second.command <= marksBefore &&
           !found->contains(entry.first);
  });
  std::erase_if(known_, [&](const auto& entry) { return !found->contains(entry.first); });
  std::erase_if(blame_, [&](const auto& entry) { return !found->contains(entry.first); });
  if (beginning_ && !found->contains(beginning_->uid)) {
    beginning_.reset();
  }
  identities_.keepOnly(*found);
  publish(std::move(uids));
}

void ImapWork::publish(std::vector<std::uint32_t> uids) {
  std::erase_if(uids, [this](std::uint32_t uid) { return identities_.isLeftOut(uid); });
  if (!unseen_ || *unseen_ != uids) {
    unseen_ = std::make_shared<const std::vector<std::uint32_t>>(std::move(uids));
  }
}

std::optional<bool> ImapWork::isUnseen(std::uint32_t uid) const {
  if (!unseen_) {
    return std::nullopt;
  }
  return std::binary_search(unseen_->begin(), unseen_->end(), uid);
}

// Asks for the heads of all unread messages of a folder that was numbered anew. A server that
// refuses them for now must not make all messages strangers, and one message that it always refuses
// must not keep the others from being recognised.
void ImapWork::recognise(std::uint64_t number, std::vector<std::uint32_t> uids) {
  renumbering_ = Renumbering{};
  renumbering_->number = number;
  renumbering_->uids = std::move(uids);
  renumbering_->singly = refusedRenumberings_ >= kRefusalsOfGroups;
  const std::size_t size = renumbering_->singly ? 1 : kHeadsInCommand;
  const auto& all = renumbering_->uids;
  renumbering_->commands = (all.size() + size - 1) / size;
  if (all.empty()) {
    onRecognised();
    return;
  }
  for (std::size_t begin = 0; begin < all.size(); begin += size) {
    const std::size_t end = std::min(all.size(), begin + size);
    client_->fetchHeads(
        {all.begin() + static_cast<std::ptrdiff_t>(begin),
         all.begin() + static_cast<std::ptrdiff_t>(end)},
        false, [this, number](const Result<void>& result) { onHeadsToRecognise(number, result); });
  }
}

void ImapWork::onHeadsToRecognise(std::uint64_t number, const Result<void>& result) {
  if (!renumbering_ || renumbering_->number != number) {
    return;
  }
  if (!result) {
    renumbering_->refusal = result.error().text;
  }
  if (--renumbering_->commands == 0) {
    onRecognised();
  }
}

void ImapWork::onRecognised() {
  Renumbering all = std::move(*renumbering_);
  renumbering_.reset();
  if (!all.refusal.empty() && (!all.singly || all.found.empty())) {
    ++refusedRenumberings_;
    refreshFailed_ = std::max(refreshFailed_, all.number);
    refreshFailure_ = {0,
                       "The mail server has numbered the messages of the folder anew, and does "
                       "not let them be recognised yet: " +
                           all.refusal};
    changed_ = true;
    return;
  }
  refusedRenumberings_ = 0;
  std::vector<MessageIdentities::Found> found;
  for (const std::uint32_t uid : all.uids) {
    const auto head = all.found.find(uid);
    found.push_back(head == all.found.end() ? MessageIdentities::Found{uid, 0, kNoDate}
                                            : head->second);
  }
  const std::size_t leftOut = identities_.renumber(opened_.uidValidity, found);
  if (const auto saved = identities_.save(); !saved) {
    complain_(saved.error().text);
  }
  complain_(
      "The server has numbered the messages of the folder anew. Unread messages that cannot "
      "be recognised and are not forwarded: " +
      std::to_string(leftOut) + namesOfLeftOut(all));
  refreshDone_ = std::max(refreshDone_, all.number);
  publish(std::move(all.uids));
}

// Their subjects in parentheses.
std::string ImapWork::namesOfLeftOut(const Renumbering& all) const {
  std::string names;
  std::size_t count = 0;
  for (const std::uint32_t uid : all.uids) {
    if (!identities_.isLeftOut(uid)) {
      continue;
    }
    if (++count > kNamedMessages) {
      names += ", ...";
      break;
    }
    const auto subject = all.subjects.find(uid);
    names += (count > 1 ? ", \"" : "\"") +
             (subject == all.subjects.end() ? std::string() : subject->second) + '"';
  }
  return names.empty() ? names : " (" + names + ')';
}

// Heads.

void ImapWork::wantHeads(const std::vector<std::uint32_t>& uids) {
  if (heads_.size() > kHeadsKept) {
    const std::unordered_set<std::uint32_t> wanted(uids.begin(), uids.end());
    std::erase_if(heads_, [&](const auto& entry) {
      return entry.second.state != Wanted::kComing && !wanted.contains(entry.first);
    });
  }
  for (const std::uint32_t uid : uids) {
    HeadSlot& slot = heads_[uid];
    if (slot.state == Wanted::kNot || slot.state == Wanted::kLost) {
      slot = HeadSlot();
      slot.state = Wanted::kComing;
      headQueue_.push_back(uid);
    }
  }
}

Wanted ImapWork::head(std::uint32_t uid) const {
  const auto slot = heads_.find(uid);
  return slot == heads_.end() ? Wanted::kNot : slot->second.state;
}

ImapHead ImapWork::takeHead(std::uint32_t uid) {
  const auto slot = heads_.find(uid);
  ImapHead head = std::move(slot->second.head);
  heads_.erase(slot);
  return head;
}

Error ImapWork::takeHeadFailure(std::uint32_t uid) {
  const auto slot = heads_.find(uid);
  Error error{slot->second.state == Wanted::kLost ? kInboxLost : 0, std::move(slot->second.words)};
  heads_.erase(slot);
  return error;
}

void ImapWork::pumpHeads() {
  const std::size_t most = careful_ > 0 ? 1 : kHeadCommandsAhead;
  while (!headQueue_.empty() && headCommands_ < most) {
    std::vector<std::uint32_t> uids;
    bool plain = careful_ > 0;
    while (!headQueue_.empty() && uids.size() < (careful_ > 0 ? 1 : kHeadsInCommand)) {
      const auto slot = heads_.find(headQueue_.front());
      const bool isWanted = slot != heads_.end() && slot->second.state == Wanted::kComing;
      if (isWanted && !uids.empty() && slot->second.plain != plain) {
        break;
      }
      headQueue_.pop_front();
      if (isWanted && !slot->second.asked) {
        plain = plain || slot->second.plain;
        uids.push_back(slot->first);
      }
    }
    if (!uids.empty()) {
      askHeads(std::move(uids), plain);
    }
  }
}

void ImapWork::askHeads(std::vector<std::uint32_t> uids, bool plain) {
  for (const std::uint32_t uid : uids) {
    HeadSlot& slot = heads_[uid];
    slot.asked = true;
    slot.plain = plain;
  }
  ++headCommands_;
  client_->fetchHeads(uids, !plain,
                      [this, uids](const Result<void>& result) { onHeadsAnswered(uids, result); });
}

void ImapWork::onHead(ImapHead head) {
  const std::uint32_t uid = head.uid;
  if (head.received == kNoDate) {
    head.received = timeOfWriting(spool_, head).value_or(now_());
  }
  if (renumbering_) {
    renumbering_->subjects[uid] = HeaderBlock(head.header).subject();
    const std::uint64_t fingerprint = MessageIdentities::fingerprintOf(head);
    renumbering_->found[uid] = {uid, fingerprint, earliestTime(spool_, head)};
    return;
  }
  const auto slot = heads_.find(uid);
  if (slot == heads_.end() || slot->second.state != Wanted::kComing) {
    return;
  }
  blame_.erase(uid);
  known_[uid] = {head.size.value_or(0), head.received};
  identities_.note(head);
  slot->second.head = std::move(head);
  slot->second.state = Wanted::kThere;
}

void ImapWork::onHeadsAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result) {
  --headCommands_;
  careful_ -= careful_ > 0 ? 1 : 0;
  for (const std::uint32_t uid : uids) {
    const auto found = heads_.find(uid);
    if (found == heads_.end() || found->second.state != Wanted::kComing || !found->second.asked) {
      continue;
    }
    HeadSlot& slot = found->second;
    if (!slot.plain) {
      slot.plain = true;
      slot.asked = false;
      headQueue_.push_front(uid);
    } else if (result) {
      slot.state = Wanted::kGone;
    } else {
      slot.state = Wanted::kFailed;
      slot.words = result.error().text;
    }
  }
}

// Bodies.

ImapWork::BodySlot& ImapWork::newBody(std::uint32_t uid) {
  BodySlot& slot = bodies_[uid];
  if (const auto known = known_.find(uid); known != known_.end()) {
    slot.expected = known->second.size;
    slot.received = known->second.received;
  }
  if (beginning_ && beginning_->uid == uid) {
    slot.body = std::move(beginning_->bytes);
    slot.pieces = true;
    beginning_.reset();
  }
  resetBody(slot);
  slot.id = ++lastBody_;
  return slot;
}

// To be asked for from the start, or from the end of what has come in pieces.
void ImapWork::resetBody(BodySlot& slot) const {
  slot.state = Wanted::kComing;
  slot.asked = false;
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
void ImapWork::keepBeginning(std::uint32_t uid, BodySlot& slot) {
  if (slot.pieces && slot.body && slot.body->size() > 0 && slot.body->size() % kPieceBytes == 0) {
    beginning_ = Beginning{uid, std::move(slot.body)};
  }
}

void ImapWork::wantBody(std::uint32_t uid) {
  if (leftBody_ == uid) {
    leftBody_.reset();
  }
  const auto found = bodies_.find(uid);
  if (found != bodies_.end() && found->second.state == Wanted::kLost) {
    keepBeginning(uid, found->second);
    eraseBody(found);
    wantBody(uid);
  } else if (found == bodies_.end()) {
    newBody(uid);
    bodyQueue_.push_back(uid);
  } else if (std::exchange(found->second.ahead, false) && !found->second.asked) {
    bodyQueue_.push_back(uid);
  }
}

void ImapWork::leaveBody(std::uint32_t uid) {
  const auto earlier = leftBody_ && *leftBody_ != uid ? bodies_.find(*leftBody_) : bodies_.end();
  if (earlier != bodies_.end()) {
    eraseBody(earlier);
  }
  leftBody_ = uid;
}

std::size_t ImapWork::wantBodiesAhead(const std::vector<std::uint32_t>& uids) {
  std::size_t done = 0;
  for (const std::uint32_t uid : uids) {
    const auto known = known_.find(uid);
    if (known == known_.end() || aheadBytes_ + kBodyAheadBytes > kBodiesAheadBytes) {
      break;
    }
    ++done;
    if (bodies_.contains(uid) || known->second.size == 0 || known->second.size > kBodyAheadBytes) {
      continue;
    }
    BodySlot& slot = newBody(uid);
    slot.ahead = true;
    slot.reserved = slot.expected;
    aheadBytes_ += slot.reserved;
    aheadQueue_.push_back(uid);
  }
  return done;
}

Wanted ImapWork::body(std::uint32_t uid) const {
  const auto slot = bodies_.find(uid);
  return slot == bodies_.end() ? Wanted::kNot : slot->second.state;
}

Result<std::unique_ptr<InputFile>> ImapWork::takeBody(std::uint32_t uid) {
  const auto at = bodies_.find(uid);
  BodySlot slot = std::move(at->second);
  eraseBody(at);
  if (slot.state == Wanted::kGone) {
    return Error{ENOENT, "The message is no longer there"};
  }
  if (slot.state == Wanted::kLost) {
    keepBeginning(uid, slot);
    return Error{kInboxLost, slot.words};
  }
  if (slot.state == Wanted::kFailed) {
    return Error{0, slot.words};
  }
  blame_.erase(uid);
  return slot.body->finish(slot.received);
}

void ImapWork::dropBodiesBehind(std::uint32_t uid) {
  for (auto at = bodies_.upper_bound(uid); at != bodies_.end();) {
    const auto next = std::next(at);
    if (at->second.ahead && (at->second.state != Wanted::kComing || !at->second.asked)) {
      eraseBody(at);
    }
    at = next;
  }
}

void ImapWork::eraseBody(std::map<std::uint32_t, BodySlot>::iterator at) {
  aheadBytes_ -= at->second.reserved;
  bodies_.erase(at);
}

void ImapWork::pumpBodies() {
  while (!bodyQueue_.empty()) {
    const std::uint32_t uid = bodyQueue_.front();
    bodyQueue_.pop_front();
    const auto found = bodies_.find(uid);
    if (found == bodies_.end() || found->second.state != Wanted::kComing || found->second.asked) {
      continue;
    }
    found->second.asked = true;
    if (found->second.pieces) {
      askPieces(uid, found->second);
    } else {
      askWhole({uid});
    }
  }
  while (!aheadQueue_.empty()) {
    std::vector<std::uint32_t> uids;
    while (!aheadQueue_.empty() && uids.size() < kBodiesInCommand) {
      const auto found = bodies_.find(aheadQueue_.front());
      if (found != bodies_.end() && found->second.state == Wanted::kComing &&
          !found->second.asked && !found->second.pieces) {
        found->second.asked = true;
        uids.push_back(found->first);
      }
      aheadQueue_.pop_front();
    }
    if (!uids.empty()) {
      askWhole(uids);
    }
  }
}

void ImapWork::askWhole(const std::vector<std::uint32_t>& uids) {
  client_->fetchBodies(UidSet(uids),
                       [this, uids](const Result<void>& result) { onWholeAnswered(uids, result); });
}

void ImapWork::onBody(ImapBody body) {
  const auto found = bodies_.find(body.uid);
  if (found == bodies_.end() || found->second.state != Wanted::kComing || !found->second.asked) {
    return;
  }
  BodySlot& slot = found->second;
  if (body.missing) {
    slot.state = Wanted::kFailed;
    slot.words = "the mail server has the message, but does not give its text";
  } else if (slot.pieces) {
    if (!body.cut) {
      addPiece(slot, body.origin, std::move(body.bytes));
    }
  } else if (body.cut) {
    // Larger than the server said.
    slot.pieces = true;
    slot.asked = false;
    bodyQueue_.push_back(body.uid);
  } else {
    slot.end = body.bytes.size();
    append(slot, std::move(body.bytes));
    accountForAhead(found);
  }
}

// The sizes that a server tells may be wrong.
void ImapWork::accountForAhead(std::map<std::uint32_t, BodySlot>::iterator at) {
  BodySlot& slot = at->second;
  if (!slot.ahead || slot.state != Wanted::kThere) {
    return;
  }
  const std::uint64_t size = slot.body->size();
  aheadBytes_ = aheadBytes_ - slot.reserved + size;
  slot.reserved = size;
  if (size > kBodyAheadBytes || aheadBytes_ > kBodiesAheadBytes) {
    eraseBody(at);
  }
}

void ImapWork::onWholeAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result) {
  for (const std::uint32_t uid : uids) {
    const auto found = bodies_.find(uid);
    if (found == bodies_.end() || found->second.state != Wanted::kComing || !found->second.asked ||
        found->second.pieces) {
      continue;
    }
    BodySlot& slot = found->second;
    if (result) {
      slot.state = Wanted::kGone;
    } else if (uids.size() > 1) {
      slot.asked = false;
      bodyQueue_.push_back(uid);
    } else {
      slot.state = Wanted::kFailed;
      slot.words = result.error().text;
    }
  }
}

void ImapWork::askPieces(std::uint32_t uid, BodySlot& slot) {
  while (slot.state == Wanted::kComing && !slot.end && slot.piecesAsked < kPiecesAhead &&
         (slot.nextPiece == 0 || slot.nextPiece < slot.expected ||
          (slot.piecesAsked == 0 && slot.body->size() == slot.nextPiece))) {
    const std::uint64_t origin = slot.nextPiece;
    slot.nextPiece += kPieceBytes;
    ++slot.piecesAsked;
    client_->fetchPiece(uid, origin, kPieceBytes,
                        [this, uid, id = slot.id, origin](const Result<void>& result) {
                          onPieceAnswered(uid, id, origin, result);
                        });
  }
}

void ImapWork::addPiece(BodySlot& slot, std::uint64_t origin, std::string bytes) {
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
    append(slot, std::move(slot.early.begin()->second));
    slot.early.erase(slot.early.begin());
  }
}

// A short piece is the last one. Where bytes come behind it nevertheless, some are missing.
void ImapWork::checkPieces(BodySlot& slot) {
  const auto behind = [&](const auto& piece) {
    return piece.first >= *slot.end && !piece.second.empty();
  };
  if (slot.end && std::any_of(slot.early.begin(), slot.early.end(), behind)) {
    slot.state = Wanted::kFailed;
    slot.words = "the server has left out a part of the message";
  }
}

void ImapWork::append(BodySlot& slot, std::string bytes) {
  if (const auto appended = slot.body->append(std::move(bytes)); !appended) {
    slot.state = Wanted::kLost;  // the disk is full or broken
    slot.words = appended.error().text;
    slot.body.reset();
  } else if (!slot.pieces) {
    slot.state = Wanted::kThere;
  }
}

void ImapWork::onPieceAnswered(std::uint32_t uid, std::uint64_t id, std::uint64_t origin,
                               const Result<void>& result) {
  const auto found = bodies_.find(uid);
  if (found == bodies_.end() || found->second.id != id) {
    return;
  }
  BodySlot& slot = found->second;
  --slot.piecesAsked;
  if (slot.state != Wanted::kComing) {
    return;
  }
  const bool came = slot.body->size() > origin || slot.early.contains(origin);
  const bool behindEnd = slot.end && origin >= *slot.end;
  if (behindEnd) {
    // whatever the server answers
  } else if (!result) {
    slot.state = Wanted::kFailed;
    slot.words = result.error().text;
  } else if (!came && origin == 0) {
    slot.state = Wanted::kGone;
  } else if (!came && slot.body->size() == origin) {
    slot.end = origin;  // some servers send nothing behind the end
    checkPieces(slot);
  } else if (!came) {
    slot.state = Wanted::kFailed;
    slot.words = "the server has left out a part of the message";
  }
  // Not before all pieces are answered, as one of them may contradict.
  if (slot.state == Wanted::kComing && slot.end && slot.piecesAsked == 0 &&
      slot.body->size() >= *slot.end) {
    slot.state = Wanted::kThere;
  }
  askPieces(uid, slot);
}

// Read marks.

void ImapWork::setSeen(std::uint32_t uid, bool seen) {
  MarkSlot& slot = marks_[uid];
  const bool waits = slot.state == Mark::kOnItsWay && slot.command == 0 &&
                     std::find(queue_.begin(), queue_.end(), uid) != queue_.end();
  slot = {seen, Mark::kOnItsWay, 0, false};
  if (!waits) {
    queue_.push_back(uid);
  }
}

ImapWork::Mark ImapWork::mark(std::uint32_t uid) const {
  const auto slot = marks_.find(uid);
  return slot == marks_.end() ? Mark::kNone : slot->second.state;
}

bool ImapWork::isMarkedSeen(std::uint32_t uid) const {
  const auto slot = marks_.find(uid);
  return slot != marks_.end() && slot->second.seen && slot->second.state != Mark::kRefused;
}

void ImapWork::dropMark(std::uint32_t uid) {
  if (mark(uid) == Mark::kRefused) {
    marks_.erase(uid);
  }
}

void ImapWork::pumpMarks() {
  if (!flush_ && queue_.size() < kMarksAtOnce) {
    return;
  }
  flush_ = false;
  if (opened_.readOnly) {
    refuseMarks();
  }
  while (!queue_.empty()) {
    sendMarks(kMarksInCommand);
  }
}

// A server may accept marks in such a folder, and forget them.
void ImapWork::refuseMarks() {
  for (const std::uint32_t uid : std::exchange(queue_, {})) {
    refuse(uid, "the folder may only be read");
  }
}

// The message is listed again, as it is on the server.
void ImapWork::refuse(std::uint32_t uid, const std::string& words) {
  MarkSlot& slot = marks_[uid];
  slot.state = Mark::kRefused;
  changed_ = true;
  if (toldOfMarks_.insert(uid).second) {
    complain_("The server does not mark the message " +
              MessageIdentities::entryId(opened_.uidValidity, uid, *identities_.aliases()) +
              " as " + (slot.seen ? "read: " : "unread: ") + words);
  }
}

// Sends marks of one kind from the front of the queue.
void ImapWork::sendMarks(std::size_t count) {
  std::vector<std::uint32_t> uids;
  const MarkSlot first = marks_[queue_.front()];
  const std::uint64_t command = ++lastCommand_;
  while (!queue_.empty() && uids.size() < (first.alone ? 1 : count)) {
    MarkSlot& slot = marks_[queue_.front()];
    if (!uids.empty() && (slot.seen != first.seen || slot.alone)) {
      break;
    }
    slot.command = command;
    uids.push_back(queue_.front());
    queue_.pop_front();
  }
  marksSent_ += uids.size();
  client_->store(UidSet(uids), first.seen, [this, command, uids](const Result<void>& result) {
    onMarked(command, uids, result);
  });
}

void ImapWork::onMarked(std::uint64_t command, const std::vector<std::uint32_t>& uids,
                        const Result<void>& result) {
  marksSent_ -= uids.size();
  for (const std::uint32_t uid : uids) {
    const auto found = marks_.find(uid);
    if (found == marks_.end() || found->second.command != command) {
      continue;  // set once more in the meantime
    }
    MarkSlot& slot = found->second;
    if (result && slot.seen) {
      slot.state = Mark::kDurable;
    } else if (result) {
      marks_.erase(found);
    } else if (uids.size() > 1) {
      slot.alone = true;
      slot.command = 0;
      queue_.push_back(uid);
      flush_ = true;
    } else {
      refuse(uid, result.error().text);
    }
  }
}

}  // namespace relaybird
