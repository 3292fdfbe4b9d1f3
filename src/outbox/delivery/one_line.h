// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// Any bytes as a piece of a log line: as withCodes() has them, but each run of blanks and of what
/// ends lines is one blank, and there is none at the ends. Cut to 300 bytes, never within a
/// character or a code.
std::string oneLine(std::string_view text);

}  // namespace relaybird
