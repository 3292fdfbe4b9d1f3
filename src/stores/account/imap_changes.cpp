// SPDX-License-Identifier: MIT
#include "stores/account/imap_changes.h"

#include <utility>
#include <vector>

namespace relaybird {

void ImapChangeGatherer::vanished(const UidSet& uids) {
  vanished_.add(uids);
  // Honest servers name a few ranges; others could fill the memory.
  if (vanished_.ranges().size() > kMostChanges) {
    vanished_ = {};
    missed_ = true;
  }
}

void ImapChangeGatherer::begin() {
  active_ = true;
  unread_.clear();
}

void ImapChangeGatherer::flags(const ImapFetch& fetch) {
  if (!fetch.flags && fetch.whole) {
    return;  // the answer to another command
  }
  // A response without UID is no answer to a UID command, but it tells of a change that may not be
  // told again.
  if (!fetch.flags || !fetch.uid || !fetch.whole || unread_.size() >= kMostChanges) {
    missed_ = true;
    return;
  }
  unread_[*fetch.uid] = !fetch.hasFlag("\\Seen") && !fetch.hasFlag("\\Deleted");
}

ImapChanges ImapChangeGatherer::take() {
  std::vector<std::uint32_t> unread;
  std::vector<std::uint32_t> others;
  for (const auto& [uid, isUnread] : std::exchange(unread_, {})) {
    if (!vanished_.contains(uid)) {
      (isUnread ? unread : others).push_back(uid);
    }
  }
  active_ = false;
  return {UidSet(std::move(unread)), UidSet(std::move(others)), std::exchange(vanished_, {}),
          !std::exchange(missed_, false)};
}

void ImapChangeGatherer::forget() {
  vanished_ = {};
  missed_ = false;
}

}  // namespace relaybird
