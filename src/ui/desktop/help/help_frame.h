// SPDX-License-Identifier: MIT
#pragma once

class wxFrame;
class wxHtmlHelpWindow;

namespace relaybird::desktop {

/// Adapts the toolkit's help window to the program's other windows: large enough for its text, in
/// the colours of the theme, with pictures that scale with the font and with accessible names. It
/// closes by Escape and takes input while a dialog is modal, and its search reports the number of
/// hits. Call it once for each window.
void adaptHelpFrame(wxFrame& frame, wxHtmlHelpWindow& help);

}  // namespace relaybird::desktop
