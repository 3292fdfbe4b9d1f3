// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird::desktop {

/// Puts UTF-8 text on the clipboard; at the end of the program whatever keeps the clipboard of
/// programs that end gets it. False when the clipboard is not to be had now. The toolkit's own
/// clipboard would be emptied by its end, whoever has put something there since.
bool putOnClipboard(const std::string& text);

}  // namespace relaybird::desktop
