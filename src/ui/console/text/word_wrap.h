// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace relaybird {

/// Breaks one line at blanks so that no part has more than `width` characters, as far as its words
/// allow; every part is indented, and those after the first as deep as the line's own beginning:
/// its blanks and the mark of a list. A line of blanks alone gives one empty line. Ends in LF.
std::string wrapped(std::string_view line, std::size_t width, std::string_view indent);

}  // namespace relaybird
