// SPDX-License-Identifier: MIT
// A text goes in quotes where its characters allow that, and as a literal otherwise: its length,
// and then its bytes. Where the server knows no literals of RFC 7888, a literal divides the command
// into pieces, each of which waits for the server's leave.
#include "stores/account/imap_command.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// RFC 7888 section 5.
constexpr std::size_t kShortLiteral = 4096;

// Quotes can carry more, but servers limit the length of a line (RFC 7162 section 4 asks for 8192).
constexpr std::size_t kLongestQuoted = 1000;

bool canQuote(std::string_view text) {
  return text.size() <= kLongestQuoted &&
         std::all_of(text.begin(), text.end(), [](char c) { return isPrintable(c) || c == ' '; });
}

// Base64 with "," instead of "/" and without padding (RFC 3501 section 5.1.3), of UTF-16.
class Utf7Run {
 public:
  void add(std::uint32_t unit) {
    bits_ = (bits_ << 16U) | unit;
    count_ += 16;
    while (count_ >= 6) {
      count_ -= 6;
      text_ += digit(bits_ >> count_);
    }
    bits_ &= (std::uint64_t{1} << count_) - 1;
  }

  // Empty if nothing was added.
  std::string take() {
    if (count_ > 0) {
      text_ += digit(bits_ << (6 - count_));
    }
    bits_ = 0;
    count_ = 0;
    return text_.empty() ? std::string() : '&' + std::exchange(text_, {}) + '-';
  }

 private:
  static char digit(std::uint64_t value) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";
    return kDigits[value & 0x3FU];
  }

  std::uint64_t bits_ = 0;
  unsigned count_ = 0;
  std::string text_;
};

}  // namespace

ImapCommand::ImapCommand(std::string words, ImapLiterals literals)
    : literals_(literals), pieces_{std::move(words)} {}

ImapCommand& ImapCommand::words(std::string_view words) {
  pieces_.back() += ' ';
  pieces_.back() += words;
  return *this;
}

ImapCommand& ImapCommand::text(std::string_view text) {
  if (!canQuote(text)) {
    return literal(text);
  }
  std::string& line = pieces_.back();
  line += " \"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      line += '\\';
    }
    line += c;
  }
  line += '"';
  return *this;
}

ImapCommand& ImapCommand::literal(std::string_view bytes) {
  const bool atOnce = literals_ == ImapLiterals::kAny ||
                      (literals_ == ImapLiterals::kShort && bytes.size() <= kShortLiteral);
  pieces_.back() += " {" + std::to_string(bytes.size()) + (atOnce ? "+}\r\n" : "}\r\n");
  if (!atOnce) {
    pieces_.emplace_back();
  }
  pieces_.back() += bytes;
  return *this;
}

std::string imapMailboxName(std::string_view name) {
  if (equalsAsciiCase(name, "INBOX")) {
    return "INBOX";
  }
  std::string result;
  Utf7Run run;
  while (!name.empty()) {
    const auto code = static_cast<std::uint32_t>(takeCharacter(name));
    if (code >= 0x20 && code < 0x7F) {
      result += run.take();
      result += static_cast<char>(code);
      result += code == '&' ? "-" : "";
    } else if (code > 0xFFFF) {
      run.add(0xD800U + ((code - 0x10000U) >> 10U));
      run.add(0xDC00U + ((code - 0x10000U) & 0x3FFU));
    } else {
      run.add(code);
    }
  }
  return result + run.take();
}

}  // namespace relaybird
