// SPDX-License-Identifier: MIT
#include "stores/account/idle_keeper.h"

#include <utility>

namespace relaybird {

bool IdleKeeper::keep(ImapClient& client, Time now, Time soon) {
  ImapDialogue& dialogue = client.dialogue();
  if (std::exchange(refusal_, false)) {
    refused(now);
  }
  const bool isDue = nextMoment(dialogue) <= soon;
  if (dialogue.idling()) {
    if (isDue) {
      dialogue.endIdle();
      since_ = now;
    }
    return true;
  }
  // One that ends IDLE at once must not be asked over and over.
  if (now >= refusedUntil_ && (isDue || !dialogue.idleCut())) {
    client.idle([this] { refusal_ = true; });
    since_ = dialogue.idling() ? now : since_;
  }
  if (!dialogue.idling() && isDue) {
    client.noop([](const Result<void>&) {});
    since_ = now;
  }
  return dialogue.idling();
}

IdleKeeper::Time IdleKeeper::nextMoment(const ImapDialogue& dialogue) const {
  return since_ + (dialogue.idling() ? Time(kIdleRenewal) : Time(kNoopInterval));
}

}  // namespace relaybird
