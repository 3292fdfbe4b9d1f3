// SPDX-License-Identifier: MIT
// An SMTP server for tests, as a script of ScriptedNetwork: takes messages by RFC 5321 and does
// what the test wants at any step.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/scripted_network.h"

namespace relaybird {

/// What the server does instead of the usual answer.
struct SmtpFault {
  std::string reply = {};  ///< with its code, without line end; "421" also closes; empty: none
  bool drop = false;       ///< the connection is lost
  bool hang = false;       ///< nothing is said or heard any more
  bool cut = false;        ///< the encryption ends
};

/// A step of the client that the server answers.
struct SmtpMoment {
  std::string verb;  ///< EHLO, HELO, MAIL, RCPT, DATA, END, RSET, QUIT
  std::string argument;
  std::string sender;          ///< of the transaction; with MAIL the new one
  std::size_t connection = 0;  ///< from 0
  std::size_t taken = 0;       ///< messages taken on this connection so far
  bool more = false;           ///< further bytes have come with it
};

struct TakenMessage {
  std::string sender;
  std::vector<std::string> recipients;
  std::string text;  ///< lines ended by CR LF, without the dots that SMTP adds
  std::size_t connection = 0;
};

/// The server, over all its connections.
struct SmtpServer {
  bool pipelining = true;
  std::vector<std::string> capabilities = {"SIZE 50000000", "8BITMIME", "SMTPUTF8",
                                           "ENHANCEDSTATUSCODES"};
  std::function<std::optional<SmtpFault>(const SmtpMoment&)> fault;
  /// Whether a message is taken although the answer for it is a drop, a hang or a cut.
  bool takesBeforeItFails = true;

  std::vector<TakenMessage> taken;
  std::vector<std::string> commands;    ///< of all connections
  std::vector<std::string> violations;  ///< of the protocol, by the client

  /// How many messages from that sender it has taken.
  std::size_t count(const std::string& sender) const;
  std::unique_ptr<ServerScript> script(std::size_t connection);
};

/// A network that somebody else owns.
class BorrowedNetwork : public Network {
 public:
  using OnSend = std::function<void(std::string_view bytes)>;
  /// `onSend`, which may be empty, is called before bytes are sent.
  explicit BorrowedNetwork(Network& network, OnSend onSend = {})
      : network_(network), onSend_(std::move(onSend)) {}
  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override;
  void wait(std::chrono::milliseconds limit) override { network_.wait(limit); }
  void wake() override { network_.wake(); }
  std::chrono::milliseconds steadyTime() const override { return network_.steadyTime(); }

 private:
  Network& network_;
  OnSend onSend_;
};

}  // namespace relaybird
