// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The letter that stands for a character when case does not matter: simple case folding by the
/// Unicode data (UAX #44, CaseFolding.txt), the same in every locale. The four letters i of
/// Turkish, with a dot and without one, are one. A character without case is itself.
char32_t foldCase(char32_t code);

/// UTF-8 text with every character folded; bytes that are no UTF-8 stay. Two texts that differ in
/// case alone are the same then. For matching, not for display. Takes time linear in the text.
std::string foldCase(std::string_view text);

}  // namespace relaybird
