// SPDX-License-Identifier: MIT
// The filters keep what they cannot decide yet until the next byte comes: a CR, a blank before a
// possible line end, the first characters of a possible escape. Nothing else is kept, so that
// content of any size passes through in little memory.
#include "message/writing/forward_output.h"

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kBlock = 65536;

// RFC 2045 sections 6.7 (5) and 6.8.
constexpr std::size_t kLine = 76;

// Whether these are digits and padding only. Without a branch in the loop, the compiler looks at
// many characters at once.
bool isBase64(std::string_view text) {
  unsigned foreign = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const unsigned letter = static_cast<unsigned char>((byte | 0x20U) - 'a') < 26U ? 1U : 0U;
    const unsigned digit = static_cast<unsigned char>(byte - '0') < 10U ? 1U : 0U;
    const unsigned sign =
        (byte == '+' ? 1U : 0U) | (byte == '/' ? 1U : 0U) | (byte == '=' ? 1U : 0U);
    foreign |= (letter | digit | sign) ^ 1U;
  }
  return foreign == 0;
}

}  // namespace

void ForwardOutput::add(std::string_view bytes) {
  if (!bytes.empty()) {
    atLineStart_ = bytes.back() == '\n';
  }
  pending_ += bytes;
  if (pending_.size() >= kBlock) {
    // After a failure nothing more is written, but the writers need not know.
    if (result_) {
      result_ = file_.write(pending_);
    }
    pending_.clear();
  }
}

void ForwardOutput::addWithPlainLineEnds(std::string_view block) {
  std::size_t copied = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    // A CR waits for the next byte, which may come with the next block.
    if (carriageReturn_ && block[i] != '\n') {
      add("\r");
    }
    carriageReturn_ = block[i] == '\r';
    if (carriageReturn_) {
      add(block.substr(copied, i - copied));
      copied = i + 1;
    }
  }
  add(block.substr(copied));
}

void ForwardOutput::endPlainLineEnds() {
  if (carriageReturn_) {
    add("\r");
    carriageReturn_ = false;
  }
}

void ForwardOutput::endLine() {
  if (!atLineStart_) {
    add("\n");
  }
}

void ForwardOutput::fail(const Error& error) {
  if (result_) {
    result_ = error;
  }
}

Result<void> ForwardOutput::finish() {
  if (result_ && !pending_.empty()) {
    result_ = file_.write(pending_);
  }
  pending_.clear();
  return result_;
}

// Nearly all content is in right lines, and these are copied whole: to look at single characters
// would cost more than all other work on a message with a large attachment.
void Base64Rewrapper::put(std::string_view block) {
  while (!block.empty()) {
    const std::size_t end = block.find('\n');
    const bool ends = end != std::string_view::npos;
    std::string_view line = block.substr(0, ends ? end : block.size());
    block.remove_prefix(line.size() + (ends ? 1 : 0));
    line.remove_suffix(line.ends_with('\r') && ends ? 1 : 0);
    if (ends && line_.empty() && !line.empty() && line.size() <= kLine && isBase64(line)) {
      out().add(line);
      out().add("\n");
      continue;
    }
    putSingly(line);
    if (ends) {
      endLine();
    }
  }
}

void Base64Rewrapper::putSingly(std::string_view line) {
  for (const char c : line) {
    if (isBase64({&c, 1})) {
      if (line_.size() == kLine) {
        endLine();
      }
      line_ += c;
    }
  }
}

void Base64Rewrapper::endLine() {
  if (!line_.empty()) {
    line_ += '\n';
    out().add(line_);
    line_.clear();
  }
}

void Base64Rewrapper::end() {
  out().add(line_);
  line_.clear();
}

void QuotedPrintableEncoder::put(std::string_view block) {
  for (const char c : block) {
    // A CR alone is content, not a line end, and must be escaped (RFC 2045 section 6.7 (4)).
    if (carriageReturn_ && c != '\n') {
      escaped('\r');
    }
    carriageReturn_ = c == '\r';
    if (c == '\n') {
      lineEnd();
    } else if (c != '\r') {
      literal(c);
    }
  }
}

void QuotedPrintableEncoder::end() {
  if (carriageReturn_) {
    escaped('\r');
    carriageReturn_ = false;
  }
  endLine({});
}

// A character as itself where quoted-printable allows that: visible ASCII except "=".
void QuotedPrintableEncoder::literal(char c) {
  if (c == ' ' || c == '\t') {
    // A blank at the end of a line must be escaped (RFC 2045 section 6.7 (3)); whether this is one
    // shows with the next byte.
    token({});
    blank_ = c;
  } else if (c > ' ' && c < '\x7f' && c != '=') {
    token({&c, 1});
  } else {
    escaped(c);
  }
}

void QuotedPrintableEncoder::escaped(char c) {
  std::string text;
  appendEscapedByte(text, c);
  token(text);
}

// Writes the waiting blank and then `text`.
void QuotedPrintableEncoder::token(std::string_view text) {
  const auto add = [this](std::string_view what) {
    // ">=" leaves room for the "=" of the soft line end.
    if (line_.size() + what.size() >= kLine) {
      line_ += "=\n";
      out().add(line_);
      line_.clear();
    }
    line_ += what;
  };
  if (blank_ != '\0') {
    add({&blank_, 1});
    blank_ = '\0';
  }
  add(text);
}

void QuotedPrintableEncoder::lineEnd() {
  endLine("\n");
}

void QuotedPrintableEncoder::softLineEnd() {
  if (!line_.empty() || blank_ != '\0') {
    token({});
    line_ += "=\n";
    out().add(line_);
    line_.clear();
  }
}

void QuotedPrintableEncoder::endLine(std::string_view end) {
  if (blank_ != '\0') {
    const char blank = blank_;
    blank_ = '\0';
    escaped(blank);
  }
  line_ += end;
  out().add(line_);
  line_.clear();
}

void QuotedPrintableRewrapper::put(std::string_view block) {
  for (const char c : block) {
    next(c);
  }
}

// escape_ is empty, "=", "=" with one digit, or "=" with blanks. Everything that cannot become an
// escape or a soft line end is damage, and is written as the text that readers show for it.
void QuotedPrintableRewrapper::next(char c) {
  if (carriageReturn_) {
    carriageReturn_ = false;
    if (c != '\n') {
      giveUp();
      escaped('\r');
    }
  }
  if (c == '\r') {
    carriageReturn_ = true;
  } else if (c == '\n') {
    // Blanks between a "=" and the line end were added in transport.
    const bool isSoft = !escape_.empty() && hexValue(escape_.back()) < 0;
    if (!isSoft) {
      giveUp();
    }
    escape_.clear();
    isSoft ? softLineEnd() : lineEnd();
  } else if (escape_.empty()
                 ? c == '='
                 : c != '=' && hexValue(escape_.back()) < 0 &&
                       (c == ' ' || c == '\t' || (escape_ == "=" && hexValue(c) >= 0))) {
    escape_ += c;
  } else if (escape_.size() == 2 && hexValue(escape_[1]) >= 0 && hexValue(c) >= 0) {
    escaped(static_cast<char>(hexValue(escape_[1]) * 16 + hexValue(c)));
    escape_.clear();
  } else {
    giveUp();
    if (c == '=') {
      escape_ = "=";
    } else {
      literal(c);
    }
  }
}

// Writes the characters of a possible escape as text.
void QuotedPrintableRewrapper::giveUp() {
  for (const char c : escape_) {
    literal(c);
  }
  escape_.clear();
}

void QuotedPrintableRewrapper::end() {
  giveUp();
  if (carriageReturn_) {
    escaped('\r');
    carriageReturn_ = false;
  }
  QuotedPrintableEncoder::end();
}

}  // namespace relaybird
