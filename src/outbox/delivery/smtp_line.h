// SPDX-License-Identifier: MIT
// A connection to an SMTP server with what is said on it, and how long the server may take.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "outbox/delivery/smtp_dialogue.h"
#include "platform/system/network.h"

namespace relaybird {

// How long a server may take, by RFC 5321, 4.5.3.2.
inline constexpr std::chrono::minutes kSmtpOpenLimit{5};  ///< up to the end of the sign-in
inline constexpr std::chrono::minutes kSmtpEnvelopeLimit{5};
inline constexpr std::chrono::minutes kSmtpDataLimit{2};
inline constexpr std::chrono::minutes kSmtpTextLimit{3};  ///< without accepting any of it
inline constexpr std::chrono::minutes kSmtpEndLimit{10};
/// For an answer to QUIT, which changes nothing.
inline constexpr std::chrono::seconds kSmtpQuitLimit{2};

/// The times are those of Network::steadyTime().
struct SmtpLine {
  using Milliseconds = std::chrono::milliseconds;

  SmtpLine(std::unique_ptr<Connection> opening, int secretNumber,
           std::shared_ptr<const bool> signsIn, Milliseconds now)
      : connection(std::move(opening)),
        secret(secretNumber),
        signedIn(std::move(signsIn)),
        since_(now) {}

  /// Takes what has arrived. True if the connection has just been opened; then `setting` is the
  /// dialogue's. Where the connection has ended, the dialogue learns why.
  bool receive(const SmtpDialogue::Setting& setting, Milliseconds now);
  /// Sends what is accepted without waiting.
  void send(Milliseconds now);
  /// How long the server may still take; may be negative. The opening is limited by the Network.
  Milliseconds timeLeft(Milliseconds now) const;
  /// Gives the connection up if that time is over.
  void expire(Milliseconds now);
  /// The connection is of no more use, or could not be opened.
  bool over() const;

  std::unique_ptr<Connection> connection;
  int secret;                            ///< which of the secrets it was opened with
  std::shared_ptr<const bool> signedIn;  ///< whether that secret was sent to the server
  std::optional<SmtpDialogue> dialogue;  ///< once it is open

 private:
  void noteProgress(Milliseconds now);

  Milliseconds since_;  ///< of the last progress
  std::uint64_t progress_ = 0;
  SmtpStep step_ = SmtpStep::kNothing;
};

}  // namespace relaybird
