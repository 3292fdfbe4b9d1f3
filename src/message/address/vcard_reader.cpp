// SPDX-License-Identifier: MIT
// The reader knows the line structure of all three versions and no meaning: address_book.cpp has
// that. Lines are cut at a bound, and values that nobody asks for (photos, mostly) are not decoded,
// so that a book of many megabytes is read quickly.
#include "message/address/vcard_reader.h"

#include <algorithm>
#include <array>

#include "message/text/charset.h"
#include "message/text/transfer_encoding.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr auto kNone = std::string_view::npos;
// Longer than any real line; the rest of a longer one is dropped.
constexpr std::size_t kLongestLine = 65'536;

bool isWanted(std::string_view name) {
  constexpr auto kNames =
      std::to_array<std::string_view>({"BEGIN", "END", "AGENT", "FN", "N", "NICKNAME", "EMAIL"});
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

// The colon before the value. A quote without an end is taken for an ordinary character.
std::size_t findColon(std::string_view line) {
  const auto colon = findUnquoted(line, ':');
  return colon != kNone ? colon : line.find(':');
}

std::vector<std::string> parametersOf(std::string_view head) {
  // A quoted value may contain ";" (RFC 6350 section 3.3).
  std::vector<std::string> out;
  while (!head.empty()) {
    const auto end = std::min(findUnquoted(head, ';'), head.size());
    std::string parameter = asciiUpper(head.substr(0, end));
    std::erase_if(parameter, [](char c) { return c == '"' || c == ' ' || c == '\t'; });
    if (!parameter.empty()) {
      out.push_back(std::move(parameter));
    }
    head.remove_prefix(std::min(end + 1, head.size()));
  }
  return out;
}

VcardProperty propertyHead(std::string_view line) {
  VcardProperty property;
  const auto nameEnd = std::min(line.find(';'), line.size());
  auto name = line.substr(0, nameEnd);
  // A group in front of the name ("item1.EMAIL") only ties properties together for display.
  if (const auto dot = name.rfind('.'); dot != kNone) {
    name.remove_prefix(dot + 1);
  }
  property.name = asciiUpper(name);
  property.parameters = parametersOf(line.substr(std::min(nameEnd + 1, line.size())));
  return property;
}

bool isQuotedPrintable(const VcardProperty& property) {
  return property.has("QUOTED-PRINTABLE") || property.parameter("ENCODING") == "QUOTED-PRINTABLE";
}

void appendLimited(std::string& out, std::string_view text) {
  out += text.substr(0, kLongestLine - std::min(out.size(), kLongestLine));
}

}  // namespace

std::optional<std::string> VcardProperty::parameter(std::string_view key) const {
  for (const std::string& parameter : parameters) {
    if (parameter.size() > key.size() && parameter.starts_with(key) &&
        parameter[key.size()] == '=') {
      return parameter.substr(key.size() + 1);
    }
  }
  return std::nullopt;
}

bool VcardProperty::has(std::string_view bareParameter) const {
  return std::find(parameters.begin(), parameters.end(), bareParameter) != parameters.end();
}

std::string_view VcardReader::physicalLine() {
  // CR LF, LF and CR: cards come from every kind of device.
  const auto end = std::min(rest_.find_first_of("\r\n"), rest_.size());
  const auto line = rest_.substr(0, end);
  rest_.remove_prefix(end);
  if (rest_.starts_with("\r\n")) {
    rest_.remove_prefix(2);
  } else if (!rest_.empty()) {
    rest_.remove_prefix(1);
  }
  return line;
}

bool VcardReader::foldFollows() const {
  return rest_.starts_with(' ') || rest_.starts_with('\t');
}

std::optional<VcardProperty> VcardReader::next() {
  while (!rest_.empty()) {
    std::string line(physicalLine().substr(0, kLongestLine));
    while (foldFollows()) {
      // RFC 6350 section 3.2: the line break and one blank are the fold.
      appendLimited(line, physicalLine().substr(1));
    }
    const auto colon = findColon(line);
    if (colon == kNone) {
      continue;
    }
    VcardProperty property = propertyHead(std::string_view(line).substr(0, colon));
    std::string value = line.substr(colon + 1);
    const bool encoded = isQuotedPrintable(property);
    // The soft line breaks of quoted-printable, which version 2.1 uses in place of folds.
    while (encoded && value.ends_with('=') && !rest_.empty()) {
      value.pop_back();
      appendLimited(value, physicalLine());
    }
    if (isWanted(property.name)) {
      if (encoded) {
        value = decodeTransfer(value, TransferEncoding::kQuotedPrintable);
      }
      const std::string charset = property.parameter("CHARSET").value_or("");
      // Mail is sent to the address, so its character set is not guessed where no label names it.
      const bool guess = property.name != "EMAIL" || !charset.empty();
      property.value = guess ? toUtf8(value, charset) : scrubUtf8(value);
    }
    return property;
  }
  return std::nullopt;
}

std::size_t findUnquoted(std::string_view text, char wanted, std::size_t from) {
  bool quoted = false;
  for (std::size_t at = from; at < text.size(); ++at) {
    if (text[at] == '"') {
      quoted = !quoted;
    }
    if (!quoted && text[at] == wanted) {
      return at;
    }
  }
  return kNone;
}

std::vector<std::string> vcardParts(std::string_view value, char separator) {
  std::vector<std::string> parts(1);
  for (std::size_t at = 0; at < value.size(); ++at) {
    char c = value[at];
    if (c == separator) {
      parts.emplace_back();
      continue;
    }
    if (c == '\\' && at + 1 < value.size()) {
      c = value[++at];
      if (c == 'n' || c == 'N') {
        c = ' ';
      }
    }
    parts.back() += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return parts;
}

std::string vcardText(std::string_view value) {
  // Up to a NUL, which no real value contains.
  return vcardParts(value, '\0').front();
}

}  // namespace relaybird
