// SPDX-License-Identifier: MIT
// An address is checked in the form in which it would be sent. The local part is read by its
// grammar. The domain goes label by label through libidn2 and back: where the result is not what
// was written, the address would reach another domain than the one that its reader sees, and is
// refused.
#include "message/address/address_check.h"

#include <glib.h>
#include <idn2.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <set>

#include "message/text/charset.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"
#include "platform/text/character_kind.h"

namespace relaybird {
namespace {

// RFC 1035 section 2.3.4.
constexpr std::size_t kLongestDomain = 255;
constexpr std::size_t kLongestLabel = 63;

struct IdnFree {
  void operator()(char* text) const { idn2_free(text); }
};
using IdnText = std::unique_ptr<char, IdnFree>;

bool isLabel(std::string_view label) {
  const auto belongs = [](char c) { return isLetterOrDigit(c) || c == '-' || c == '_'; };
  return !label.empty() && label.size() <= kLongestLabel && label.front() != '-' &&
         label.back() != '-' && std::all_of(label.begin(), label.end(), belongs);
}

// Whether `test` holds for every label of the domain.
template <class Test>
bool everyLabel(std::string_view domain, Test test) {
  for (;;) {
    const auto dot = domain.find('.');
    if (!test(domain.substr(0, dot))) {
      return false;
    }
    if (dot == std::string_view::npos) {
      return true;
    }
    domain.remove_prefix(dot + 1);
  }
}

// The wire form of one label. Labels are converted one by one, so that one beyond ASCII does not
// change its neighbours. IDNA takes the full stops of East Asia for dots; mail does not, so a label
// that contains one has no wire form.
std::optional<std::string> wireLabel(std::string_view label) {
  if (isAscii(label)) {
    return isLabel(label) ? std::optional(std::string(label)) : std::nullopt;
  }
  char* ascii = nullptr;
  // UTS 46 non-transitional: "ß" and the final sigma stay themselves, as registries and browsers
  // treat them today. The transitional mapping would send mail to another domain.
  constexpr int kFlags = IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL;
  if (idn2_to_ascii_8z(std::string(label).c_str(), &ascii, kFlags) != IDN2_OK) {
    return std::nullopt;
  }
  const IdnText owned(ascii);
  return isLabel(ascii) ? std::optional(std::string(ascii)) : std::nullopt;
}

// Whether the wire form of the label stands for what is written, apart from letter case and
// composition: no character is mapped to another one or dropped.
bool labelKeepsItsCharacters(std::string_view label) {
  if (isAscii(label)) {
    return true;
  }
  const auto wire = wireLabel(label);
  char* shown = nullptr;
  if (!wire || idn2_to_unicode_8z8z(wire->c_str(), &shown, 0) != IDN2_OK) {
    return false;
  }
  const IdnText owned(shown);
  const GText composed(g_utf8_normalize(label.data(), static_cast<gssize>(label.size()),
                                        G_NORMALIZE_DEFAULT_COMPOSE));
  if (!composed) {
    return false;
  }
  const GText lower(g_utf8_strdown(composed.get(), -1));
  // GLib's lower case of a final sigma depends on its neighbours; IDNA's does not.
  return owned.get() == std::string_view(lower.get()) ||
         owned.get() == std::string_view(composed.get());
}

bool isAmong(const std::set<GUnicodeScript>& scripts,
             std::initializer_list<GUnicodeScript> together) {
  return std::all_of(scripts.begin(), scripts.end(), [&](GUnicodeScript script) {
    return std::find(together.begin(), together.end(), script) != together.end();
  });
}

bool labelMixesScripts(std::string_view label) {
  std::set<GUnicodeScript> scripts;
  for (const char* at = label.data(); at < label.data() + label.size(); at = g_utf8_next_char(at)) {
    scripts.insert(g_unichar_get_script(g_utf8_get_char(at)));
  }
  // Digits and punctuation are common to all scripts, and marks inherit the script of their letter.
  scripts.erase(G_UNICODE_SCRIPT_COMMON);
  scripts.erase(G_UNICODE_SCRIPT_INHERITED);
  return scripts.size() > 1 &&
         !isAmong(scripts, {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_HIRAGANA,
                            G_UNICODE_SCRIPT_KATAKANA}) &&
         !isAmong(scripts,
                  {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_BOPOMOFO}) &&
         !isAmong(scripts, {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_HANGUL});
}

// RFC 5321 section 4.5.3.1: a path has at most 256 bytes, angle brackets included.
constexpr std::size_t kLongestAddress = 254;
constexpr std::size_t kLongestLocalPart = 64;

// GLib's data add what character_kind.h leaves out on purpose, because it is no reason to hide a
// character in running text: unassigned, private-use and the rarer format characters.
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

// The characters of RFC 6532 count as letters here; isVisibleText() has judged them.
bool isDotAtom(std::string_view text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') {
    return false;
  }
  if (text.find("..") != std::string_view::npos) {
    return false;
  }
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '.' || !isAscii(c) || isAtomCharacter(c); });
}

// RFC 5322 section 3.2.4. A quote inside must be escaped, and a backslash must not escape the
// closing quote.
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

// The length limit is for the wire form, in which the domain is sent.
bool isDomain(std::string_view domain, std::size_t longest) {
  const auto wire = wireDomain(domain);
  return wire && wire->size() <= longest && everyLabel(domain, labelKeepsItsCharacters);
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
  // GLib accepts both families; the tag decides which one it must be.
  return six == colons && g_hostname_is_ip_address(inside.c_str());
}

}  // namespace

bool isAtomCharacter(char c) {
  constexpr std::string_view kMarks = "!#$%&'*+-/=?^_`{|}~";
  return isLetterOrDigit(c) || kMarks.find(c) != std::string_view::npos;
}

bool isHostName(std::string_view domain) {
  return domain.size() <= kLongestDomain && everyLabel(domain, [](std::string_view label) {
           return !label.empty() && std::all_of(label.begin(), label.end(), [](char c) {
             return isLetterOrDigit(c) || c == '-';
           });
         });
}

std::optional<std::string> wireDomain(std::string_view domain) {
  // A character has at most four bytes of UTF-8 and at least one in the wire form, so a longer
  // domain cannot fit. A stranger's domain may be a megabyte long.
  constexpr std::size_t kLongestWritten = 4 * kLongestDomain;
  if (domain.size() > kLongestWritten) {
    return std::nullopt;
  }
  std::string wire;
  const bool all = everyLabel(domain, [&wire](std::string_view label) {
    const auto one = wireLabel(label);
    if (one) {
      wire.append(wire.empty() ? "" : ".").append(*one);
    }
    return one.has_value();
  });
  if (!all || wire.size() > kLongestDomain) {
    return std::nullopt;
  }
  return wire;
}

bool mixesScripts(std::string_view domain) {
  return !everyLabel(domain, [](std::string_view label) { return !labelMixesScripts(label); });
}

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
  // The last "@": a quoted local part may contain others.
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
