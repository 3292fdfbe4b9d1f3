// SPDX-License-Identifier: MIT
// Whether the server of a connection still answers: how long it has said nothing, and how long one
// reply takes. One that owes nothing may be silent for as long as it likes.
#pragma once

#include <chrono>
#include <cstdint>

#include "stores/account/imap_client.h"

namespace relaybird {

/// How long the server may send nothing while it owes a reply.
inline constexpr std::chrono::seconds kSilenceLimit{30};
/// The same while it opens or searches the folder, which takes minutes where that is large.
inline constexpr std::chrono::minutes kSearchSilenceLimit{4};
/// How long it may take for one reply, although it sends something.
inline constexpr std::chrono::minutes kReplyLimit{5};
/// A connection that ends so soon after the server had to answer was probably ended over that.
inline constexpr std::chrono::seconds kClosedAtOnceWithin{5};

/// All times are of one steady clock.
class ReplyWatch {
 public:
  using Time = std::chrono::milliseconds;

  /// A conversation begins.
  void begin(Time now);
  /// The server has sent something.
  void received(Time now) { lastInput_ = now; }
  /// To be called after all that was received has been taken in, before deadlines are asked for.
  void look(ImapDialogue& dialogue, Time now);
  /// When the server counts as dead, if it goes on like this.
  Time deadline(const ImapClient& client) const;
  /// Whether a connection that ends now does so soon after the server had to answer.
  bool hadToAnswerAt(Time now) const { return now - lastReply_ < kClosedAtOnceWithin; }
  /// The last moment at which the server had answered all it was asked, or gave an answer.
  Time lastReply() const { return lastReply_; }

 private:
  Time lastInput_{0};
  Time lastReply_{0};
  std::uint64_t replies_ = 0;  // when it was last looked at
};

}  // namespace relaybird
