// SPDX-License-Identifier: MIT
// Two levels of reading. Escape sequences are bytes and are removed as bytes. Everything else is
// decided by character and by its kind (character_kind.h), so that this file has no list of
// invisible characters of its own. A byte that is not UTF-8 is passed on unchanged: repairing the
// encoding is the task of charset.h.
#include "message/text/clean_text.h"

#include <algorithm>
#include <optional>

#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr auto kNone = std::string_view::npos;
constexpr char32_t kNextLine = 0x85;

// Takes the bytes of the first character off the text; one byte where it is not UTF-8.
std::string_view takeBytes(std::string_view& text, const Utf8Character& first) {
  const std::string_view bytes = text.substr(0, std::max<std::size_t>(first.length, 1));
  text.remove_prefix(bytes.size());
  return bytes;
}

// Control characters and separators of lines, which a text on one line cannot contain.
bool breaksLine(const Utf8Character& character) {
  if (character.length == 0) {
    return false;
  }
  const CharacterKind kind = kindOf(character.code);
  return kind == CharacterKind::kControl || kind == CharacterKind::kLineBreak;
}

bool isWithin(char c, char first, char last) {
  return c >= first && c <= last;
}

std::size_t skip(std::string_view text, std::size_t at, char first, char last) {
  while (at < text.size() && isWithin(text[at], first, last)) {
    ++at;
  }
  return at;
}

// The length of the escape sequence at the front of the text (ECMA-48 sections 5.3 to 5.6).
std::size_t escapeLength(std::string_view text) {
  if (text.size() < 2) {
    return text.size();
  }
  if (text[1] == '[') {
    const std::size_t end = skip(text, skip(text, 2, '0', '?'), ' ', '/');
    return end < text.size() && isWithin(text[end], '@', '~') ? end + 1 : end;
  }
  // A control string (OSC, DCS, SOS, PM, APC) ends with ESC \, or with BEL as in xterm.
  if (std::string_view("]PX^_").find(text[1]) != kNone) {
    // A control string without an end must not swallow more than its line.
    const std::size_t end = std::min(text.find_first_of("\x07\x1b\n", 2), text.size());
    const bool closes = text.substr(end).starts_with("\x1b\\");
    return end + (closes ? 2 : text.substr(end).starts_with('\x07') ? 1 : 0);
  }
  const std::size_t end = skip(text, 1, ' ', '/');
  return end < text.size() && isWithin(text[end], '0', '~') ? end + 1 : end;
}

// Characters next to which a joiner has a meaning: the scripts of the Near East, South and
// South-East Asia, and pictures with their variation selectors.
bool mayBeJoined(std::int32_t code) {
  const auto kind = kindOf(static_cast<char32_t>(code));
  if (kind != CharacterKind::kOrdinary && kind != CharacterKind::kJoiner) {
    return false;
  }
  return (code >= 0x0600 && code <= 0x1CFF) || (code >= 0x2190 && code <= 0x2BFF) ||
         (code >= 0xA800 && code <= 0xABFF) || (code >= 0xFB50 && code <= 0xFEFC) ||
         code >= 0x10A00;
}

// Variation selectors change the character before them. The other two joiners, U+200C and U+200D,
// also concern the character behind.
bool isSelector(std::int32_t code) {
  return code != 0x200C && code != 0x200D;
}

// Fillers are dropped at once. Blanks and joiners are held back until the next visible character
// shows whether they are needed.
class FillerFilter {
 public:
  std::string run(std::string_view text) {
    while (!text.empty()) {
      take(takeCharacter(text));
    }
    flushBlanks();
    return std::move(out_);
  }

 private:
  void take(std::int32_t code) {
    switch (kindOf(static_cast<char32_t>(code))) {
      case CharacterKind::kFiller:
        // Tags behind the black flag (U+1F3F4) make it the flag of a region.
        if (last_ == 0x1F3F4 || (last_ >= 0xE0020 && last_ <= 0xE007F)) {
          return add(code);
        }
        isFilled_ = true;
        return;
      // Whether a joiner is needed shows only with the next character, so it is held back. A
      // selector is kept behind the character that it changes, once.
      case CharacterKind::kJoiner:
        if (!isSelector(code)) {
          joiner_ = code;
        } else if (last_ != ' ' && blanks_.empty() && !joiner_ && last_ != code) {
          add(code);
        }
        return;
      case CharacterKind::kBlank:
        joiner_.reset();
        appendCharacter(blanks_, code);
        ++blankCount_;
        hasOddBlank_ = hasOddBlank_ || code != ' ';
        return;
      default:
        add(code);
    }
  }

  void add(std::int32_t code) {
    flushBlanks();
    if (joiner_ && mayBeJoined(last_) && mayBeJoined(code)) {
      appendCharacter(out_, *joiner_);
    }
    joiner_.reset();
    appendCharacter(out_, code);
    last_ = code;
    isFilled_ = false;
  }

  void flushBlanks() {
    if (blankCount_ == 0) {
      return;
    }
    // Newsletters fill the line that mail programs show in a listing with rows of fillers and odd
    // blanks, to hide the text behind. One blank is left of such a row.
    const bool isRow = isFilled_ || (hasOddBlank_ && blankCount_ > 1);
    out_ += isRow ? " " : blanks_;
    last_ = ' ';
    blanks_.clear();
    blankCount_ = 0;
    hasOddBlank_ = false;
  }

  std::string out_;
  std::string blanks_;  // since the last character, without fillers
  std::size_t blankCount_ = 0;
  bool hasOddBlank_ = false;
  bool isFilled_ = false;  // fillers since the last character
  std::optional<std::int32_t> joiner_;
  std::int32_t last_ = ' ';
};

// One line of format=flowed (RFC 3676): its quoting depth (section 4.5), its text without the
// stuffed blank (section 4.4), and whether it continues. A signature separator "-- " never does
// (section 4.3).
struct FlowedLine {
  std::size_t depth = 0;
  std::string_view text;
  bool flows = false;
};

FlowedLine flowedLine(std::string_view line) {
  FlowedLine result;
  result.depth = std::min(line.find_first_not_of('>'), line.size());
  result.text = line.substr(result.depth);
  if (result.text.starts_with(' ')) {
    result.text.remove_prefix(1);
  }
  result.flows = result.text.ends_with(' ') && result.text != "-- ";
  return result;
}

}  // namespace

std::string withoutEscapes(std::string_view text) {
  std::string out;
  while (true) {
    const std::size_t escape = std::min(text.find('\x1b'), text.size());
    out += text.substr(0, escape);
    text.remove_prefix(escape);
    if (text.empty()) {
      return out;
    }
    text.remove_prefix(escapeLength(text));
  }
}

std::string withoutControls(std::string_view text) {
  const std::string plain = withoutEscapes(text);
  std::string out;
  out.reserve(plain.size());
  for (std::string_view rest = plain; !rest.empty();) {
    const Utf8Character first = firstCharacter(rest);
    const std::string_view bytes = takeBytes(rest, first);
    if (first.length == 0 || first.code == '\n' || first.code == '\t' ||
        kindOf(first.code) != CharacterKind::kControl) {
      // These separate lines or pages; without a replacement, words would run together.
      out += bytes;
    } else if (first.code == '\f' || first.code == '\v' || first.code == kNextLine) {
      out += '\n';
    }
  }
  return out;
}

std::string withoutFillers(std::string_view text) {
  return FillerFilter().run(text);
}

std::string withPlainLineEnds(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      result += text[i];
    } else if (i + 1 == text.size() || text[i + 1] != '\n') {
      // A lone CR is a line end too, as some old systems write it.
      result += '\n';
    }
  }
  return result;
}

std::string onOneLine(std::string text) {
  // Hardly any text has an escape sequence, so the usual case is not copied twice.
  if (text.find('\x1b') != std::string::npos) {
    text = withoutEscapes(text);
  }
  std::string out;
  out.reserve(text.size());
  for (std::string_view rest = text; !rest.empty();) {
    const Utf8Character first = firstCharacter(rest);
    const std::string_view bytes = takeBytes(rest, first);
    out += breaksLine(first) ? std::string_view(" ") : bytes;
  }
  return out;
}

std::string tidyLine(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    const std::string_view bytes = takeBytes(text, first);
    if (bytes != " " && !breaksLine(first)) {
      out += bytes;
    } else if (!out.empty() && out.back() != ' ') {
      out += ' ';
    }
  }
  if (!out.empty() && out.back() == ' ') {
    out.pop_back();
  }
  return out;
}

// A paragraph is a run of lines that end with a blank, all of one quoting depth (RFC 3676 section
// 4.2). With DelSp=yes the blank at the end is not part of the text (section 4.1).
std::string unflowed(std::string_view text, bool delSp) {
  const bool ends = text.ends_with('\n');
  std::string out;
  std::optional<std::size_t> open;  // the depth of a paragraph that continues
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    FlowedLine line = flowedLine(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    const bool isSeparator = line.text == "-- ";
    if (open && (*open != line.depth || isSeparator || line.text.empty())) {
      out += '\n';
      open.reset();
    }
    if (!open && line.depth > 0) {
      out.append(line.depth, '>');
      out += ' ';
    }
    if (line.flows && delSp) {
      line.text.remove_suffix(1);
    }
    out += line.text;
    if (line.flows) {
      open = line.depth;
    } else {
      out += '\n';
      open.reset();
    }
  }
  // The result ends with a line end exactly where the text did.
  if (out.ends_with('\n') != ends) {
    ends ? out.push_back('\n') : out.pop_back();
  }
  return out;
}

bool isBlankText(std::string_view text) {
  while (!text.empty()) {
    if (kindOf(static_cast<char32_t>(takeCharacter(text))) == CharacterKind::kOrdinary) {
      return false;
    }
  }
  return true;
}

}  // namespace relaybird
