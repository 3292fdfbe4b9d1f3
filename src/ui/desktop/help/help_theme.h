// SPDX-License-Identifier: MIT
#pragma once

class wxHtmlWindow;

namespace relaybird::desktop {

/// Gives the pages the colours of the theme, now and whenever that changes. Once for each window.
void followTheme(wxHtmlWindow& page);

}  // namespace relaybird::desktop
