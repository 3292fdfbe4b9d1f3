// SPDX-License-Identifier: MIT
// Lists of addresses, names and words, and their conversion between the line that a user types,
// with
// ";" between the entries, and the stored list with one text for each entry.
#pragma once

#include <string>
#include <string_view>

#include "prefs/preference_fields.h"

namespace relaybird {

/// Replaces every tab, line feed, carriage return, semicolon and NUL by a blank, and trims the
/// blanks at both ends.
std::string cleanStringEnds(std::string_view text);

/// Splits at every ";" and nowhere else, cleans the pieces and drops the empty ones. Returns the
/// number of entries in the list, which is never 0: a text without entries gives one empty entry.
/// -1 when there are more entries than a 16-bit count holds; the list is unchanged then.
int FormTextToArray(std::string_view text, StringList& list);

/// Every entry, cleaned, followed by "; ", including the last one; empty for an empty list.
std::string MakeStringFromArray(const StringList& list);

/// Whether the list is empty: it has no entries, or one empty entry, which is how an empty list is
/// stored.
bool holdsNothing(const StringList& list);

/// The question whether to forward to these addresses, `once` or from now on; empty when the list
/// holds nothing. Lines end in CR LF.
std::string confirmMessage(const StringList& addresses, bool once);

}  // namespace relaybird
