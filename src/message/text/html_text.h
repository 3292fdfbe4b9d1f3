// SPDX-License-Identifier: MIT
// An HTML mail body as the plain text that a person would read. Written for hostile input: linear
// time and bounded stack whatever the nesting, no network, no scripts, no entity expansion.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text of an HTML document (UTF-8; bytes that are not are replaced). Lines end with LF, and
/// there is none at the end. Paragraphs and headings are set apart by an empty line, list items
/// begin with
/// "- " or their number, table rows are lines whose cells a tab divides, <pre> keeps its white
/// space. A link whose target a reader could not tell from its text is followed by the target in
/// angle brackets (http, https and mailto only). Scripts, styles, the head and comments are left
/// out; where a comment never ends, what follows its opening is text. Any thread.
std::string htmlToText(std::string_view utf8Html);

/// The character set that the document's first kilobyte names in a <meta> element, in lower case;
/// empty where there is none. Never throws; any thread.
std::string sniffHtmlCharset(std::string_view bytes);

}  // namespace relaybird
