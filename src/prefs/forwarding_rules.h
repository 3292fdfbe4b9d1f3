// SPDX-License-Identifier: MIT
// The matching of the forwarding rules: words in a text, senders in a list, both ignoring case.
// clsPref's intShouldForward decides what is matched, and what follows from it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "prefs/preference_fields.h"

namespace relaybird {

/// Why a rule rejected an item: the exact texts of the activity log.
inline constexpr std::string_view kTextNotFound =
    "Email did not contain mandatory text string(s) that you specified in  the Settings dialog";
inline constexpr std::string_view kSenderExcluded =
    "Email was sent by one of the senders that you instructed to exclude in the Settings dialog";
inline constexpr std::string_view kSenderNotListed =
    "Email was not sent by the  sender(s) that you specified in the Settings dialog";
inline constexpr std::string_view kSenderUnknown = "Problem determining sender";

/// A list with its letter case folded. A pass asks for the same list for every item; only a changed
/// list is converted again.
class FoldedList {
 public:
  const StringList& of(const StringList& list);

 private:
  StringList list_;
  StringList folded_;
};

/// Whether the text contains all of the words (kMatchAll) or any of them (every other type). An
/// empty word is part of every text except an empty one. An empty list of words never matches.
bool wordsMatch(std::string_view text, const StringList& foldedWords, std::int16_t matchType);

/// Whether an entry is part of the sender's address or display name. An internationalised domain is
/// found both by its "xn--" form and by its letters. An address without "@" is an internal name of
/// the store and is ignored.
bool senderIsListed(std::string_view address, std::string_view name,
                    const StringList& foldedEntries);

}  // namespace relaybird
