// SPDX-License-Identifier: MIT
#include "stores/account/imap_changes.h"

#include <utility>
#include <vector>

namespace relaybird {

void ImapChangeGatherer::vanished(const UidSet& uids) {
  vanished_.add(uids);
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
  // Honest servers name a few ranges of what has vanished; others could fill the memory.
  UidGathering::Gathered vanished = vanished_.take();
  missed_ = missed_ || !vanished.whole;
  std::vector<std::uint32_t> unread;
  std::vector<std::uint32_t> others;
  for (const auto& [uid, isUnread] : std::exchange(unread_, {})) {
    if (!vanished.uids.contains(uid)) {
      (isUnread ? unread : others).push_back(uid);
    }
  }
  active_ = false;
  return {UidSet(std::move(unread)), UidSet(std::move(others)), std::move(vanished.uids),
          !std::exchange(missed_, false)};
}

void ImapChangeGatherer::forget() {
  (void)vanished_.take();
  missed_ = false;
}

}  // namespace relaybird
