// SPDX-License-Identifier: MIT
// Text without what only a terminal, or nobody, reads. All texts are UTF-8. Linear time; any
// thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Without the escape sequences of terminals (ECMA-48): colours, movements, titles of windows. An
/// ESC that begins none goes alone.
std::string withoutEscapes(std::string_view text);

/// Lines without escape sequences and control characters. LF and tab stay; what else ends a line
/// or a page is an LF.
std::string withoutControls(std::string_view text);

/// Without the characters that have neither ink nor width, which senders use to fill the beginning
/// of a text; a row of blanks, one of which is not the plain space, is one plain space. Joiners
/// stay between letters and pictures that they join, and line ends where they are.
std::string withoutFillers(std::string_view text);

/// Paragraphs in place of the lines of format=flowed (RFC 3676): a line that ends with a blank goes
/// on in the next one of the same quoting depth. `delSp`: that blank is no part of the text.
/// Stuffed blanks go, and quoted lines begin with their marks and one blank. Lines end with LF.
std::string unflowed(std::string_view text, bool delSp);

/// Whether a text shows nothing.
bool isBlankText(std::string_view text);

}  // namespace relaybird
