// SPDX-License-Identifier: MIT
// The lines that are exchanged while a connection is opened: the greeting, the capabilities, the
// change to encryption and the sign-in. They are shown without what is secret, and tell what the
// server has answered.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/network.h"
#include "platform/system/secret.h"

namespace relaybird {

/// One thread.
class OpeningLines {
 public:
  /// `secret` is hidden wherever the server repeats it. `show`, which may be empty, gets each line.
  OpeningLines(MailProtocol protocol, const Secret& secret, std::function<void(ProtocolLine)> show);

  /// One or more lines, with or without a line end.
  void sent(std::string_view text);
  void received(std::string_view text);

  /// The last answer of the server in one line, without secrets and control characters, at most a
  /// few hundred characters: a whole reply of SMTP ("535 5.7.8 ..."), the last status of IMAP
  /// without its tag ("NO [AUTHENTICATIONFAILED] ..."), or the reason that a refused token got.
  const std::string& answer() const { return answer_; }
  /// Whether the last answer means that the server turns clients away for now.
  bool busy() const;
  /// Whether the server has said anything.
  bool greeted() const { return greeted_; }
  /// Whether the last command was the one that starts the encryption.
  bool startTlsSent() const { return lastCommand_ == "STARTTLS"; }
  /// Whether a command of the sign-in has been sent.
  bool signInSent() const { return signInSent_; }

 private:
  std::string shownCommand(std::string_view line);
  void noteSmtpReply(std::string_view line);
  void noteImapResponse(std::string_view line);
  void noteChallenge(std::string_view encoded);
  void hide(std::string_view secret);
  std::string withoutSecrets(std::string_view text) const;
  void show(bool sent, std::string text);

  MailProtocol protocol_;
  std::vector<Secret> secrets_;
  std::function<void(ProtocolLine)> show_;
  std::size_t shown_ = 0;
  std::string lastCommand_;
  std::string answer_;
  bool replyContinues_ = false;  // the next line belongs to the same reply of SMTP
  bool greeted_ = false;
  bool exchanging_ = false;  // the sign-in has begun and is not answered yet
  bool signInSent_ = false;
};

}  // namespace relaybird
