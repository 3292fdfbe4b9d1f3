// SPDX-License-Identifier: MIT
// One message on a connection to an SMTP server: what is said for it, what the server answers, and
// what that comes to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "outbox/delivery/smtp_reply.h"
#include "outbox/delivery/transport.h"

namespace relaybird {

/// What a server says that it can do, in its answer to EHLO.
struct SmtpOffer {
  bool pipelining = false;
  bool eightBitMime = false;
  bool smtpUtf8 = false;
  bool size = false;
  std::uint64_t sizeLimit = 0;  ///< bytes; 0: none is known
};
SmtpOffer readSmtpOffer(const SmtpReply& reply);

/// What the server said of `what`, such as "the message", and what to do where that is known.
std::string smtpWords(const std::string& server, const SmtpReply& reply, const std::string& what);

struct SmtpTransaction {
  enum class Phase {
    kEnvelope,
    kText,
    kTextDone,  ///< all of it is in the buffer, without the dot that ends it
    kEnding,    ///< the dot too
  };
  struct Recipient {
    std::string address;
    std::optional<SmtpReply> refusal;
  };

  explicit SmtpTransaction(FedMessage message);

  /// Why the server cannot be sent these addresses, in words for the user; nothing if it can.
  std::optional<std::string> addressObjection(const SmtpOffer& offer,
                                              const std::string& server) const;
  /// Goes over the text: what is told about it below is known only then. Fails as the text does.
  Result<void> measure();
  /// Why the server cannot be sent the text, as above.
  std::optional<std::string> textObjection(const SmtpOffer& offer, const std::string& server) const;
  std::string mailCommand(const SmtpOffer& offer) const;
  /// Whether the server has accepted a recipient so far.
  bool anyAccepted() const;
  /// What a message with these answers comes to; `verdict` is the one for its text, if there is
  /// one.
  Outcome outcome(const std::string& server, const SmtpReply* verdict) const;

  std::uint64_t number = 0;
  std::string sender;
  std::vector<Recipient> recipients;
  std::size_t answered = 0;          ///< recipients, from the first
  std::optional<SmtpReply> refusal;  ///< of the sender, or of DATA
  bool refusedData = false;
  bool utf8 = false;       ///< an address has letters outside of ASCII
  OutgoingText text;       ///< empty once it is in the buffer
  std::uint64_t size = 0;  ///< of the text, as the server counts it
  std::size_t digest = 0;  ///< of the text that was measured
  bool eightBit = false;
  bool unfit = false;  ///< the text has characters or lines that mail must not have
  std::optional<OutgoingText::Reader> textLeft;  ///< while the text is sent
  bool lineBegins = true;                        ///< in the text that is left
  Phase phase = Phase::kEnvelope;
  std::uint64_t endAt = 0;  ///< the text is complete after so many bytes of the connection
};

}  // namespace relaybird
