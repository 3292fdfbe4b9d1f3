// SPDX-License-Identifier: MIT
#pragma once

class wxFrame;
class wxHtmlHelpWindow;

namespace relaybird::desktop {

/// Makes of the window that the toolkit put together one like the program's others: large enough
/// for its text, in the colours of the theme, with pictures that grow with the letters and names
/// for assistive tools, closed by Escape, of use beside a modal dialog; and its search says what it
/// found. Once for each window.
void finishHelpFrame(wxFrame& frame, wxHtmlHelpWindow& help);

}  // namespace relaybird::desktop
