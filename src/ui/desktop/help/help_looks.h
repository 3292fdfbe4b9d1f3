// SPDX-License-Identifier: MIT
// The appearance of the manual: the colours of its pages, and the pictures of its tools and topics.
#pragma once

class wxHtmlHelpWindow;
class wxHtmlWindow;

namespace relaybird::desktop {

/// Shows the pages in the colours of the theme, also after the theme changes. Call it once for each
/// window.
void followTheme(wxHtmlWindow& page);

/// Replaces the pictures of the tools and of the topics by our own, which scale with the font; the
/// toolkit's pictures have one fixed size. The window must have a tool bar and contents. Call it
/// once for each window.
void showPictures(wxHtmlHelpWindow& help);

}  // namespace relaybird::desktop
