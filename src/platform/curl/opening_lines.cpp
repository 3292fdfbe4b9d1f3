// SPDX-License-Identifier: MIT
// What the program sends is shown only where it is known to be harmless: a command of a short list.
// Everything else, above all the lines of the sign-in, is replaced. So a mechanism that nobody
// thought of cannot get a password into a log. What the server sends is shown except where it
// repeats something secret; servers that quote the command in their error do so.
#include "platform/curl/opening_lines.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kHidden = "***";
// A server that talks without end must not fill a log; real ones send less than 40 lines.
constexpr std::size_t kMostLines = 500;
constexpr std::size_t kMostBytes = 600;

constexpr std::array<std::string_view, 9> kHarmless{
    "CAPABILITY", "EHLO", "HELO", "ID", "LOGOUT", "NOOP", "QUIT", "RSET", "STARTTLS"};

std::string_view takeWord(std::string_view& text) {
  const auto end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

// One line of well-formed UTF-8 without control characters, cut where it is too long.
std::string printable(std::string_view text) {
  std::string line;
  while (!text.empty() && line.size() < kMostBytes) {
    const std::size_t length = firstCharacter(text).length;
    if (length == 1 && (text.front() < ' ' || text.front() == '\x7f')) {
      line += text.front() == '\t' ? ' ' : '?';
    } else if (length == 0) {
      line += '?';
    } else {
      line += text.substr(0, length);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return line;
}

std::optional<std::string> base64Decoded(std::string_view text) {
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : trimmedEnd(text, "=")) {
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto value = kAlphabet.find(c);
    if (value == std::string_view::npos) {
      return std::nullopt;
    }
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>((bits >> static_cast<unsigned>(count)) & 0xFFU);
    }
  }
  return bytes;
}

template <class Use>
void forEachLine(std::string_view text, Use use) {
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    use(trimmedEnd(text.substr(0, end), "\r"));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

OpeningLines::OpeningLines(MailProtocol protocol, const Secret& secret,
                           std::function<void(ProtocolLine)> show)
    : protocol_(protocol), show_(std::move(show)) {
  hide(secret.bytes());
}

// Hiding a very short text would make the answers unreadable, and tells nobody that it is secret.
void OpeningLines::hide(std::string_view secret) {
  if (secret.size() >= 4) {
    secrets_.emplace_back(secret);
  }
}

void OpeningLines::show(bool sent, std::string text) {
  if (show_ && shown_ < kMostLines) {
    ++shown_;
    show_({.sent = sent, .text = std::move(text)});
  }
}

void OpeningLines::sent(std::string_view text) {
  forEachLine(text,
              [this](std::string_view line) { show(true, withoutSecrets(shownCommand(line))); });
}

std::string OpeningLines::shownCommand(std::string_view line) {
  std::string_view rest = line;
  std::string_view tag;
  if (protocol_ == MailProtocol::kImap && !exchanging_) {
    // Each command of IMAP begins with a tag (RFC 9051, 2.2.1).
    tag = takeWord(rest);
  }
  const std::string command = exchanging_ ? "" : asciiUpper(takeWord(rest));
  if (std::find(kHarmless.begin(), kHarmless.end(), command) != kHarmless.end()) {
    lastCommand_ = command;
    return std::string(line);
  }
  std::string shown;
  if (command == "AUTH" || command == "AUTHENTICATE" || command == "LOGIN") {
    lastCommand_ = command;
    signInSent_ = true;
    exchanging_ = true;
    shown = tag.empty() ? command : std::string(tag) + ' ' + command;
    if (command != "LOGIN") {
      // The mechanism is no secret; the initial response behind it is.
      shown += ' ';
      shown += takeWord(rest);
    }
    shown += rest.empty() ? "" : " ";
  } else {
    rest = line;
  }
  if (!rest.empty()) {
    // The server may repeat the line in its answer, and it may be base64 of the password.
    hide(rest);
    shown += kHidden;
  }
  return shown;
}

void OpeningLines::received(std::string_view text) {
  forEachLine(text, [this](std::string_view line) {
    greeted_ = true;
    if (protocol_ == MailProtocol::kSmtp) {
      noteSmtpReply(line);
    } else {
      noteImapResponse(line);
    }
    show(false, withoutSecrets(line));
  });
}

// Lines of one reply are joined, without the code that each of them repeats (RFC 5321, 4.2.1).
void OpeningLines::noteSmtpReply(std::string_view line) {
  const bool coded = line.size() >= 3 &&
                     std::all_of(line.begin(), line.begin() + 3, [](char c) { return isDigit(c); });
  // A challenge of the sign-in (RFC 4954, 4).
  if (coded && line.starts_with("334")) {
    noteChallenge(line.substr(std::min<std::size_t>(line.size(), 4)));
    return;
  }
  const std::string text = withoutSecrets(line.substr(std::min<std::size_t>(line.size(), 4)));
  if (!coded) {
    answer_ = withoutSecrets(line);
  } else if (replyContinues_) {
    answer_ += ' ' + text;
  } else {
    answer_ = std::string(line.substr(0, 3)) + (line.size() > 3 ? ' ' + text : "");
  }
  answer_.resize(withoutBrokenEnd(std::string_view(answer_).substr(0, kMostBytes)).size());
  replyContinues_ = coded && line.size() > 3 && line[3] == '-';
  exchanging_ = exchanging_ && replyContinues_;
}

void OpeningLines::noteImapResponse(std::string_view line) {
  if (line.starts_with('+')) {
    noteChallenge(line.substr(std::min<std::size_t>(line.size(), 2)));
    return;
  }
  std::string_view rest = line;
  const std::string_view tag = takeWord(rest);
  std::string_view status = rest;
  const std::string word = asciiUpper(takeWord(status));
  const bool isStatus =
      word == "OK" || word == "NO" || word == "BAD" || word == "BYE" || word == "PREAUTH";
  if (tag != "*") {
    exchanging_ = false;
    answer_ = withoutSecrets(isStatus ? rest : line);
  } else if (word == "BYE" || (isStatus && !signInSent_)) {
    // Before the sign-in the greeting counts, after it only the farewell: untagged OK lines can
    // come at any time.
    answer_ = withoutSecrets(rest);
  }
}

// A server that refuses a token says why in a challenge, in JSON (RFC 7628, 3.2.2).
void OpeningLines::noteChallenge(std::string_view encoded) {
  const auto text = base64Decoded(encoded);
  if (text && text->starts_with('{')) {
    answer_ = withoutSecrets(*text);
  }
}

bool OpeningLines::busy() const {
  if (protocol_ == MailProtocol::kSmtp) {
    // 432 asks the user to change the password (RFC 4954, 6).
    // A greeting of 554 turns every client away (RFC 5321, 3.1).
    const bool never = answer_.starts_with('5') && lastCommand_.empty();
    return never || (answer_.starts_with('4') && !answer_.starts_with("432"));
  }
  const std::string answer = asciiUpper(answer_);
  // RFC 5530; the last one is Gmail's.
  constexpr std::array<std::string_view, 5> kForNow{"[UNAVAILABLE]", "[INUSE]", "[SERVERBUG]",
                                                    "[LIMIT]", "TOO MANY SIMULTANEOUS CONNECTIONS"};
  return answer.starts_with("BYE") ||
         (answer.starts_with("NO") &&
          std::any_of(kForNow.begin(), kForNow.end(), [&](std::string_view words) {
            return answer.find(words) != std::string::npos;
          }));
}

std::string OpeningLines::withoutSecrets(std::string_view text) const {
  std::string shown(text);
  for (const auto& secret : secrets_) {
    const std::string_view hide = secret.bytes();
    for (auto at = shown.find(hide); at != std::string::npos; at = shown.find(hide, at)) {
      shown.replace(at, hide.size(), kHidden);
      at += kHidden.size();
    }
  }
  return printable(shown);
}

}  // namespace relaybird
