// SPDX-License-Identifier: MIT
// The forms' texts, which are UTF-8, and the toolkit's.
#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

namespace relaybird::desktop {

/// Bytes that are no UTF-8, as in the names of old files, show as backslash and octal digits.
wxString toWx(std::string_view text);

/// The same with lines that end in LF, where those of the forms end in CR LF.
wxString linesToWx(std::string_view text);

/// The text in one line, in the order of its letters, for all to see, as withCodes() has it. A
/// message must not dress up a line that tells of it (UAX #9).
wxString plainLine(std::string_view text);

std::string fromWx(const wxString& text);

}  // namespace relaybird::desktop
