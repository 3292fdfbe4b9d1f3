// SPDX-License-Identifier: MIT
// The forms in which texts are compared: without letter case, and with the letters of an
// internationalised domain. For matching only, not for display: different texts can look the same
// in these forms. Nothing fails; any thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Simple case folding of a character by the Unicode data (UAX #44, CaseFolding.txt), the same in
/// every locale. The four letters i of Turkish, dotted and dotless, fold to one. A character
/// without case is unchanged.
char32_t foldCase(char32_t code);

/// UTF-8 text with every character folded; bytes that are not UTF-8 are kept. Two texts that differ
/// only in case become equal. Takes time linear in the text.
std::string foldCase(std::string_view text);

/// The text with each "xn--" label of a domain decoded (Punycode, RFC 3492), in UTF-8:
/// "a@xn--mnchen-3ya.example" becomes "a@m\u00FCnchen.example". An invalid label is unchanged.
/// Quadratic in the length of a label, which is at most 63 characters.
std::string withDecodedLabels(std::string_view text);

}  // namespace relaybird
