// SPDX-License-Identifier: MIT
// Any bytes as the answers of an SMTP server. The first byte decides how they are cut. What is read
// from them must not depend on the cuts, and each message must come to exactly one end.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "outbox/delivery/smtp_dialogue.h"
#include "outbox/delivery/smtp_words.h"

namespace {

using namespace relaybird;

// All replies as one text, and what ended them.
std::string readInPieces(std::string_view bytes, std::size_t piece) {
  SmtpReplyReader reader;
  std::string all;
  while (true) {
    while (const auto reply = reader.take()) {
      all += "[" + std::to_string(reply->code) + "|" + reply->enhanced;
      for (const std::string& line : reply->lines) {
        RB_CHECK(line.size() <= SmtpReplyReader::kLongestLine);
        all += "|" + line;
      }
      all += "]";
      RB_CHECK(reply->code >= 200 && reply->code < 600 && !reply->lines.empty());
      (void)smtpHint(*reply);
      (void)asksToSlowDown(*reply);
    }
    if (bytes.empty()) {
      break;
    }
    reader.add(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
  }
  return all + reader.nonsense().value_or("");
}

// What becomes of messages on a connection where the server says this.
void converse(std::string_view bytes, std::size_t piece) {
  constexpr std::uint64_t kMessages = 6;
  SmtpDialogue dialogue({.server = "server", .trace = [](const ProtocolLine&) {}});
  std::map<std::uint64_t, int> ends;
  std::uint64_t given = 0;
  std::size_t delivered = 0;
  const auto collect = [&] {
    for (const Verdict& verdict : dialogue.takeVerdicts()) {
      ++ends[verdict.number];
      delivered += verdict.outcome.kind == Outcome::Kind::kDelivered ? 1 : 0;
      RB_CHECK(verdict.outcome.refused.size() <= 2);
    }
    for (const std::uint64_t number : dialogue.takeUnsent()) {
      ++ends[number];
    }
  };
  while (true) {
    while (dialogue.wantsMessage()) {
      if (given < kMessages) {
        std::vector<std::string> to = {"one@example.org", "two@example.org"};
        to.resize(1 + given % 2);
        ++given;
        dialogue.give(
            {given, {{"ann@example.org", to}, "s", OutgoingText("Subject: s\n\n.\ntext\n")}});
      } else if (!dialogue.idle()) {
        dialogue.noMessage();
      } else {
        dialogue.quit();
      }
    }
    dialogue.sent(dialogue.output().size());
    collect();
    if (dialogue.over() || bytes.empty()) {
      break;
    }
    dialogue.receive(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
  }
  dialogue.lost("over");
  collect();
  RB_CHECK(dialogue.over() && dialogue.idle());
  RB_CHECK(delivered == dialogue.accepted());
  RB_CHECK(ends.size() == given);
  for (const auto& [number, times] : ends) {
    RB_CHECK(times == 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t piece = 1 + data[0] % 32;
  RB_CHECK(readInPieces(bytes, piece) == readInPieces(bytes, bytes.size() + 1));
  converse(bytes, piece);
  // A reply at a time, as an honest server answers.
  converse(bytes, 1);
  return 0;
}
