// SPDX-License-Identifier: MIT
#include "message/writing/content_filter.h"

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// RFC 2045 sections 6.7 (5) and 6.8.
constexpr std::size_t kLine = 76;

bool isBase64(char c) {
  return base64Value(c) >= 0 || c == '=';
}

}  // namespace

void Base64Rewrapper::put(std::string_view block) {
  for (const char c : block) {
    const bool belongs = isBase64(c);
    if (!line_.empty() && (c == '\n' || (belongs && line_.size() == kLine))) {
      line_ += '\n';
      out().add(line_);
      line_.clear();
    }
    if (belongs) {
      line_ += c;
    }
  }
}

void Base64Rewrapper::end() {
  out().add(line_);
  line_.clear();
}

void QuotedPrintableEncoder::put(std::string_view block) {
  for (const char c : block) {
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

void QuotedPrintableEncoder::literal(char c) {
  if (c == ' ' || c == '\t') {
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

// Writes the blank that waits, and then `text`.
void QuotedPrintableEncoder::token(std::string_view text) {
  const auto add = [this](std::string_view what) {
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
    // Blanks between a "=" and the line end were put there on the way.
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

// What looked like an escape is text.
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
