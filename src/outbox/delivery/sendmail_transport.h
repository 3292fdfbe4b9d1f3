// SPDX-License-Identifier: MIT
// Delivery by the machine's own mail system, through the command that every such system offers:
// "sendmail -i -f SENDER -- RECIPIENT...", the message on its standard input.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "outbox/delivery/transport.h"
#include "platform/result.h"
#include "platform/system/command_runner.h"

namespace relaybird {

/// RFC 5321, 4.5.3.2.6 gives a server ten minutes to answer for a message.
inline constexpr std::chrono::milliseconds kSendmailTimeLimit = std::chrono::minutes{10};

/// Splits a command's text at blanks. Fails with a sentence for the user unless it begins with an
/// absolute path. There is no quoting.
Result<std::vector<std::string>> splitCommand(std::string_view command);

/// What the command's end means for the message; sysexits.h names the exit statuses. Only statuses
/// that blame the message or its recipients are permanent (64 to 67, 69, 70, 76). Statuses that
/// blame the network, the machine or its settings, unknown statuses, a signal and an exceeded time
/// limit are temporary: the message is still delivered once the cause is fixed, and is given up
/// after some days otherwise.
Outcome outcomeOf(const CommandResult& result, const std::string& program);

class SendmailTransport : public SingleTransport {
 public:
  /// `command` as splitCommand() gives it.
  SendmailTransport(CommandRunner& runner, std::vector<std::string> command,
                    std::chrono::milliseconds timeLimit = kSendmailTimeLimit)
      : runner_(runner), command_(std::move(command)), timeLimit_(timeLimit) {}

  Outcome deliver(const OutgoingMessage& message, std::stop_token stop) override;

 private:
  CommandRunner& runner_;
  std::vector<std::string> command_;
  std::chrono::milliseconds timeLimit_;
};

}  // namespace relaybird
