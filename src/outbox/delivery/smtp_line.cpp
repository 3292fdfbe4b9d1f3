// SPDX-License-Identifier: MIT
// A server is given time for each step, not for a session: sessions last as long as there is mail.
// What counts as progress is decided by the dialogue, so that a server that sends its answer byte
// by byte does not get more time by that.
#include "outbox/delivery/smtp_line.h"

#include <string>

namespace relaybird {

namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t kReceiveAtOnce = std::size_t{64} << 10;

Milliseconds limitOf(SmtpStep step) {
  switch (step) {
    case SmtpStep::kHello:
    case SmtpStep::kReset:
    case SmtpStep::kSender:
    case SmtpStep::kRecipient:
      return kSmtpEnvelopeLimit;
    case SmtpStep::kData:
      return kSmtpDataLimit;
    case SmtpStep::kText:
      return kSmtpTextLimit;
    case SmtpStep::kEnd:
      return kSmtpEndLimit;
    case SmtpStep::kQuit:
      return kSmtpQuitLimit;
    case SmtpStep::kNothing:
      break;
  }
  return kSmtpEndLimit;
}

std::string_view nameOf(SmtpStep step) {
  switch (step) {
    case SmtpStep::kHello:
      return "the greeting";
    case SmtpStep::kReset:
    case SmtpStep::kSender:
      return "the sender";
    case SmtpStep::kRecipient:
      return "a recipient";
    case SmtpStep::kData:
      return "the announced message";
    case SmtpStep::kText:
    case SmtpStep::kEnd:
      return "the message";
    case SmtpStep::kQuit:
    case SmtpStep::kNothing:
      break;
  }
  return "the farewell";
}

}  // namespace

// What has arrived counts before the end of the connection: many servers answer and hang up at
// once.
bool SmtpLine::receive(const SmtpDialogue::Setting& setting, Milliseconds now) {
  const bool opened = !dialogue && connection->state() == Connection::State::kOpen;
  if (opened) {
    dialogue.emplace(setting);
  }
  if (!dialogue) {
    return false;
  }
  std::string bytes;
  while (!dialogue->over() && connection->receive(bytes, kReceiveAtOnce) > 0) {
    dialogue->receive(bytes);
    bytes.clear();
  }
  if (connection->state() == Connection::State::kEnded) {
    const auto& failure = connection->failure();
    dialogue->lost(failure ? failure->words : "The connection was lost");
  }
  noteProgress(now);
  return opened;
}

// Until the system takes no more. Only then is it asked to tell when there is room again, as it
// would otherwise end each wait at once.
void SmtpLine::send(Milliseconds now) {
  if (!dialogue) {
    return;
  }
  while (!dialogue->over() && !dialogue->output().empty()) {
    const std::size_t sent = connection->send(dialogue->output());
    if (sent == 0) {
      break;
    }
    dialogue->sent(sent);
  }
  connection->wantToSend(!dialogue->over() && !dialogue->output().empty());
  noteProgress(now);
}

void SmtpLine::noteProgress(Milliseconds now) {
  const SmtpStep awaited = dialogue->awaited();
  if (dialogue->progress() != progress_ || awaited != step_) {
    progress_ = dialogue->progress();
    step_ = awaited;
    since_ = now;
  }
}

Milliseconds SmtpLine::timeLeft(Milliseconds now) const {
  return dialogue ? since_ + limitOf(step_) - now : Milliseconds::max();
}

void SmtpLine::expire(Milliseconds now) {
  if (dialogue && timeLeft(now) <= Milliseconds{0}) {
    dialogue->lost("It did not answer in time to " + std::string(nameOf(step_)));
  }
}

bool SmtpLine::over() const {
  return dialogue ? dialogue->over() : connection->state() == Connection::State::kEnded;
}

}  // namespace relaybird
