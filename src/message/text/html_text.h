// SPDX-License-Identifier: MIT
// The plain text that a person would read in an HTML mail body. Safe for hostile input: linear time
// and a bounded stack for any nesting; no network, no scripts, no entity expansion.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text of an HTML document in UTF-8; bytes that are not UTF-8 are replaced. Lines are
/// separated by LF. Paragraphs and headings are set apart by an empty line; list items begin with
/// "- " or their number; each table row is a line with tabs between its cells; <pre> keeps its
/// white space. A link whose text differs from its target is followed by the target in angle
/// brackets (http, https and mailto only). Scripts, styles, the head and comments are left out;
/// where a comment never ends, the text behind its opening is shown. Any thread.
std::string htmlToText(std::string_view utf8Html);

/// The character set named by a <meta> element in the document's first kilobyte, in lower case;
/// empty where there is none. Never throws; any thread.
std::string sniffHtmlCharset(std::string_view bytes);

}  // namespace relaybird
