// SPDX-License-Identifier: MIT
// Decodes the texts of a message's parts. A part that cannot be read any more has an empty text.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "message/parts/part_tree.h"
#include "platform/file_system.h"

namespace relaybird {

/// The parts as plain text one below the other, HTML converted to text; lines end with LF, no NULs.
/// Reads at most `limit` bytes of the parts' content.
std::string plainTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit);

/// The same as HTML, plain text escaped and preformatted.
std::string htmlTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit);

/// One text part as UTF-8, in its own format, without escape sequences and control characters;
/// format=flowed (RFC 3676) as paragraphs.
std::string textOf(InputFile& file, const Part& part, std::size_t limit);

/// Whether a reader of the part sees nothing: only blanks, or no text. Most parts are read no
/// further than their first line.
bool isBlankPart(InputFile& file, const Part& part, std::size_t limit);

/// The text escaped for HTML, for elements and quoted attributes.
std::string escapeHtml(std::string_view text);

/// The content identifiers that a document refers to ("cid:", RFC 2392).
std::set<std::string, std::less<>> contentIdsUsed(std::string_view html);

/// Everything in a document that may refer to another one: attribute values and "url()".
std::set<std::string, std::less<>> referencesUsed(std::string_view html);

}  // namespace relaybird
