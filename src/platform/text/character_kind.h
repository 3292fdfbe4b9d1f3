// SPDX-License-Identifier: MIT
// Which characters of Unicode a reader does not see, or sees other than they are: the one list for
// everything that shows or cleans what strangers have written. It is the property
// Default_Ignorable_Code_Point (Unicode Standard, section 5.21), the control characters, the
// separators of lines, the blanks, and the marks of interlinear notes; by what they do to a text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

enum class CharacterKind : std::uint8_t {
  kOrdinary,
  kBlank,      ///< the space, and every other character that is one of some width, U+2800 too
  kControl,    ///< C0 (the tab, CR and LF too), DEL and C1
  kLineBreak,  ///< U+2028 and U+2029
  kDirection,  ///< turns the direction of what follows: embeddings, overrides, isolates (UAX #9)
  kDirectionMark,  ///< a letter of one direction that is not seen: U+061C, U+200E, U+200F
  kFiller,         ///< has neither ink nor width: soft hyphen, zero-width space, U+034F, tags, ...
  kJoiner,  ///< as little, but ordinary words and pictures need it: U+200C, U+200D, selectors
            ///< of variants (U+FE0F and its like)
};

/// Codes past U+10FFFF are ordinary.
CharacterKind kindOf(char32_t code);

/// Whether a line that tells of a text must show the character by its code: it would not be seen,
/// or would move what stands beside it. Blanks and joiners stand as they are.
bool isHidden(char32_t code);

/// Any bytes as valid UTF-8 in which nothing is hidden: "<U+202E>" for a hidden character other
/// than the tab, and "\xe9" for a byte that is no UTF-8. The text stands on one line then.
std::string withCodes(std::string_view text);

/// The same, but line ends (LF, CR LF) stay.
std::string linesWithCodes(std::string_view text);

/// Takes the first character off a text that is not empty, and appends it as withCodes() has it.
void takeWithCode(std::string_view& text, std::string& out);

}  // namespace relaybird
