// SPDX-License-Identifier: MIT
// The way out: what a delivery of the outbox needs from whatever takes messages off this machine.
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
    kCancelled,  ///< was told to stop before the message was taken
  };

  Kind kind = Kind::kDelivered;
  std::string words;  ///< why, in the words of the one who refused
  /// With kTemporary: nothing else would be taken now either, so that the rest need not be tried.
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
