// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird::desktop {

/// Puts UTF-8 text on the clipboard, and hands it to whatever keeps the clipboard of programs that
/// end. False when the clipboard is not to be had now. The toolkit's own clipboard would be emptied
/// by its end, whoever has put something there since.
bool putOnClipboard(const std::string& text);

}  // namespace relaybird::desktop
