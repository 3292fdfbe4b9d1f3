// SPDX-License-Identifier: MIT
#include "stores/account/reply_watch.h"

#include <algorithm>

namespace relaybird {

void ReplyWatch::begin(Time now) {
  lastInput_ = lastReply_ = now;
  replies_ = 0;
}

void ReplyWatch::look(ImapDialogue& dialogue, Time now) {
  const bool owes = dialogue.owesReply();
  // Not the number of commands without one: a reply may make the next command be sent at once.
  if (!owes || dialogue.replies() != replies_) {
    lastReply_ = now;
  }
  if (!owes && dialogue.output().empty()) {
    lastInput_ = now;
  }
  replies_ = dialogue.replies();
}

ReplyWatch::Time ReplyWatch::deadline(const ImapClient& client) const {
  const Time silence = client.awaitsSlowReply() ? Time(kSearchSilenceLimit) : Time(kSilenceLimit);
  return std::min(lastInput_ + silence, lastReply_ + Time(kReplyLimit));
}

}  // namespace relaybird
