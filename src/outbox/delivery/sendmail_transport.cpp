// SPDX-License-Identifier: MIT
// Runs the command without a shell and judges its exit. "-i" keeps a line with a single dot from
// ending the message; "--" keeps an address from being read as an option.
#include "outbox/delivery/sendmail_transport.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "platform/paths.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// An exit status of sysexits.h. `everything`: it concerns the machine, not one message.
struct Status {
  int code;
  std::string_view meaning;
  bool permanent;
  bool everything;
};

constexpr std::array kStatuses = {
    Status{64, "the command was used wrongly", true, false},
    Status{65, "the message or an address is wrong or was refused", true, false},
    Status{66, "the message could not be read", true, false},
    Status{67, "a recipient is unknown", true, false},
    Status{68, "a host is unknown or cannot be reached", false, true},
    Status{69, "the service is not available for this message", true, false},
    Status{70, "internal error", true, false},
    Status{71, "system error", false, true},
    Status{72, "a system file is missing", false, true},
    Status{73, "a file cannot be made", false, true},
    Status{74, "input/output error", false, true},
    Status{75, "temporary failure", false, false},
    Status{76, "the other side broke the protocol", true, false},
    Status{77, "permission denied", false, true},
    Status{78, "something is wrong in its settings", false, true},
    // From a shell script that could not start the real command.
    Status{126, "cannot be started", false, true},
    Status{127, "not found", false, true},
};

// The output of the command, followed by how it ended.
std::string wordsOf(const CommandResult& result, const std::string& ending) {
  const std::string printed(trimmed(result.output));
  return printed.empty() ? ending : printed + " (" + ending + ")";
}

// The output is the only place where the command tells which address it refused.
Outcome outcomeOfStatus(const CommandResult& result, const std::string& program) {
  if (result.code == 0) {
    return {};
  }
  Outcome outcome;
  // Also for a status that is not in the table: a needless try costs less than a lost message.
  outcome.kind = Outcome::Kind::kTemporary;
  std::string ending = program + " ended with status " + std::to_string(result.code);
  for (const Status& status : kStatuses) {
    if (status.code != result.code) {
      continue;
    }
    ending += std::string(": ") + std::string(status.meaning);
    if (status.permanent) {
      outcome.kind = Outcome::Kind::kPermanent;
    }
    outcome.everything = status.everything;
  }
  outcome.words = wordsOf(result, ending);
  return outcome;
}

Outcome outcomeOfStartFailure(const CommandResult& result, const std::string& program) {
  const std::string words =
      program + " cannot be started: " + std::generic_category().message(result.code);
  // The recipients are more than the system takes for one command, at every try.
  if (result.code == E2BIG) {
    return {Outcome::Kind::kPermanent, words, false};
  }
  return {Outcome::Kind::kTemporary, words, true};
}

}  // namespace

// A full path: the search path of an unattended program can differ from the user's.
Result<std::vector<std::string>> splitCommand(std::string_view command) {
  std::vector<std::string> parts = commandWords(command);
  if (parts.empty()) {
    return Error{0, "The delivery command is empty"};
  }
  if (!isAbsolutePath(parts[0]) || command.find('\0') != command.npos) {
    return Error{0,
                 "The delivery command must begin with a full path, such as "
                 "/usr/sbin/sendmail: " +
                     std::string(command)};
  }
  return parts;
}

Outcome outcomeOf(const CommandResult& result, const std::string& program) {
  switch (result.end) {
    case CommandResult::End::kExited:
      return outcomeOfStatus(result, program);
    case CommandResult::End::kKilled:
      return {Outcome::Kind::kTemporary,
              wordsOf(result, program + " was ended by signal " + std::to_string(result.code)),
              false};
    case CommandResult::End::kTimedOut:
      return {Outcome::Kind::kTemporary, wordsOf(result, program + " did not end in time"), true};
    case CommandResult::End::kCancelled:
      return {Outcome::Kind::kCancelled, {}, false};
    case CommandResult::End::kNoInput:
      return textFailure({result.code, result.output});
    case CommandResult::End::kNotStarted:
      break;
  }
  return outcomeOfStartFailure(result, program);
}

void SingleTransport::deliverAll(MessageFeed& feed, std::stop_token stop) {
  while (const auto fed = feed.next()) {
    // For this message and the one before.
    feed.makeDurable();
    feed.report({{fed->number, deliver(fed->message, stop)}});
  }
  feed.makeDurable();
}

// The recipients are arguments and "-t" is not used: the command would read addresses out of the
// header by rules of its own.
Outcome SendmailTransport::deliver(const OutgoingMessage& message, std::stop_token stop) {
  std::vector<std::string> arguments = command_;
  const Envelope& envelope = message.envelope;
  // "-f" names the sender to whom failures are reported.
  arguments.insert(arguments.end(), {"-i", "-f", envelope.sender, "--"});
  arguments.insert(arguments.end(), envelope.recipients.begin(), envelope.recipients.end());
  const auto input = [text = OutgoingText::Reader(message.text)]() mutable { return text.next(); };
  return outcomeOf(runner_.run(arguments, input, timeLimit_, std::move(stop)), command_.front());
}

}  // namespace relaybird
