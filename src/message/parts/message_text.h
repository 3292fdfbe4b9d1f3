// SPDX-License-Identifier: MIT
// The texts of a message's parts, decoded. A part that cannot be read any more is an empty text.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "message/parts/part_tree.h"
#include "platform/file_system.h"

namespace relaybird {

/// The parts one below the other as plain text, HTML turned into text; lines ended by LF, no NULs.
/// At most `limit` bytes of the parts' content are looked at.
std::string plainTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit);

/// The same as HTML, plain text escaped and preformatted.
std::string htmlTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit);

/// One text part as UTF-8, in its own format, without escape sequences and control characters;
/// format=flowed (RFC 3676) as paragraphs.
std::string textOf(InputFile& file, const Part& part, std::size_t limit);

/// Whether a reader of the part sees nothing: blanks, or no text at all. Most are read no further
/// than their first line.
bool isBlankPart(InputFile& file, const Part& part, std::size_t limit);

/// Text as it stands in HTML, in elements and in quoted attributes.
std::string escapeHtml(std::string_view text);

/// The content identifiers that a document refers to ("cid:", RFC 2392).
std::set<std::string, std::less<>> contentIdsUsed(std::string_view html);

/// Everything in a document that may be a reference to another: the values of its attributes, and
/// what stands in "url()".
std::set<std::string, std::less<>> referencesUsed(std::string_view html);

}  // namespace relaybird
