// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// UTF-8 text in upper case, for comparing without regard to case, the same in every locale. Covers
/// the letters of ASCII, Latin-1, Latin Extended-A (and the Romanian ones), Greek and Cyrillic that
/// have a one-letter partner; all others, and bytes that are no valid UTF-8, pass through
/// unchanged. The final sigma becomes the ordinary one. For matching, not for display.
std::string upperCase(std::string_view text);

}  // namespace relaybird
