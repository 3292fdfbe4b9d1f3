// SPDX-License-Identifier: MIT
// The colours of the manual's pages, and the pictures around them.
#pragma once

class wxHtmlHelpWindow;
class wxHtmlWindow;

namespace relaybird::desktop {

/// Gives the pages the colours of the theme, now and whenever that changes. Once for each window.
void followTheme(wxHtmlWindow& page);

/// Gives the tools, and the topics in the contents, pictures of ours, as large as the letters ask
/// for. The toolkit's own pictures have one size only. Once for each window, which has both a tool
/// bar and contents.
void showPictures(wxHtmlHelpWindow& help);

}  // namespace relaybird::desktop
