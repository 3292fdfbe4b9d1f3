// SPDX-License-Identifier: MIT
// What is done on a connection that nothing else is wanted of: the server is asked to report
// changes by itself (IDLE, RFC 2177), again and again, and where it does not know how, a NOOP keeps
// the connection.
#pragma once

#include <chrono>

#include "stores/account/imap_client.h"

namespace relaybird {

/// IDLE is repeated so often. Servers end a connection after 30 minutes (RFC 2177), and many
/// routers forget one after ten.
inline constexpr std::chrono::minutes kIdleRenewal{9};
/// A server that has refused IDLE, or has not answered it, is not asked again for so long.
inline constexpr std::chrono::hours kIdleRefusalLife{24};
/// Where IDLE is not offered, the connection is kept by a NOOP so often.
inline constexpr std::chrono::minutes kNoopInterval{4};

/// All times are of one steady clock.
class IdleKeeper {
 public:
  using Time = std::chrono::milliseconds;

  /// A command was sent, or the folder opened.
  void used(Time now) { since_ = now; }
  /// The server has not taken IDLE.
  void refused(Time now) { refusedUntil_ = now + Time(kIdleRefusalLife); }
  /// Sends what is due until `soon`, which is `now` or later. The client must owe no reply, and
  /// this object must outlive it. Returns whether the server reports changes by itself.
  bool keep(ImapClient& client, Time now, Time soon);
  /// When keep() has something to do next.
  Time nextMoment(const ImapDialogue& dialogue) const;

 private:
  Time since_{0};  // of the last command, or of IDLE
  Time refusedUntil_{0};
  bool refusal_ = false;  // has come since the last keep()
};

}  // namespace relaybird
