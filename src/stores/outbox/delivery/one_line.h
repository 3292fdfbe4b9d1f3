// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Any bytes as a piece of a log line: valid UTF-8, each run of blanks and control characters one
/// blank, none at the ends, cut to 300 bytes.
std::string oneLine(std::string_view text);

}  // namespace relaybird
