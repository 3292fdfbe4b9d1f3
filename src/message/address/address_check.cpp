// SPDX-License-Identifier: MIT
#include <glib.h>

#include <algorithm>

#include "message/address/domain_name.h"
#include "message/address/mail_address.h"
#include "message/text/charset.h"
#include "platform/text/ascii_text.h"
#include "platform/text/character_kind.h"

namespace relaybird {
namespace {

// RFC 5321 section 4.5.3.1: a path has at most 256 bytes, angle brackets included.
constexpr std::size_t kLongestAddress = 254;
constexpr std::size_t kLongestLocalPart = 64;

bool isAtomCharacter(char c) {
  constexpr std::string_view kMarks = "!#$%&'*+-/=?^_`{|}~";
  return !isAscii(c) || isLetterOrDigit(c) || kMarks.find(c) != std::string_view::npos;
}

// Characters that look like nothing, or reorder what stands beside them, have no place in an
// address that a person is to recognise.
bool isUnseen(gunichar character) {
  switch (g_unichar_type(character)) {
    case G_UNICODE_FORMAT:
    case G_UNICODE_SURROGATE:
    case G_UNICODE_PRIVATE_USE:
    case G_UNICODE_UNASSIGNED:
      return true;
    default:
      return character == 0xFFFD || kindOf(character) != CharacterKind::kOrdinary;
  }
}

bool isDotAtom(std::string_view text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') {
    return false;
  }
  if (text.find("..") != std::string_view::npos) {
    return false;
  }
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '.' || isAtomCharacter(c); });
}

bool isQuotedString(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') {
    return false;
  }
  bool escaped = false;
  for (const char c : text.substr(1, text.size() - 2)) {
    if (!escaped && c == '"') {
      return false;
    }
    escaped = !escaped && c == '\\';
  }
  return !escaped;
}

// The domain has to fit in the form in which it is sent.
bool isDomain(std::string_view domain, std::size_t longest) {
  const auto wire = wireDomain(domain);
  return wire && wire->size() <= longest && saysWhatItIs(domain);
}

// RFC 5321 section 4.1.3: [192.0.2.1] and [IPv6:2001:db8::1].
bool isAddressLiteral(std::string_view text) {
  constexpr std::string_view kIpv6 = "IPv6:";
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') {
    return false;
  }
  std::string inside(text.substr(1, text.size() - 2));
  const bool six = equalsAsciiCase(inside.substr(0, kIpv6.size()), kIpv6);
  if (six) {
    inside.erase(0, kIpv6.size());
  }
  const bool colons = inside.find(':') != std::string::npos;
  return six == colons && g_hostname_is_ip_address(inside.c_str());
}

}  // namespace

bool isVisibleText(std::string_view text) {
  if (!isValidUtf8(text)) {
    return false;
  }
  for (std::size_t at = 0; at < text.size();) {
    const char* character = text.data() + at;
    if (*character != ' ' && isUnseen(g_utf8_get_char(character))) {
      return false;
    }
    at += static_cast<std::size_t>(g_utf8_next_char(character) - character);
  }
  return true;
}

bool isRfc5322Address(std::string_view text) {
  if (text.empty() || text.size() > kLongestAddress || text.front() == '-') {
    return false;
  }
  if (!isVisibleText(text)) {
    return false;
  }
  const auto at = text.rfind('@');
  if (at == std::string_view::npos) {
    return false;
  }
  const auto local = text.substr(0, at);
  const auto domain = text.substr(at + 1);
  return local.size() <= kLongestLocalPart && (isDotAtom(local) || isQuotedString(local)) &&
         (isDomain(domain, kLongestAddress - at - 1) || isAddressLiteral(domain));
}

std::string wireAddress(std::string_view address) {
  const auto at = address.rfind('@');
  if (at == std::string_view::npos || !isValidUtf8(address)) {
    return std::string(address);
  }
  const auto domain = wireDomain(address.substr(at + 1));
  return domain ? std::string(address.substr(0, at + 1)) + *domain : std::string(address);
}

}  // namespace relaybird
