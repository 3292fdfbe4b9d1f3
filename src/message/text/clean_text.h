// SPDX-License-Identifier: MIT
// Cleans text that strangers wrote: terminal escapes, control characters, invisible filling, line
// ends. All texts are UTF-8; bytes that are not stay. Linear time; any thread.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Removes the escape sequences of terminals (ECMA-48): colours, cursor movements, window titles.
/// An ESC that begins no sequence is removed alone.
std::string withoutEscapes(std::string_view text);

/// Removes escape sequences and control characters. LF and tab stay; form feed, vertical tab and
/// next line (U+0085) become LF.
std::string withoutControls(std::string_view text);

/// Removes the characters that have neither ink nor width, with which senders fill the beginning of
/// a text. A row of blanks that are not all plain spaces becomes one space. Joiners stay between
/// letters and pictures that they join; line ends stay.
std::string withoutFillers(std::string_view text);

/// Replaces every CR LF, and every CR that stands alone, by LF.
std::string withPlainLineEnds(std::string_view text);

/// The text on one line: each control character and line or paragraph separator becomes a blank,
/// escape sequences are removed. A stranger's text cannot leave its line then.
std::string onOneLine(std::string text);

/// The text on one line and trimmed: runs of spaces, control characters and line separators become
/// one blank. Everything else stays, bytes that are not UTF-8 too.
std::string tidyLine(std::string_view text);

/// Joins the lines of format=flowed (RFC 3676) into paragraphs: a line that ends with a blank
/// continues in the next one of the same quoting depth. With `delSp` that blank is not part of the
/// text. Stuffed blanks are removed; quoted lines begin with their marks and one blank. Lines end
/// with LF.
std::string unflowed(std::string_view text, bool delSp);

/// Whether a reader of the text sees nothing.
bool isBlankText(std::string_view text);

}  // namespace relaybird
