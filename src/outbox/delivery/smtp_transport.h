// SPDX-License-Identifier: MIT
// Delivery to an SMTP server: runs SmtpDialogue on connections of a Network.
//
// One connection serves a series; while many messages wait it is up to three, fewer if the server
// refuses more. A connection that the server ends after some messages is replaced, and the messages
// whose text it had not yet got go out on the next one. An answer that asks for less mail, a
// refused sign-in and a server that cannot be reached end the series.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>

#include "outbox/delivery/smtp_line.h"
#include "outbox/delivery/transport.h"
#include "platform/result.h"
#include "platform/system/network.h"

namespace relaybird {

/// For an answer that is due when the program ends: without it the message may go out twice. Many
/// providers examine a message for some seconds before they answer.
inline constexpr std::chrono::seconds kSmtpStopLimit{5};

/// How long a connection is kept for messages that may still come: a pass over the inbox may take
/// longer for a message than the server, and each connection costs a sign-in.
inline constexpr std::chrono::seconds kSmtpLinger{3};

inline constexpr int kSmtpMostConnections = 3;

class SmtpTransport : public Transport {
 public:
  /// How the user signs in. The calls come from the delivery's thread.
  struct SignInCalls {
    /// What to sign in with; may wait. On failure a sentence for the user.
    std::function<Result<SignIn>(std::stop_token)> get;
    /// What became of the sign-in. After refused(), get() must not give the same again.
    std::function<void()> refused;
    std::function<void()> accepted;
    /// The user wants what was refused to be tried again.
    std::function<void()> tryAgain;
  };
  struct Setting {
    MailServer server;
    std::optional<SignInCalls> signIn;  ///< nothing: without signing in
    NetworkMaker network;
    /// Gets each line of the protocol; may be empty.
    std::function<void(const ProtocolLine&)> trace = {};
  };

  explicit SmtpTransport(Setting setting) : setting_(std::move(setting)) {}

  void deliverAll(MessageFeed& feed, std::stop_token stop) override;
  void wake() override;
  void tryAgain() override;

 private:
  class Series;

  Setting setting_;
  int mostConnections_ = kSmtpMostConnections;
  /// Cleared when an answer got lost. A server that breaks down at commands which come together
  /// would otherwise take the same message at every try.
  bool mayPipeline_ = true;

  std::mutex mutex_;            ///< for the next one
  Network* serving_ = nullptr;  ///< of the series under way
};

}  // namespace relaybird
