// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// UTF-8 as the UTF-16 that Windows calls take. Each byte that is not UTF-8 becomes U+FFFD.
std::wstring toWide(std::string_view text);

/// UTF-16 from a Windows call as UTF-8. Half of a surrogate pair becomes U+FFFD.
std::string fromWide(std::wstring_view text);

/// UTF-8 in the system's ANSI code page, as old programs read plain text files. A character that
/// the page does not have becomes the one that looks like it, or "?".
std::string toAnsi(const std::string& text);

}  // namespace relaybird
