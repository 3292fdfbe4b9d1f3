// SPDX-License-Identifier: MIT
// Conversion between the forms' texts (UTF-8) and the toolkit's strings.
#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

namespace relaybird::desktop {

/// Invalid UTF-8 bytes, as in old file names, become a backslash and octal digits.
wxString toWx(std::string_view text);

/// The same, with the forms' line ends (CR LF) replaced by LF.
wxString linesToWx(std::string_view text);

/// The text as one line of visible characters, with control and direction characters replaced by
/// codes (withCodes()). A text from a message must not be able to reorder or hide other parts of
/// the line that shows it (UAX #9).
wxString plainLine(std::string_view text);

std::string fromWx(const wxString& text);

}  // namespace relaybird::desktop
