// SPDX-License-Identifier: MIT
// Senders break RFC 2047 in a few common ways, and all of them are read: words inside other words,
// characters and base64 groups split over two words, missing padding. Bytes of neighbouring words
// of one character set are therefore joined before they are converted. WordFinder searches each end
// mark once, so that a value with many beginnings and no end stays linear.
#include "message/text/encoded_word.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "message/text/charset.h"
#include "message/text/transfer_encoding.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

bool isLineBreak(char c) {
  return c == '\r' || c == '\n';
}

// The bytes of base64 digits without padding; an incomplete group yields the bytes that it has.
std::string decodedDigits(std::string digits) {
  digits.append((4 - digits.size() % 4) % 4, '=');
  return decodeTransfer(digits, TransferEncoding::kBase64);
}

// Whether the last group continues in the next word: no encoder ends a text within a byte.
// Two digits carry 12 bits, one byte and four bits more; three carry 18, two bytes and two bits
// more. The bits left over are 0 where a text really ends.
bool endsWithinByte(std::string_view digits) {
  const std::size_t extra = digits.size() % 4;
  if (extra < 2) {
    return extra == 1;
  }
  return (base64Value(digits.back()) & (extra == 2 ? 0x0F : 0x03)) != 0;
}

// RFC 2047 section 4.2: quoted-printable, and "_" for a blank whatever the character set.
std::string decodedQ(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '_') {
      escaped += "=20";
    } else {
      escaped += c;
    }
  }
  // The decoder drops an escape that is cut off at the end, but that "=" was meant literally.
  const auto cut = escaped.find('=', escaped.size() - std::min<std::size_t>(escaped.size(), 2));
  const std::string rest = cut == std::string::npos ? std::string() : escaped.substr(cut);
  escaped.resize(escaped.size() - rest.size());
  return decodeTransfer(escaped, TransferEncoding::kQuotedPrintable) + rest;
}

struct Word {
  std::string_view charset;
  bool base64 = false;
  std::string_view text;
  std::size_t end = 0;  // behind the closing "?="
};

// Finds the encoded words of one value. Positions asked for must not decrease, so that each end is
// searched for once, however many beginnings a hostile value has.
class WordFinder {
 public:
  explicit WordFinder(std::string_view value) : value_(value) {}

  // The word that begins with the "=?" at `start`.
  std::optional<Word> wordAt(std::size_t start) {
    // "=?charset*language?encoding?text?=" (RFC 2047 section 2, RFC 2231 section 5). The beginning
    // must be complete within a bounded length, so that a value of many "=?" is not searched again
    // for each.
    constexpr std::size_t kLongestCharset = 64;
    const auto head = value_.substr(start + 2, kLongestCharset + 3);
    const auto mark = head.find_first_of("? \t");
    if (mark == std::string_view::npos || head.size() < mark + 3 || head[mark] != '?' ||
        head[mark + 2] != '?') {
      return std::nullopt;
    }
    const char encoding = asciiLower(head[mark + 1]);
    if (encoding != 'b' && encoding != 'q') {
      return std::nullopt;
    }
    const std::size_t textStart = start + 2 + mark + 3;
    const std::size_t end = textEnd(textStart, encoding == 'b');
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    const auto label = head.substr(0, mark);
    return Word{label.substr(0, label.find('*')), encoding == 'b',
                value_.substr(textStart, end - textStart), end + 2};
  }

 private:
  std::size_t textEnd(std::size_t start, bool base64) {
    const std::size_t end = next(nextEnd_, "?=", start);
    if (end == std::string_view::npos) {
      return end;
    }
    // Base64 never contains "?". The Q encoding must not either, but some senders leave it.
    if (base64 && value_.find('?', start) != end) {
      return std::string_view::npos;
    }
    // A word without an end must not extend into the next one.
    return next(nextWord_, " =?", start) < end ? std::string_view::npos : end;
  }

  std::size_t next(std::optional<std::size_t>& known, std::string_view what,
                   std::size_t from) const {
    if (!known || *known < from) {
      known = value_.find(what, from);
    }
    return *known;
  }

  std::string_view value_;
  std::optional<std::size_t> nextEnd_;
  std::optional<std::size_t> nextWord_;
};

// Neighbouring encoded words of one character set, decoded together.
class WordRun {
 public:
  // RFC 2231 section 5 allows different languages for parts of one text; they do not divide a run.
  bool takes(const Word& word) const { return open_ && equalsAsciiCase(charset_, word.charset); }

  void add(const Word& word) {
    // Digits of an incomplete group wait for the next word only if that is base64 too.
    if (!word.base64 || !open_) {
      finishGroup();
    }
    open_ = true;
    charset_ = word.charset;
    if (word.base64) {
      addBase64(word.text);
    } else {
      bytes_ += decodedQ(word.text);
    }
  }

  // Ends the run and returns its text.
  std::string take() {
    finishGroup();
    open_ = false;
    return toUtf8(std::exchange(bytes_, {}), charset_);
  }

 private:
  void addBase64(std::string_view text) {
    for (const char c : text) {
      if (base64Value(c) >= 0) {
        digits_ += c;
      } else if (c == '=') {
        finishGroup();
      }
    }
    if (!endsWithinByte(digits_)) {
      finishGroup();
    }
  }

  void finishGroup() {
    if (!digits_.empty()) {
      bytes_ += decodedDigits(std::exchange(digits_, {}));
    }
  }

  bool open_ = false;
  std::string_view charset_;
  std::string bytes_;
  std::string digits_;  // of a base64 text not yet decoded
};

class HeaderDecoder {
 public:
  HeaderDecoder(std::string_view value, std::string_view rawCharset)
      : value_(value), rawCharset_(rawCharset), finder_(value) {}

  std::string run() {
    for (auto at = value_.find("=?"); at != std::string_view::npos;) {
      const auto word = finder_.wordAt(at);
      if (word) {
        addWord(*word, at);
      }
      at = value_.find("=?", word ? word->end : at + 2);
    }
    endRun();
    text_ += rawText(value_.substr(done_));
    return std::move(text_);
  }

 private:
  void addWord(const Word& word, std::size_t at) {
    // Blanks between two encoded words are not part of the text (RFC 2047 section 6.2).
    const auto between = value_.substr(done_, at - done_);
    const bool blank = between.find_first_not_of(" \t") == std::string_view::npos;
    if (!afterWord_ || !blank) {
      endRun();
      text_ += rawText(between);
    } else if (!run_.takes(word)) {
      endRun();
    }
    run_.add(word);
    afterWord_ = true;
    done_ = word.end;
  }

  std::string rawText(std::string_view bytes) const { return rawHeaderToUtf8(bytes, rawCharset_); }

  void endRun() {
    if (afterWord_) {
      text_ += run_.take();
    }
    afterWord_ = false;
  }

  std::string_view value_;
  std::string_view rawCharset_;
  WordFinder finder_;
  WordRun run_;
  std::string text_;
  std::size_t done_ = 0;  // the value is in text_ or run_ up to here
  bool afterWord_ = false;
};

}  // namespace

std::string rawHeaderToUtf8(std::string_view bytes, std::string_view rawCharset) {
  if (rawCharset.empty() || isValidUtf8(bytes)) {
    return toUtf8(bytes, "");
  }
  // The label comes from the body, whose set may read a header's ASCII as other characters (UTF-16,
  // UTF-7). It is used only where ASCII survives it.
  constexpr std::string_view kAscii = "Name +- ~~ <a@b.example>";
  const std::string text = toUtf8(std::string(kAscii).append(bytes), rawCharset);
  const bool fits = text.starts_with(kAscii) && text.find(kReplacementCharacter) == text.npos;
  return fits ? text.substr(kAscii.size()) : toUtf8(bytes, "");
}

// RFC 5322 section 2.2.3. A fold becomes one blank, whatever blank it had. A line break without a
// blank behind it, which only a damaged or hostile value has, becomes a blank too.
std::string unfoldHeader(std::string_view raw) {
  std::string out;
  out.reserve(raw.size());
  for (std::size_t at = 0; at < raw.size(); ++at) {
    if (!isLineBreak(raw[at])) {
      out += raw[at];
      continue;
    }
    while (at + 1 < raw.size() && isLineBreak(raw[at + 1])) {
      ++at;
    }
    out += ' ';
    if (at + 1 < raw.size() && isBlank(raw[at + 1])) {
      ++at;
    }
  }
  const auto first = out.find_first_not_of(" \t");
  if (first == std::string::npos) {
    return {};
  }
  return out.substr(first, out.find_last_not_of(" \t") - first + 1);
}

std::vector<Span> encodedWords(std::string_view value) {
  std::vector<Span> spans;
  WordFinder finder(value);
  for (auto at = value.find("=?"); at != std::string_view::npos;) {
    const auto word = finder.wordAt(at);
    if (word) {
      spans.push_back({at, word->end - at});
    }
    at = value.find("=?", word ? word->end : at + 2);
  }
  return spans;
}

// Unfolded first: RFC 2047 section 2 forbids folds within a word, but some senders fold there.
std::string decodeHeaderText(std::string_view raw, std::string_view rawCharset) {
  const std::string value = unfoldHeader(raw);
  return HeaderDecoder(value, rawCharset).run();
}

}  // namespace relaybird
