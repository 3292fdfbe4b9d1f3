// SPDX-License-Identifier: MIT
// Lists of addresses, names and words between the one line in which a user types them and the
// entries that are stored: one text with ";" between the entries, or one text per entry.
#pragma once

#include <string>
#include <string_view>

#include "prefs/preference_fields.h"

namespace relaybird {

/// Turns every tab, line feed, carriage return, semicolon, NUL and blank into a blank and trims the
/// blanks at both ends. What this finds inside the text becomes a blank too.
std::string cleanStringEnds(std::string_view text);

/// Splits at every ";" and nowhere else, cleans the pieces and drops the empty ones. Returns the
/// number of entries in the list, which is never 0: a text without entries gives one empty entry.
/// -1 when there are more than a 16-bit count holds; the list is left alone then.
int FormTextToArray(std::string_view text, StringList& list);

/// Every entry, cleaned, followed by "; ", the last one too; empty for a list that holds nothing.
std::string MakeStringFromArray(const StringList& list);

/// Whether the list has no entries, or only the one empty entry that stands for none.
bool holdsNothing(const StringList& list);

/// The question whether to forward to these addresses, `once` or from now on; empty when the list
/// holds nothing. Lines end in CR LF.
std::string confirmMessage(const StringList& addresses, bool once);

}  // namespace relaybird
