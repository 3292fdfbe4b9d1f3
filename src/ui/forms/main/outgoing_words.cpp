// SPDX-License-Identifier: MIT
#include "ui/forms/main/outgoing_words.h"

namespace relaybird {

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::vector<std::string> whatHoldsBack(const OutgoingState& state) {
  if (state.outbox.empty()) {
    return {};
  }
  std::vector<std::string> sentences;
  if (!state.delivers) {
    sentences.push_back("No delivery command is set: forwards wait in the outbox " + state.outbox +
                        ".");
  }
  for (const std::string& address : state.stopped) {
    sentences.push_back("Forwarding to " + address +
                        " is stopped, because too much has left for it within an hour; it goes on "
                        "when you choose Try Again Now.");
  }
  if (state.kept > 0) {
    sentences.push_back(counted(state.kept, "message was", "messages were") +
                        " refused for now and kept for a later try.");
  }
  return sentences;
}

bool hasProblem(const OutgoingState& before, const OutgoingState& after) {
  return after.refused > before.refused || after.kept > 0 || !after.stopped.empty();
}

std::string asOneText(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) {
    text += (text.empty() ? "" : " ") + sentence;
  }
  return text;
}

std::string whatBecame(const OutgoingState& before, const OutgoingState& after,
                       std::size_t waiting) {
  const std::size_t refused = after.refused - before.refused;
  std::string text = counted(after.left - before.left, "message has left", "messages have left") +
                     " this computer, ";
  if (refused > 0) {
    text += counted(refused, "was", "were") + " refused for good, ";
  }
  if (waiting == 0) {
    return text + "and none waits.";
  }
  return text + "and " + counted(waiting, "waits", "wait") + " in the outbox " + after.outbox + ".";
}

}  // namespace relaybird
