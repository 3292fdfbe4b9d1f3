// SPDX-License-Identifier: MIT
// Bytes become lines, and lines replies: a reply ends with the line that has no "-" after its code
// (RFC 5321, 4.2.1). After a line that is none, or one beyond the limits, nothing more is read,
// because what follows could not be attributed to a command. Only before the first reply a few such
// lines are skipped.
#include "outbox/delivery/smtp_reply.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kLongestWords = 2000;

struct ReplyLine {
  int code = 0;
  bool last = true;
  std::string_view text;
};

// Strict in what decides the meaning, the digits and the mark that more follows, and lenient in the
// rest.
std::optional<ReplyLine> parse(std::string_view line) {
  // Servers may leave out the blank and the text (RFC 5321, 4.2).
  if (line.size() < 3 || !isDigit(line[0]) || !isDigit(line[1]) || !isDigit(line[2]) ||
      line[0] < '2' || line[0] > '5') {
    return std::nullopt;
  }
  ReplyLine parsed;
  parsed.code = (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
  line.remove_prefix(3);
  if (!line.empty()) {
    if (line[0] != ' ' && line[0] != '-') {
      return std::nullopt;
    }
    parsed.last = line[0] == ' ';
    line.remove_prefix(1);
  }
  parsed.text = line;
  return parsed;
}

// The number of digits, 1 to 3, that the text begins with and `end` follows; 0 if it does not.
std::size_t numberBefore(std::string_view text, std::string_view ends) {
  std::size_t digits = 0;
  while (digits < text.size() && isDigit(text[digits])) {
    ++digits;
  }
  const bool ended =
      digits == text.size() ? ends.empty() || ends == " " : ends.find(text[digits]) != ends.npos;
  return digits <= 3 && ended ? digits : 0;
}

std::string enhancedCode(std::string_view text, int code) {
  // Its class is that of the reply (RFC 2034, 4).
  if (text.size() < 5 || text[0] != "0123456"[code / 100] || text[1] != '.') {
    return {};
  }
  const std::size_t subject = numberBefore(text.substr(2), ".");
  if (subject == 0) {
    return {};
  }
  const std::size_t detail = numberBefore(text.substr(3 + subject), " ");
  return detail == 0 ? std::string() : std::string(text.substr(0, 3 + subject + detail));
}

}  // namespace

std::string SmtpReply::words() const {
  std::string text = std::to_string(code);
  char before = ' ';
  for (const std::string& line : lines) {
    if (!line.empty()) {
      text += std::exchange(before, '\n') + line;
    }
  }
  if (text.size() > kLongestWords) {
    text.resize(kLongestWords);
    text += "...";
  }
  return text;
}

// The limits keep a server that never ends a line or a reply from filling the memory.
void SmtpReplyReader::add(std::string_view bytes) {
  while (!bytes.empty() && !nonsense_) {
    const std::size_t end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    if (line_.size() + part.size() > kLongestLine) {
      return fail("a line of more than " + std::to_string(kLongestLine) + " bytes");
    }
    line_ += part;
    if (end == bytes.npos) {
      return;
    }
    bytes.remove_prefix(end + 1);
    if (line_.ends_with('\r')) {
      line_.pop_back();
    }
    readLine(line_);
    line_.clear();
  }
}

void SmtpReplyReader::readLine(std::string_view line) {
  const auto parsed = parse(line);
  const bool fits = parsed && (reply_.code == 0 || reply_.code == parsed->code);
  if (!fits) {
    // What came together with the end of the sign-in may be cut anywhere.
    if (first_ && reply_.code == 0 && ++skipped_ <= kMostSkipped) {
      return;
    }
    return fail(line.substr(0, 200));
  }
  size_ += line.size();
  if (size_ > kLongestReply) {
    return fail("a reply of more than " + std::to_string(kLongestReply) + " bytes");
  }
  // Servers repeat the enhanced code on each line, or give it on the first one alone.
  if (reply_.lines.empty()) {
    reply_.code = parsed->code;
    reply_.enhanced = enhancedCode(parsed->text, parsed->code);
  }
  reply_.lines.emplace_back(parsed->text);
  if (parsed->last) {
    complete_.push_back(std::exchange(reply_, {}));
    size_ = 0;
    first_ = false;
  }
}

void SmtpReplyReader::fail(std::string_view what) {
  nonsense_ = std::string(what);
}

std::optional<SmtpReply> SmtpReplyReader::take() {
  if (complete_.empty()) {
    return std::nullopt;
  }
  SmtpReply reply = std::move(complete_.front());
  complete_.pop_front();
  return reply;
}

std::optional<std::string> SmtpReplyReader::nonsense() const {
  // Replies that came before it count first.
  return complete_.empty() ? nonsense_ : std::nullopt;
}

}  // namespace relaybird
