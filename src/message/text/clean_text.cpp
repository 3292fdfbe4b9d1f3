// SPDX-License-Identifier: MIT
#include "message/text/clean_text.h"

#include <algorithm>
#include <optional>

#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr auto kNone = std::string_view::npos;

bool isWithin(char c, char first, char last) {
  return c >= first && c <= last;
}

std::size_t skip(std::string_view text, std::size_t at, char first, char last) {
  while (at < text.size() && isWithin(text[at], first, last)) {
    ++at;
  }
  return at;
}

// The length of the sequence that begins with the ESC at the front (ECMA-48 sections 5.3 to 5.6).
std::size_t escapeLength(std::string_view text) {
  if (text.size() < 2) {
    return text.size();
  }
  if (text[1] == '[') {
    const std::size_t end = skip(text, skip(text, 2, '0', '?'), ' ', '/');
    return end < text.size() && isWithin(text[end], '@', '~') ? end + 1 : end;
  }
  if (std::string_view("]PX^_").find(text[1]) != kNone) {
    // A string that nothing ends does not swallow more than its line.
    const std::size_t end = std::min(text.find_first_of("\x07\x1b\n", 2), text.size());
    const bool closes = text.substr(end).starts_with("\x1b\\");
    return end + (closes ? 2 : text.substr(end).starts_with('\x07') ? 1 : 0);
  }
  const std::size_t end = skip(text, 1, ' ', '/');
  return end < text.size() && isWithin(text[end], '0', '~') ? end + 1 : end;
}

// Letters and pictures beside which a joiner means something: the scripts of the Near East, South
// and South-East Asia, and pictures with the selectors of their variants.
bool mayBeJoined(std::int32_t code) {
  const auto kind = kindOf(static_cast<char32_t>(code));
  if (kind != CharacterKind::kOrdinary && kind != CharacterKind::kJoiner) {
    return false;
  }
  return (code >= 0x0600 && code <= 0x1CFF) || (code >= 0x2190 && code <= 0x2BFF) ||
         (code >= 0xA800 && code <= 0xABFF) || (code >= 0xFB50 && code <= 0xFEFC) ||
         code >= 0x10A00;
}

bool isSelector(std::int32_t code) {
  return code != 0x200C && code != 0x200D;
}

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
        // The tags that make a flag of a region out of the black one.
        if (last_ == 0x1F3F4 || (last_ >= 0xE0020 && last_ <= 0xE007F)) {
          return add(code);
        }
        isFilled_ = true;
        return;
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
    const bool isRow = isFilled_ || (hasOddBlank_ && blankCount_ > 1);
    out_ += isRow ? " " : blanks_;
    last_ = ' ';
    blanks_.clear();
    blankCount_ = 0;
    hasOddBlank_ = false;
  }

  std::string out_;
  std::string blanks_;  // since the last character, fillers between them left out
  std::size_t blankCount_ = 0;
  bool hasOddBlank_ = false;
  bool isFilled_ = false;  // fillers since the last character
  std::optional<std::int32_t> joiner_;
  std::int32_t last_ = ' ';
};

// One line of format=flowed, taken apart.
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
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const char c = plain[i];
    const bool isC1 = c == '\xC2' && i + 1 < plain.size() && isWithin(plain[i + 1], '\x80', '\x9F');
    if (c == '\f' || c == '\v' || (isC1 && plain[i + 1] == '\x85')) {
      out += '\n';
    } else if (!isC1 && (static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\t') &&
               c != '\x7f') {
      out += c;
    }
    i += isC1 ? 1 : 0;
  }
  return out;
}

std::string withoutFillers(std::string_view text) {
  return FillerFilter().run(text);
}

std::string unflowed(std::string_view text, bool delSp) {
  const bool ends = text.ends_with('\n');
  std::string out;
  std::optional<std::size_t> open;  // the depth of a paragraph that goes on
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
  if (out.ends_with('\n') != ends) {
    ends ? out.push_back('\n') : out.pop_back();
  }
  return out;
}

bool isBlankText(std::string_view text) {
  while (!text.empty()) {
    switch (kindOf(static_cast<char32_t>(takeCharacter(text)))) {
      case CharacterKind::kOrdinary:
        return false;
      default:
        break;
    }
  }
  return true;
}

}  // namespace relaybird
