// SPDX-License-Identifier: MIT
// What the user types into a field that holds a list. Entries are separated by semicolons alone;
// people part them by the keys and from the sources that they have.
#pragma once

#include <string>

#include "ui/forms/model/control.h"

namespace relaybird {

/// What a list holds, which says what a comma means in it.
enum class ListOf {
  kAddresses,  ///< a comma ends an entry, unless it stands in quotes
  kSenders,    ///< the same behind an address; a name may hold one: Doe, John
  kPhrases,    ///< a comma is a part of the phrase
};

/// `before` is what stood in the field, `typed` what stands there after one change by the user,
/// with the caret where he left it. In what he has put in, an end of a line becomes "; ", and so
/// does a comma that ends an entry; what stood there before stays as it was, but for blanks beside
/// a new separator. Where a separator stands already the caret moves behind it instead.
TypedText withSemicolons(ListOf list, const std::string& before, const TypedText& typed);

}  // namespace relaybird
