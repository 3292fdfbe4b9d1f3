// SPDX-License-Identifier: MIT
#pragma once

class wxHtmlHelpWindow;

namespace relaybird::desktop {

/// Gives the tools, and the topics in the contents, pictures of ours, as large as the letters ask
/// for. The toolkit's own pictures have one size only. Once for each window, which has both a tool
/// bar and contents.
void showPictures(wxHtmlHelpWindow& help);

}  // namespace relaybird::desktop
