// SPDX-License-Identifier: MIT
#include "message/address/domain_name.h"

#include <glib.h>
#include <idn2.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <set>

#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kLongestDomain = 255;
constexpr std::size_t kLongestLabel = 63;

struct Free {
  void operator()(char* text) const { idn2_free(text); }
};
using IdnText = std::unique_ptr<char, Free>;

bool isLabel(std::string_view label) {
  const auto belongs = [](char c) { return isLetterOrDigit(c) || c == '-' || c == '_'; };
  return !label.empty() && label.size() <= kLongestLabel && label.front() != '-' &&
         label.back() != '-' && std::all_of(label.begin(), label.end(), belongs);
}

// Whether `test` holds for each label.
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

// Label by label, because what stands in one is no reason to touch another. The full stops of East
// Asia, which IDNA takes for dots, are none in mail, so a label that has one has no wire form.
std::optional<std::string> wireLabel(std::string_view label) {
  if (isAscii(label)) {
    return isLabel(label) ? std::optional(std::string(label)) : std::nullopt;
  }
  char* ascii = nullptr;
  constexpr int kFlags = IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL;
  if (idn2_to_ascii_8z(std::string(label).c_str(), &ascii, kFlags) != IDN2_OK) {
    return std::nullopt;
  }
  const IdnText owned(ascii);
  return isLabel(ascii) ? std::optional(std::string(ascii)) : std::nullopt;
}

bool labelSaysWhatItIs(std::string_view label) {
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
  // The lower case of a final sigma depends on its neighbours for GLib, and not for IDNA.
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
  scripts.erase(G_UNICODE_SCRIPT_COMMON);
  scripts.erase(G_UNICODE_SCRIPT_INHERITED);
  return scripts.size() > 1 &&
         !isAmong(scripts, {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_HIRAGANA,
                            G_UNICODE_SCRIPT_KATAKANA}) &&
         !isAmong(scripts,
                  {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_BOPOMOFO}) &&
         !isAmong(scripts, {G_UNICODE_SCRIPT_LATIN, G_UNICODE_SCRIPT_HAN, G_UNICODE_SCRIPT_HANGUL});
}

}  // namespace

bool isAsciiDomain(std::string_view domain) {
  return domain.size() <= kLongestDomain && everyLabel(domain, isLabel);
}

std::optional<std::string> wireDomain(std::string_view domain) {
  // Four bytes are the longest character of UTF-8, and no character is shorter in the wire form
  // than one byte. What strangers write may be a megabyte.
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

bool saysWhatItIs(std::string_view domain) {
  return everyLabel(domain, labelSaysWhatItIs);
}

bool mixesScripts(std::string_view domain) {
  return !everyLabel(domain, [](std::string_view label) { return !labelMixesScripts(label); });
}

}  // namespace relaybird
