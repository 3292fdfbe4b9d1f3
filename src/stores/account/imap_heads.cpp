// SPDX-License-Identifier: MIT
// Every head that is wanted has a slot with its state, and a place in the queue until it is asked
// for. The reply to a command decides about what it asked for and did not get: data comes before
// the reply.
//
// One message must not block the others, whatever a server does with it. A group of heads that is
// refused, or in which some are missing, is asked for once more without the structures, which
// servers make badly of bad mail. After a server has closed the connection instead of sending
// heads, they are asked for one by one for a while, so that a message over which a server fails is
// found and given up.
#include "stores/account/imap_heads.h"

#include <unordered_set>
#include <utility>

#include "message/message.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// Heads that were asked for ahead and never taken are dropped beyond this number.
constexpr std::size_t kHeadsKept = 1000;

// After a connection was lost over heads, so many are asked for one by one.
constexpr std::size_t kCarefulHeads = 2 * kHeadsInCommand;

}  // namespace

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

void ImapHeads::want(const std::vector<std::uint32_t>& uids) {
  if (slots_.size() > kHeadsKept) {
    const std::unordered_set<std::uint32_t> wanted(uids.begin(), uids.end());
    std::erase_if(slots_, [&](const auto& entry) {
      return entry.second.state != Wanted::kComing && !wanted.contains(entry.first);
    });
  }
  for (const std::uint32_t uid : uids) {
    Slot& slot = slots_[uid];
    if (slot.state == Wanted::kNot || slot.state == Wanted::kLost) {
      slot = Slot();
      slot.state = Wanted::kComing;
      queue_.push_back(uid);
    }
  }
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
  slots_.erase(slot);
  return head;
}

Error ImapHeads::takeFailure(std::uint32_t uid) {
  const auto slot = slots_.find(uid);
  Error error{slot->second.state == Wanted::kLost ? kInboxLost : 0, std::move(slot->second.words)};
  slots_.erase(slot);
  return error;
}

const ImapHeads::Known* ImapHeads::known(std::uint32_t uid) const {
  const auto known = known_.find(uid);
  return known == known_.end() ? nullptr : &known->second;
}

void ImapHeads::pump(ImapClient& client) {
  const std::size_t most = careful_ > 0 ? 1 : kHeadCommandsAhead;
  while (!queue_.empty() && commands_ < most) {
    std::vector<std::uint32_t> uids;
    bool plain = careful_ > 0;
    while (!queue_.empty() && uids.size() < (careful_ > 0 ? 1 : kHeadsInCommand)) {
      const auto slot = slots_.find(queue_.front());
      const bool isWanted = slot != slots_.end() && slot->second.state == Wanted::kComing;
      if (isWanted && !uids.empty() && slot->second.plain != plain) {
        break;
      }
      queue_.pop_front();
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

void ImapHeads::ask(ImapClient& client, std::vector<std::uint32_t> uids, bool plain) {
  for (const std::uint32_t uid : uids) {
    Slot& slot = slots_[uid];
    slot.asked = true;
    slot.plain = plain;
  }
  ++commands_;
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
  known_[uid] = {head.size.value_or(0), head.received};
  identities_.note(head);
  slot->second.head = std::move(head);
  slot->second.state = Wanted::kThere;
}

void ImapHeads::onAnswered(const std::vector<std::uint32_t>& uids, const Result<void>& result) {
  --commands_;
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
      queue_.push_front(uid);
    } else if (result) {
      slot.state = Wanted::kGone;
    } else {
      slot.state = Wanted::kFailed;
      slot.words = result.error().text;
    }
  }
}

void ImapHeads::attach() {
  std::erase_if(slots_, [](const auto& entry) { return entry.second.state == Wanted::kLost; });
}

void ImapHeads::detach(Loss how) {
  commands_ = 0;
  bool lostSome = false;
  for (auto& [uid, slot] : slots_) {
    if (slot.state == Wanted::kComing && slot.asked) {
      lostSome = true;
      // Only one that was asked for alone: another one of its group may have been the reason.
      if (careful_ > 0 && blame_.add(uid, how)) {
        slot.state = Wanted::kFailed;
        slot.words = "the connection is lost whenever this message is asked for";
      } else {
        slot.asked = false;
        queue_.push_front(uid);
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
  std::erase_if(known_, [&](const auto& entry) { return !unseen.contains(entry.first); });
}

void ImapHeads::forget() {
  slots_.clear();
  known_.clear();
  queue_.clear();
}

}  // namespace relaybird
