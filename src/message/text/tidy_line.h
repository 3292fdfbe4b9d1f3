// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text on one line: runs of spaces, control characters and separators of lines are one blank,
/// and there is none at the ends. Everything else stays, bytes that are no UTF-8 too. Any thread.
std::string tidyLine(std::string_view text);

}  // namespace relaybird
