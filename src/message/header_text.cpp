// SPDX-License-Identifier: MIT
#include "message/header_text.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "message/text/clean_text.h"
#include "message/text/encoded_word.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// RFC 5322 section 2.1.1: no line is longer, so no identifier either.
constexpr std::size_t kLongestId = 900;

// Text that decoding would return as it is: the usual case, and the one that a listing is made of.
bool isPlain(std::string_view text) {
  char previous = ' ';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte >= 0x7f || (c == '?' && previous == '=')) {
      return false;
    }
    previous = c;
  }
  return true;
}

// Characters of addresses and names that stand for nothing but themselves.
bool isAddressChar(char c) {
  return isLetterOrDigit(c) || std::string_view(".-_+").find(c) != std::string_view::npos;
}

bool isNameChar(char c) {
  return isLetterOrDigit(c) || std::string_view(".-_+'& ").find(c) != std::string_view::npos;
}

bool isSimpleAddress(std::string_view text) {
  const std::size_t at = text.find('@');
  return at != std::string_view::npos && at > 0 && at + 1 < text.size() &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAddressChar(c) || c == '@'; }) &&
         text.find('@', at + 1) == std::string_view::npos &&
         text.find("..") == std::string_view::npos && text.front() != '.' && text[at - 1] != '.' &&
         text[at + 1] != '.' && text.back() != '.';
}

// Nothing where the value needs a real parser.
std::optional<Mailbox> simpleMailbox(std::string_view text) {
  if (isSimpleAddress(text)) {
    return Mailbox{{}, std::string(text)};
  }
  const std::size_t open = text.find('<');
  if (open == std::string_view::npos || !text.ends_with('>') ||
      !isSimpleAddress(text.substr(open + 1, text.size() - open - 2))) {
    return std::nullopt;
  }
  std::string_view name = trimmed(text.substr(0, open));
  const bool quoted = name.size() >= 2 && name.front() == '"' && name.back() == '"';
  if (quoted) {
    name = name.substr(1, name.size() - 2);
  }
  const auto isPlainName = [quoted](char c) { return isNameChar(c) || (quoted && c == ','); };
  if (!std::all_of(name.begin(), name.end(), isPlainName) || name != trimmed(name) ||
      name.find("  ") != std::string_view::npos) {
    return std::nullopt;
  }
  return Mailbox{std::string(name), std::string(text.substr(open + 1, text.size() - open - 2))};
}

}  // namespace

Mailbox firstMailbox(std::string_view raw, std::string_view rawCharset) {
  auto simple = simpleMailbox(trimmed(raw));
  return simple ? std::move(*simple) : parseAddress(raw, rawCharset);
}

std::string unfolded(std::string_view raw) {
  std::string result(trimmed(raw));
  std::erase_if(result, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  return result;
}

std::string headerText(std::string_view raw, std::string_view rawCharset) {
  const std::string_view text = trimmed(raw);
  return isPlain(text) ? std::string(text) : onOneLine(decodeHeaderText(raw, rawCharset));
}

std::vector<std::string> messageIds(std::string_view value) {
  std::vector<std::string> ids;
  for (std::size_t pos = value.find('<'); pos != std::string_view::npos;) {
    const std::size_t end = value.find_first_of("<>", pos + 1);
    if (end == std::string_view::npos) {
      break;
    }
    const std::string_view id = value.substr(pos, end - pos + 1);
    const bool closed = value[end] == '>';
    if (closed && id.size() > 2 && id.size() <= kLongestId &&
        std::all_of(id.begin(), id.end(), isPrintable)) {
      ids.emplace_back(id);
    }
    pos = closed ? value.find('<', end) : end;
  }
  return ids;
}

}  // namespace relaybird
