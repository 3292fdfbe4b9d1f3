// SPDX-License-Identifier: MIT
// Unicode characters that are invisible or change how other text looks: the one list for everything
// that shows or cleans texts by strangers. It contains the property Default_Ignorable_Code_Point
// (Unicode Standard, section 5.21), control characters, line separators, blanks and interlinear
// annotation marks, grouped by their effect on a text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

enum class CharacterKind : std::uint8_t {
  kOrdinary,
  kBlank,      ///< the space and all other spaces of any width, including U+2800
  kControl,    ///< C0 (the tab, CR and LF too), DEL and C1
  kLineBreak,  ///< U+2028 and U+2029
  kDirection,  ///< turns the direction of what follows: embeddings, overrides, isolates (UAX #9)
  kDirectionMark,  ///< an invisible letter with a direction: U+061C, U+200E, U+200F
  kFiller,         ///< has neither ink nor width: soft hyphen, zero-width space, U+034F, tags, ...
  kJoiner,         ///< the same, but needed in ordinary words and emoji: U+200C, U+200D, variation
                   ///< selectors (U+FE0F and others)
};

/// Codes past U+10FFFF are ordinary.
CharacterKind kindOf(char32_t code);

/// Whether a line that quotes a text must show the character by its code: it would be invisible, or
/// would move its neighbours. Blanks and joiners are kept.
bool isHidden(char32_t code);

/// Any bytes as valid UTF-8 on one line in which nothing is hidden: "<U+202E>" for a hidden
/// character other than the tab, and "\xe9" for a byte that is not UTF-8.
std::string withCodes(std::string_view text);

/// The same, but line ends (LF, CR LF) are kept.
std::string linesWithCodes(std::string_view text);

/// Removes the first character of a non-empty text and appends it in the form of withCodes().
void takeWithCode(std::string_view& text, std::string& out);

}  // namespace relaybird
