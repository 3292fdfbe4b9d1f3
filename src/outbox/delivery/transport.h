// SPDX-License-Identifier: MIT
// The interface that the delivery of the outbox needs: it takes messages off this machine.
#pragma once

#include <stop_token>
#include <string>
#include <vector>

namespace relaybird {

/// Whom a message comes from and goes to, as bare addresses (RFC 5321 mailboxes without brackets).
struct Envelope {
  std::string sender;
  std::vector<std::string> recipients;  ///< each once
};

/// A message ready to leave.
struct OutgoingMessage {
  Envelope envelope;
  std::string subject;  ///< for people: UTF-8 on one line
  std::string bytes;    ///< the whole message, lines ended by LF, without Bcc
};

struct Outcome {
  enum class Kind {
    kDelivered,
    kTemporary,  ///< worth another try later
    kPermanent,  ///< this message will never be taken
    kCancelled,  ///< stopped on request before the message was taken
  };

  Kind kind = Kind::kDelivered;
  std::string words;  ///< the reason, in the words of the command or server
  /// With kTemporary: no other message would be accepted now either, so the rest is not tried.
  bool everything = false;
};

class Transport {
 public:
  virtual ~Transport() = default;
  /// Hands the message over to all its recipients or to none. Blocks; ends soon after `stop` was
  /// requested. Never throws. Called on the delivery's own thread.
  virtual Outcome deliver(const OutgoingMessage& message, std::stop_token stop) = 0;
};

}  // namespace relaybird
