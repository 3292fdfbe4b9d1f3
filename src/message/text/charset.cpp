// SPDX-License-Identifier: MIT
// Conversion is iconv's; the decisions around it are ours, because labels in mail are wrong so
// often. A label is overruled where the text is valid UTF-8, which other text hardly ever is by
// accident. Bytes that iconv rejects become U+FFFD, and the length skipped depends on the set, so
// that the characters behind stay readable.
#include "message/text/charset.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>

#include "message/text/charset_label.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr const char* kWindows1252 = "CP1252";

std::uint8_t byteAt(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

// The offset of the first byte from `from` on that is not part of well-formed UTF-8; the size of
// the text where there is none. ASCII, which is most of all mail, is skipped without decoding.
std::size_t firstBad(std::string_view bytes, std::size_t from) {
  while (from < bytes.size()) {
    const std::size_t length = isAscii(bytes[from]) ? 1 : firstCharacter(bytes.substr(from)).length;
    if (length == 0) {
      break;
    }
    from += length;
  }
  return from;
}

// One iconv descriptor for one text: it keeps the shift state of the character set between calls.
class Converter {
 public:
  explicit Converter(const char* from) : descriptor_(iconv_open("UTF-8", from)) {}
  ~Converter() {
    if (*this) {
      iconv_close(descriptor_);
    }
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  explicit operator bool() const { return descriptor_ != iconv_t(-1); }

  // Converts until the input ends or reaches an invalid sequence; `input` begins with that then.
  void run(std::string_view& input, std::string& output) {
    char* from =
        const_cast<char*>(input.data());  // iconv's signature only: it does not write there
    std::size_t left = input.size();
    while (left > 0 && step(&from, &left, output) == E2BIG) {
    }
    // EILSEQ and EINVAL (a sequence cut off at the end of the text) both end the loop.
    input.remove_prefix(input.size() - left);
  }

  // Writes a character that the converter holds back until it has seen the next one.
  void finish(std::string& output) { step(nullptr, nullptr, output); }

 private:
  int step(char** from, std::size_t* left, std::string& output) {
    std::array<char, 4096> buffer;
    char* to = buffer.data();
    std::size_t room = buffer.size();
    const std::size_t converted = iconv(descriptor_, from, left, &to, &room);
    const int error = converted == static_cast<std::size_t>(-1) ? errno : 0;
    output.append(buffer.data(), buffer.size() - room);
    return error;
  }

  iconv_t descriptor_;
};

// How many bytes at the front of the input belong to the invalid sequence. In sets of two bytes a
// lead byte with an eighth-bit trail is a character that the set does not have. An ASCII byte
// behind a lead byte is kept, because a stray lead byte must not swallow a "<" or a quote.
std::size_t skipLength(std::string_view input, SkipBy skip) {
  std::size_t length = 1;
  if (skip == SkipBy::kUnit2) {
    length = 2;
  }
  if (skip == SkipBy::kUnit4) {
    length = 4;
  }
  if (skip == SkipBy::kPair && input.size() > 1) {
    const auto lead = byteAt(input, 0);
    if (lead > 0x80 && lead < 0xFF && byteAt(input, 1) >= 0x80) {
      length = 2;
    }
  }
  return std::min(length, input.size());
}

struct Conversion {
  std::string text;
  bool clean = true;  // nothing had to be replaced
};

// Empty where the C library does not have the set.
std::optional<Conversion> convert(std::string_view bytes, const char* from, SkipBy skip) {
  Converter converter(from);
  if (!converter) {
    return std::nullopt;
  }
  Conversion result;
  result.text.reserve(bytes.size() + bytes.size() / 2);
  for (;;) {
    converter.run(bytes, result.text);
    if (bytes.empty()) {
      break;
    }
    result.clean = false;
    const std::size_t length = skipLength(bytes, skip);
    const std::size_t marks = skip == SkipBy::kPair ? length : 1;
    for (std::size_t i = 0; i < marks; ++i) {
      result.text += kReplacementCharacter;
    }
    bytes.remove_prefix(length);
  }
  converter.finish(result.text);
  return result;
}

// Whether a text that its own set cannot convert is UTF-8. ASCII alone proves nothing.
bool isSurelyUtf8(std::string_view bytes) {
  return !isAscii(bytes) && isValidUtf8(bytes);
}

std::string fromIso2022Jp(std::string_view bytes);

// For text without a usable label. ISO-2022-JP has ASCII bytes only, so it would pass as UTF-8 and
// is asked for first. Every byte is something in windows-1252, so that comes last.
std::string guess(std::string_view bytes) {
  const bool shiftsIntoJapanese = bytes.find("\x1B$B") != std::string_view::npos ||
                                  bytes.find("\x1B$@") != std::string_view::npos;
  if (shiftsIntoJapanese && isAscii(bytes)) {
    return fromIso2022Jp(bytes);
  }
  if (isValidUtf8(bytes)) {
    return std::string(bytes);
  }
  auto result = convert(bytes, kWindows1252, SkipBy::kByte);
  return result ? std::move(result->text) : scrubUtf8(bytes);
}

// Without a byte order mark the text is little-endian, as the WHATWG Encoding Standard decides it
// for the label "utf-16": such mail is from Windows.
std::string fromUtf16(std::string_view bytes) {
  const bool bigEndian = bytes.starts_with("\xFE\xFF");
  // UTF-16 text has a byte order mark, or NULs in its line ends and blanks.
  const bool isNarrow =
      bytes.find('\0') == std::string_view::npos && !bigEndian && !bytes.starts_with("\xFF\xFE");
  constexpr std::size_t kEnoughToTell = 20;
  if (isNarrow && bytes.size() >= kEnoughToTell && isValidUtf8(bytes)) {
    return std::string(bytes);
  }
  auto result = convert(bytes, bigEndian ? "UTF-16BE" : "UTF-16LE", SkipBy::kUnit2);
  return result ? std::move(result->text) : guess(bytes);
}

// Converts ISO-2022-JP (RFC 1468) to the Shift_JIS of Windows, which has the characters that
// senders add, such as circled digits and half-width katakana. Bytes that do not form a pair become
// 0x80, which that set does not have.
class Iso2022JpToShiftJis {
 public:
  std::string run(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    while (!bytes.empty()) {
      bytes.remove_prefix(escape(bytes) ? 3 : character(bytes, out));
    }
    return out;
  }

 private:
  enum class Set { kAscii, kKatakana, kKanji };

  bool escape(std::string_view bytes) {
    const std::string_view sequence = bytes.substr(0, 3);
    if (sequence == "\x1B(B" || sequence == "\x1B(J") {
      set_ = Set::kAscii;
    } else if (sequence == "\x1B(I") {
      set_ = Set::kKatakana;
    } else if (sequence == "\x1B$B" || sequence == "\x1B$@") {
      set_ = Set::kKanji;
    } else {
      return false;
    }
    return true;
  }

  // Appends the next character and returns how many bytes it took.
  std::size_t character(std::string_view bytes, std::string& out) {
    const auto first = byteAt(bytes, 0);
    if (first == '\n' || first == '\r') {
      set_ = Set::kAscii;  // the set does not last beyond a line
    }
    const bool graphic = first > 0x20 && first < 0x7F;
    if (set_ == Set::kKatakana && graphic) {
      out += static_cast<char>(first < 0x60 ? first | 0x80 : 0x80);
    } else if (set_ == Set::kKanji && graphic) {
      const std::uint8_t second = bytes.size() > 1 ? byteAt(bytes, 1) : 0;
      if (second <= 0x20 || second >= 0x7F) {
        out += '\x80';
        return 1;
      }
      appendPair(first, second, out);
      return 2;
    } else {
      out += bytes[0];
    }
    return 1;
  }

  // JIS X 0208 in Shift_JIS: two rows of 94 cells share a lead byte. Lead bytes leave out 0xA0 to
  // 0xDF (half-width katakana), and trail bytes leave out 0x7F.
  static void appendPair(int row, int cell, std::string& out) {
    const int lead = (row - 0x21) / 2 + (row < 0x5F ? 0x81 : 0xC1);
    const int trail = row % 2 == 0 ? cell + 0x7E : cell + (cell < 0x60 ? 0x1F : 0x20);
    out += static_cast<char>(lead);
    out += static_cast<char>(trail);
  }

  Set set_ = Set::kAscii;
};

// In three steps: as labelled; as another Japanese set under the wrong label; and last with the
// extensions of Windows, where every pair that is still unknown becomes U+FFFD.
std::string fromIso2022Jp(std::string_view bytes) {
  auto strict = convert(bytes, "ISO-2022-JP-2", SkipBy::kByte);
  if (strict && strict->clean) {
    return std::move(strict->text);
  }
  if (!isAscii(bytes) && bytes.find("\x1B$") == std::string_view::npos) {
    if (isValidUtf8(bytes)) {
      return std::string(bytes);
    }
    // The set has seven bits. Eight bits without a shift sequence mean one of the other Japanese
    // sets.
    for (const char* other : {"EUC-JP-MS", "CP932"}) {
      if (auto result = convert(bytes, other, SkipBy::kPair); result && result->clean) {
        return std::move(result->text);
      }
    }
  }
  const auto extended = convert(Iso2022JpToShiftJis().run(bytes), "CP932", SkipBy::kPair);
  if (extended) {
    return extended->text;
  }
  return strict ? std::move(strict->text) : guess(bytes);
}

std::string decode(std::string_view bytes, const Charset& charset) {
  switch (charset.kind) {
    case CharsetKind::kUtf8:
      return scrubUtf8(bytes);
    case CharsetKind::kUtf16:
      return fromUtf16(bytes);
    case CharsetKind::kIso2022Jp:
      return fromIso2022Jp(bytes);
    case CharsetKind::kOther:
      if (auto result = convert(bytes, charset.iconvName, charset.skip)) {
        // A label is wrong more often than text is valid UTF-8 by accident.
        return !result->clean && isSurelyUtf8(bytes) ? std::string(bytes) : result->text;
      }
      break;
    case CharsetKind::kGuess:
    case CharsetKind::kUnknown:
      break;
  }
  return guess(bytes);
}

}  // namespace

bool isValidUtf8(std::string_view bytes) {
  return firstBad(bytes, 0) == bytes.size();
}

std::string scrubUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t bad = firstBad(bytes, at);
    out += bytes.substr(at, bad - at);
    if (bad < bytes.size()) {
      out += kReplacementCharacter;
    }
    at = bad + 1;
  }
  return out;
}

std::string toUtf8(std::string_view bytes, std::string_view charsetLabel) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::string text = decode(bytes, charsetOf(charsetLabel));
  if (text.starts_with(kByteOrderMark)) {
    text.erase(0, kByteOrderMark.size());
  }
  // The result is promised to be UTF-8, so it is checked rather than trusted to the converters.
  return isValidUtf8(text) ? text : scrubUtf8(text);
}

}  // namespace relaybird
