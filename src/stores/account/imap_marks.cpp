// SPDX-License-Identifier: MIT
// A mark has a slot from set() until a search has seen its effect. A search tells the state of the
// server at its own moment, so each mark remembers the number of the command in which it was sent:
// a message that a search calls unread, although its mark was confirmed before that search, was
// marked as unread by another program.
#include "stores/account/imap_marks.h"

#include <algorithm>
#include <utility>

namespace relaybird {

void ImapMarks::set(std::uint32_t uid, bool seen) {
  Slot& slot = slots_[uid];
  const bool waits = slot.state == Mark::kOnItsWay && slot.command == 0 &&
                     std::find(queue_.begin(), queue_.end(), uid) != queue_.end();
  slot = {seen, Mark::kOnItsWay, 0, false};
  if (!waits) {
    queue_.push_back(uid);
  }
}

ImapMarks::Mark ImapMarks::state(std::uint32_t uid) const {
  const auto slot = slots_.find(uid);
  return slot == slots_.end() ? Mark::kNone : slot->second.state;
}

bool ImapMarks::isSeen(std::uint32_t uid) const {
  const auto slot = slots_.find(uid);
  return slot != slots_.end() && slot->second.seen && slot->second.state != Mark::kRefused;
}

void ImapMarks::dropRefused(std::uint32_t uid) {
  if (state(uid) == Mark::kRefused) {
    slots_.erase(uid);
  }
}

void ImapMarks::pump(ImapClient& client, bool readOnly) {
  if (!flush_ && queue_.size() < kMarksAtOnce) {
    return;
  }
  flush_ = false;
  if (readOnly) {
    // A server may accept marks in such a folder, and forget them.
    for (const std::uint32_t uid : std::exchange(queue_, {})) {
      refuse(uid, "the folder may only be read");
    }
  }
  while (!queue_.empty()) {
    send(client);
  }
}

void ImapMarks::refuse(std::uint32_t uid, const std::string& words) {
  Slot& slot = slots_[uid];
  slot.state = Mark::kRefused;
  refused_(uid, slot.seen, words, toldOf_.insert(uid).second);
}

// Sends marks of one kind from the front of the queue.
void ImapMarks::send(ImapClient& client) {
  std::vector<std::uint32_t> uids;
  const Slot first = slots_[queue_.front()];
  const std::uint64_t command = ++lastCommand_;
  while (!queue_.empty() && uids.size() < (first.alone ? 1 : kMarksInCommand)) {
    Slot& slot = slots_[queue_.front()];
    if (!uids.empty() && (slot.seen != first.seen || slot.alone)) {
      break;
    }
    slot.command = command;
    uids.push_back(queue_.front());
    queue_.pop_front();
  }
  sent_ += uids.size();
  client.store(UidSet(uids), first.seen, [this, command, uids](const Result<void>& result) {
    onAnswered(command, uids, result);
  });
}

void ImapMarks::onAnswered(std::uint64_t command, const std::vector<std::uint32_t>& uids,
                           const Result<void>& result) {
  sent_ -= uids.size();
  for (const std::uint32_t uid : uids) {
    const auto found = slots_.find(uid);
    if (found == slots_.end() || found->second.command != command) {
      continue;  // set once more in the meantime
    }
    Slot& slot = found->second;
    if (result && slot.seen) {
      slot.state = Mark::kDurable;
    } else if (result) {
      slots_.erase(found);
    } else if (uids.size() > 1) {
      // One of them was the reason, and the others must not suffer for it.
      slot.alone = true;
      slot.command = 0;
      queue_.push_back(uid);
      flush_ = true;
    } else {
      refuse(uid, result.error().text);
    }
  }
}

UidSet ImapMarks::confirmedSeen() const {
  std::vector<std::uint32_t> uids;
  for (const auto& [uid, slot] : slots_) {
    if (slot.state == Mark::kDurable) {
      uids.push_back(uid);
    }
  }
  return UidSet(std::move(uids));
}

void ImapMarks::settle(const UidSet& found, std::uint64_t before,
                       std::vector<std::uint32_t>& uids) {
  std::erase_if(uids, [&](std::uint32_t uid) {
    const auto slot = slots_.find(uid);
    if (slot == slots_.end() || !slot->second.seen || slot->second.state == Mark::kRefused) {
      return false;
    }
    if (slot->second.state == Mark::kOnItsWay || slot->second.command > before) {
      return true;
    }
    slots_.erase(slot);  // the search saw the mark set: another program has cleared it since
    return false;
  });
  std::erase_if(slots_, [&](const auto& entry) {
    return entry.second.state == Mark::kDurable && entry.second.command <= before &&
           !found.contains(entry.first);
  });
}

void ImapMarks::detach() {
  std::vector<std::uint32_t> again;
  for (auto& [uid, slot] : slots_) {
    if (slot.state == Mark::kOnItsWay && slot.command != 0) {
      slot.command = 0;
      again.push_back(uid);
    }
  }
  std::sort(again.begin(), again.end());
  queue_.insert(queue_.begin(), again.begin(), again.end());
  sent_ = 0;
}

void ImapMarks::forget() {
  slots_.clear();
  queue_.clear();
  toldOf_.clear();
  sent_ = 0;
}

}  // namespace relaybird
