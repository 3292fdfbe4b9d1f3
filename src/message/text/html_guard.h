// SPDX-License-Identifier: MIT
// What an HTML document goes through before a parser sees it. Internal to this folder.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The document as valid UTF-8 without NULs, comments, and the text of scripts and style sheets,
/// and without what would cost the reader the text or us the time:
/// - the opening of a comment that never ends, which would swallow all that follows;
/// - the end of the document, behind which mailing lists put their footers;
/// - the conditional marks that Outlook writes ("<![if !mso]>"), which are text to libxml2;
/// - what a tag holds beyond 500 attributes, each of which libxml2 compares with all others.
std::string tamedHtml(std::string_view html);

}  // namespace relaybird
