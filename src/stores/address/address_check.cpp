// SPDX-License-Identifier: MIT
#include <glib.h>

#include <algorithm>
#include <memory>

#include "stores/address/mail_address.h"
#include "stores/text/charset.h"

namespace relaybird {
namespace {

// RFC 5321 section 4.5.3.1: a path has at most 256 bytes, angle brackets included.
constexpr std::size_t kLongestAddress = 254;
constexpr std::size_t kLongestLocalPart = 64;
constexpr std::size_t kLongestDomain = 255;
constexpr std::size_t kLongestLabel = 63;

bool isLetterOrDigit(char c) {
  return g_ascii_isalnum(c) != 0;
}
bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool isAtomCharacter(char c) {
  constexpr std::string_view kMarks = "!#$%&'*+-/=?^_`{|}~";
  return !isAscii(c) || isLetterOrDigit(c) || kMarks.find(c) != std::string_view::npos;
}

// Characters that look like nothing, or reorder what stands beside them, have no place in an
// address that a person is to recognise.
bool isUnseen(gunichar character) {
  switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_FORMAT:
    case G_UNICODE_SURROGATE:
    case G_UNICODE_PRIVATE_USE:
    case G_UNICODE_SPACE_SEPARATOR:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
      return true;
    default:
      return character == 0xFFFD;
  }
}

// Valid UTF-8 without unseen characters; the ASCII blank is left to the caller.
bool isVisibleText(std::string_view text) {
  if (!isValidUtf8(text)) return false;
  for (std::size_t at = 0; at < text.size();) {
    const char* character = text.data() + at;
    if (*character != ' ' && isUnseen(g_utf8_get_char(character))) return false;
    at += static_cast<std::size_t>(g_utf8_next_char(character) - character);
  }
  return true;
}

bool isDotAtom(std::string_view text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') return false;
  if (text.find("..") != std::string_view::npos) return false;
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '.' || isAtomCharacter(c); });
}

bool isQuotedString(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return false;
  bool escaped = false;
  for (const char c : text.substr(1, text.size() - 2)) {
    if (!escaped && c == '"') return false;
    escaped = !escaped && c == '\\';
  }
  return !escaped;
}

bool isLabel(std::string_view label) {
  return !label.empty() && label.size() <= kLongestLabel && label.front() != '-' &&
         label.back() != '-' && std::all_of(label.begin(), label.end(), [](char c) {
           return isLetterOrDigit(c) || c == '-';
         });
}

bool isAsciiHostName(std::string_view name) {
  if (name.size() > kLongestDomain) return false;
  for (;;) {
    const auto dot = name.find('.');
    if (!isLabel(name.substr(0, dot))) return false;
    if (dot == std::string_view::npos) return true;
    name.remove_prefix(dot + 1);
  }
}

// A name beyond ASCII is judged by what name servers are asked (RFC 5890).
bool isHostName(std::string_view name) {
  if (std::all_of(name.begin(), name.end(), isAscii)) return isAsciiHostName(name);
  // GLib lets a dot at the end pass, and takes the full stops of East Asia for dots (RFC 3490),
  // which are none in mail.
  if (name.back() == '.') return false;
  for (const std::string_view stop : {"\u3002", "\uFF0E", "\uFF61"}) {
    if (name.find(stop) != std::string_view::npos) return false;
  }
  struct Free {
    void operator()(char* text) const { g_free(text); }
  };
  const std::unique_ptr<char, Free> ascii(g_hostname_to_ascii(std::string(name).c_str()));
  return ascii && isAsciiHostName(ascii.get());
}

// RFC 5321 section 4.1.3: [192.0.2.1] and [IPv6:2001:db8::1].
bool isAddressLiteral(std::string_view text) {
  constexpr std::string_view kIpv6 = "IPv6:";
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') return false;
  std::string inside(text.substr(1, text.size() - 2));
  const bool six = g_ascii_strncasecmp(inside.c_str(), kIpv6.data(), kIpv6.size()) == 0;
  if (six) inside.erase(0, kIpv6.size());
  const bool colons = inside.find(':') != std::string::npos;
  return six == colons && g_hostname_is_ip_address(inside.c_str());
}

}  // namespace

bool isRfc5322Address(std::string_view text) {
  if (text.empty() || text.size() > kLongestAddress || text.front() == '-') return false;
  if (!isVisibleText(text)) return false;
  const auto at = text.rfind('@');
  if (at == std::string_view::npos) return false;
  const auto local = text.substr(0, at);
  const auto domain = text.substr(at + 1);
  if (local.size() > kLongestLocalPart || domain.size() > kLongestDomain) return false;
  return (isDotAtom(local) || isQuotedString(local)) &&
         (isHostName(domain) || isAddressLiteral(domain));
}

}  // namespace relaybird
