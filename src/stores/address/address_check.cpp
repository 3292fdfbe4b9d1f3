// SPDX-License-Identifier: MIT
#include <glib.h>

#include <algorithm>
#include <array>
#include <utility>

#include "stores/address/domain_name.h"
#include "stores/address/mail_address.h"
#include "stores/text/charset.h"

namespace relaybird {
namespace {

// RFC 5321 section 4.5.3.1: a path has at most 256 bytes, angle brackets included.
constexpr std::size_t kLongestAddress = 254;
constexpr std::size_t kLongestLocalPart = 64;

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

// Letters, marks and signs that are shown as nothing (Unicode's Default_Ignorable_Code_Point as far
// as the general category does not tell, and the blank of Braille).
bool isFiller(gunichar character) {
  constexpr auto kRanges = std::to_array<std::pair<gunichar, gunichar>>({{0x034F, 0x034F},
                                                                         {0x115F, 0x1160},
                                                                         {0x17B4, 0x17B5},
                                                                         {0x180B, 0x180F},
                                                                         {0x2800, 0x2800},
                                                                         {0x3164, 0x3164},
                                                                         {0xFE00, 0xFE0F},
                                                                         {0xFFA0, 0xFFA0},
                                                                         {0xE0100, 0xE01EF}});
  return std::any_of(kRanges.begin(), kRanges.end(), [character](const auto& range) {
    return character >= range.first && character <= range.second;
  });
}

// Characters that look like nothing, or reorder what stands beside them, have no place in an
// address that a person is to recognise.
bool isUnseen(gunichar character) {
  switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_FORMAT:
    case G_UNICODE_SURROGATE:
    case G_UNICODE_PRIVATE_USE:
    case G_UNICODE_UNASSIGNED:
    case G_UNICODE_SPACE_SEPARATOR:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
      return true;
    default:
      return character == 0xFFFD || isFiller(character);
  }
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

// The domain has to fit in the form in which it is sent.
bool isDomain(std::string_view domain, std::size_t longest) {
  const auto wire = wireDomain(domain);
  return wire && wire->size() <= longest && saysWhatItIs(domain);
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

bool isVisibleText(std::string_view text) {
  if (!isValidUtf8(text)) return false;
  for (std::size_t at = 0; at < text.size();) {
    const char* character = text.data() + at;
    if (*character != ' ' && isUnseen(g_utf8_get_char(character))) return false;
    at += static_cast<std::size_t>(g_utf8_next_char(character) - character);
  }
  return true;
}

bool isRfc5322Address(std::string_view text) {
  if (text.empty() || text.size() > kLongestAddress || text.front() == '-') return false;
  if (!isVisibleText(text)) return false;
  const auto at = text.rfind('@');
  if (at == std::string_view::npos) return false;
  const auto local = text.substr(0, at);
  const auto domain = text.substr(at + 1);
  return local.size() <= kLongestLocalPart && (isDotAtom(local) || isQuotedString(local)) &&
         (isDomain(domain, kLongestAddress - at - 1) || isAddressLiteral(domain));
}

std::string wireAddress(std::string_view address) {
  const auto at = address.rfind('@');
  if (at == std::string_view::npos || !isValidUtf8(address)) return std::string(address);
  const auto domain = wireDomain(address.substr(at + 1));
  return domain ? std::string(address.substr(0, at + 1)) + *domain : std::string(address);
}

}  // namespace relaybird
