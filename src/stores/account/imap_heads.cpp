// SPDX-License-Identifier: MIT
// Every head that is wanted has a slot with its state, and a place in the queue until it is asked
// for. The reply to a command decides about what it asked for and did not get: data comes before
// the reply.
//
// One message must not block the others, whatever a server does with it. A group of heads that is
// refused, or in which some are missing, is asked for once more without the structures, which
// servers make badly of bad mail. After a server has refused that too, or has closed the connection
// instead of sending heads, they are asked for one by one for a while, so that a message over which
// a server fails is found and given up.
//
// A server may also refuse everything for a while. So only the head that somebody waits for is
// blamed, and after its refusal nothing is asked for ahead: the walk ends there. Others that are
// refused are asked for again when the walk comes to them.
#include "stores/account/imap_heads.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "message/message.h"
#include "stores/account/fetched_body.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// Heads that were asked for ahead and never taken are dropped beyond this number.
constexpr std::size_t kHeadsKept = 1000;

// What a head takes besides the bytes of its header and of its structure's words.
constexpr std::size_t kHeadCost = 512;

// After a connection was lost over heads, so many are asked for one by one.
constexpr std::size_t kCarefulHeads = 2 * kHeadsInCommand;

std::size_t memoryOf(const ImapPart& part) {
  std::size_t bytes =
      sizeof part + part.type.size() + part.encoding.size() + part.disposition.size();
  for (const auto& [name, value] : part.parameters) {
    bytes += 2 * sizeof name + name.size() + value.size();
  }
  for (const ImapPart& child : part.children) {
    bytes += memoryOf(child);
  }
  return bytes;
}

std::size_t memoryOf(const ImapHead& head) {
  return kHeadCost + head.header.size() + (head.structure ? memoryOf(*head.structure) : 0);
}

}  // namespace

std::optional<DateTime> timeOfWriting(const ImapHead& head) {
  const auto message = Message::read(fetchedMessage(head.header, head.received));
  return message ? (*message)->date() : std::nullopt;
}

void ImapHeads::want(const std::vector<std::uint32_t>& uids) {
  if (uids.empty()) {
    return;
  }
  awaited_ = uids.front();
  if (slots_.size() > kHeadsKept) {
    const std::unordered_set<std::uint32_t> wanted(uids.begin(), uids.end());
    dropKept([&](std::uint32_t uid) { return !wanted.contains(uid); });
  }
  if (keptBytes_ > kHeadsKeptBytes / 2) {
    dropKept([&](std::uint32_t uid) { return uid > *awaited_; });  // the walk has passed them
  }
  for (const std::uint32_t uid : uids) {
    Slot& slot = slots_[uid];
    if (slot.state == Wanted::kNot || slot.state == Wanted::kLost) {
      slot = Slot();
      slot.state = Wanted::kComing;
      queue_.insert(uid);
    }
  }
}

template <class Superfluous>
void ImapHeads::dropKept(const Superfluous& superfluous) {
  std::erase_if(slots_, [&](const auto& entry) {
    const bool drop = entry.second.state != Wanted::kComing && superfluous(entry.first);
    keptBytes_ -= drop ? entry.second.weight : 0;
    return drop;
  });
}

Wanted ImapHeads::state(std::uint32_t uid) const {
  return stateIn(slots_, uid);
}

bool ImapHeads::wantsAny() const {
  return anyComing(slots_);
}

ImapHead ImapHeads::take(std::uint32_t uid) {
  const auto slot = slots_.find(uid);
  ImapHead head = std::move(slot->second.head);
  keptBytes_ -= slot->second.weight;
  slots_.erase(slot);
  return head;
}

Error ImapHeads::takeFailure(std::uint32_t uid) {
  const auto slot = slots_.find(uid);
  const bool lost = slot->second.state == Wanted::kLost;
  Error error{lost ? kInboxLost : kMessageFailed, std::move(slot->second.words)};
  slots_.erase(slot);
  return error;
}

const ImapHeads::Known* ImapHeads::known(std::uint32_t uid) const {
  return known_.find(uid);
}

void ImapHeads::pump(ImapClient& client) {
  std::size_t most = 0;
  while (!queue_.empty() && commands_ < mostCommands() && (most = mayAsk()) > 0) {
    std::vector<std::uint32_t> uids;
    bool plain = careful_ > 0;
    while (!queue_.empty() && uids.size() < most) {
      const auto slot = slots_.find(nextInQueue());
      const bool isWanted = slot != slots_.end() && slot->second.state == Wanted::kComing;
      if (isWanted && !uids.empty() && slot->second.plain != plain) {
        break;
      }
      queue_.erase(nextInQueue());
      if (isWanted && !slot->second.asked) {
        plain = plain || slot->second.plain;
        uids.push_back(slot->first);
      }
    }
    if (!uids.empty()) {
      ask(client, std::move(uids), plain);
    }
  }
}

// The one that the walk comes to first.
std::uint32_t ImapHeads::nextInQueue() const {
  const auto behind = awaited_ ? queue_.upper_bound(*awaited_) : queue_.end();
  return behind == queue_.begin() ? *queue_.rbegin() : *std::prev(behind);
}

// How many heads the next command may ask for: those that there will be room for. As the walk makes
// room one head at a time, it is waited for until there is room for a group.
std::size_t ImapHeads::mayAsk() const {
  if (careful_ > 0) {
    return 1;
  }
  const std::size_t each = std::max(usualBytes_, kHeadCost);
  const std::size_t taken = keptBytes_ + asked_ * each;
  const std::size_t room = taken < kHeadsKeptBytes ? (kHeadsKeptBytes - taken) / each : 0;
  const std::size_t group =
      std::min({queue_.size(), kHeadsInCommand, kHeadsKeptBytes / each / 2 + 1});
  const bool isAwaited = nextInQueue() == awaited_;
  return isAwaited || room >= group ? std::clamp<std::size_t>(room, 1, kHeadsInCommand) : 0;
}

void ImapHeads::ask(ImapClient& client, std::vector<std::uint32_t> uids, bool plain) {
  for (const std::uint32_t uid : uids) {
    Slot& slot = slots_[uid];
    slot.asked = true;
    slot.plain = plain;
    slot.alone = uids.size() == 1;
  }
  ++commands_;
  asked_ += uids.size();
  client.fetchHeads(uids, !plain,
                    [this, uids](const Result<void>& result) { onAnswered(uids, result); });
}

void ImapHeads::arrived(ImapHead head) {
  const std::uint32_t uid = head.uid;
  const auto slot = slots_.find(uid);
  if (slot == slots_.end() || slot->second.state != Wanted::kComing) {
    return;
  }
  blame_.clear(uid);
  if (head.missing) {
    slot->second.state = Wanted::kFailed;
    slot->second.words = "the mail server has the message, but its header cannot be had";
    return;
  }
  known_.set(uid, {head.size.value_or(0), head.received});
  identities_.note(head);
  Slot& kept = slot->second;
  kept.head = std::move(head);
  kept.state = Wanted::kThere;
  kept.weight = memoryOf(kept.head);
  keptBytes_ += kept.weight;
  usualBytes_ = (usualBytes_ * 7 + kept.weight) / 8;
  keepWithinBounds();
}

// Drops heads that the walk has passed, and then those that it comes to last.
void ImapHeads::keepWithinBounds() {
  while (keptBytes_ > kHeadsKeptBytes) {
    const auto isKept = [](const auto& entry) { return entry.second.state == Wanted::kThere; };
    const auto last = std::find_if(slots_.rbegin(), slots_.rend(), isKept);
    const auto first = std::find_if(slots_.begin(), slots_.end(), [&](const auto& entry) {
      return isKept(entry) && entry.first != awaited_;
    });
    const auto dropped =
        last != slots_.rend() && last->first > awaited_ ? std::prev(last.base()) : first;
    if (dropped == slots_.end()) {
      break;
    }
    keptBytes_ -= dropped->second.weight;
    slots_.erase(dropped);
  }
}

void ImapHeads::onAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result) {
  --commands_;
  asked_ -= uids.size();
  careful_ -= careful_ > 0 ? 1 : 0;
  for (const std::uint32_t uid : uids) {
    const auto found = slots_.find(uid);
    if (found == slots_.end() || found->second.state != Wanted::kComing || !found->second.asked) {
      continue;
    }
    Slot& slot = found->second;
    if (!slot.plain) {
      slot.plain = true;
      slot.asked = false;
      queue_.insert(uid);
    } else if (result) {
      slot.state = Wanted::kGone;
    } else {
      onRefused(uid, uids.size() == 1, result.error().text);
    }
  }
}

void ImapHeads::onRefused(std::uint32_t uid, bool alone, const std::string& words) {
  Slot& slot = slots_[uid];
  if (!alone) {
    // One of them was the reason, and the others must not suffer for it.
    careful_ = kCarefulHeads;
    slot.asked = false;
    queue_.insert(uid);
  } else if (uid != awaited_) {
    slots_.erase(uid);
  } else if (blame_.addRefusal(uid)) {
    slot.state = Wanted::kFailed;
    slot.words = words;
  } else {
    slot.state = Wanted::kLost;
    slot.words = refusedForNow(words);
    dropQueued();
  }
}

void ImapHeads::dropQueued() {
  std::erase_if(slots_, [&](const auto& entry) {
    return entry.second.state == Wanted::kComing && queue_.contains(entry.first);
  });
  queue_.clear();
}

void ImapHeads::attach() {
  std::erase_if(slots_, [](const auto& entry) { return entry.second.state == Wanted::kLost; });
}

void ImapHeads::detach(Loss how) {
  commands_ = asked_ = 0;
  bool lostSome = false;
  for (auto& [uid, slot] : slots_) {
    if (slot.state == Wanted::kComing && slot.asked) {
      lostSome = true;
      // Only one that was asked for alone: another one of its group may have been the reason.
      if (slot.alone && careful_ > 0 && blame_.add(uid, how)) {
        slot.state = Wanted::kFailed;
        slot.words = "the connection is lost whenever this message is asked for";
      } else {
        slot.asked = false;
        queue_.insert(uid);
      }
    }
  }
  careful_ = lostSome && MessageBlame::counts(how) ? kCarefulHeads : careful_;
}

void ImapHeads::giveUp(const std::string& why) {
  queue_.clear();
  loseComing(slots_, why);
}

void ImapHeads::keepOnly(const UidSet& unseen) {
  (void)known_.keepOnly(unseen);
}

void ImapHeads::forget() {
  slots_.clear();
  awaited_.reset();
  keptBytes_ = 0;
  known_.clear();
  queue_.clear();
}

}  // namespace relaybird
