// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text on one line: runs of blanks and ASCII control characters are one blank, and there is
/// none at the ends. Other bytes stay. Any thread.
std::string tidyLine(std::string_view text);

}  // namespace relaybird
