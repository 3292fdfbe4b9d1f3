// SPDX-License-Identifier: MIT
#include "stores/account/connect_failure_text.h"

#include <string_view>

namespace relaybird {
namespace {

std::string_view stepWords(ConnectStep step, std::string_view ready) {
  switch (step) {
    case ConnectStep::kResolve:
      return "looking up its address";
    case ConnectStep::kConnect:
      return "connecting";
    case ConnectStep::kEncrypt:
      return "encrypting the connection";
    case ConnectStep::kSignIn:
      return "signing in";
    case ConnectStep::kReady:
      break;
  }
  return ready;
}

}  // namespace

std::string connectFailureText(const MailServer& server, const ConnectFailure& failure,
                               const std::string& ready) {
  std::string text = "Mail server " + server.host + ", " +
                     std::string(stepWords(failure.step, ready)) + ": " + failure.words;
  if (!failure.answer.empty()) {
    text += ". The server said: " + failure.answer;
  }
  return text;
}

}  // namespace relaybird
