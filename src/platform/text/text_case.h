// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Simple case folding of a character by the Unicode data (UAX #44, CaseFolding.txt), the same in
/// every locale. The four letters i of Turkish, dotted and dotless, fold to one. A character
/// without case is unchanged.
char32_t foldCase(char32_t code);

/// UTF-8 text with every character folded; bytes that are not UTF-8 are kept. Two texts that differ
/// only in case become equal. For matching, not for display. Takes time linear in the text.
std::string foldCase(std::string_view text);

}  // namespace relaybird
