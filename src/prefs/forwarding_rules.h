// SPDX-License-Identifier: MIT
// The matching behind the forwarding rules: words against a text, senders against a list, both
// without regard to case. What to match and what follows from it is clsPref's intShouldForward.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "prefs/preference_fields.h"

namespace relaybird {

/// Why a rule held an item back, word for word as the activity log shows it.
inline constexpr std::string_view kTextNotFound =
    "Email did not contain mandatory text string(s) that you specified in  the Settings dialog";
inline constexpr std::string_view kSenderExcluded =
    "Email was sent by one of the senders that you instructed to exclude in the Settings dialog";
inline constexpr std::string_view kSenderNotListed =
    "Email was not sent by the  sender(s) that you specified in the Settings dialog";
inline constexpr std::string_view kSenderUnknown = "Problem determining sender";

/// A list with the case of its letters folded. One pass asks for the same list with every item;
/// only a list that has changed is converted again.
class FoldedList {
 public:
  const StringList& of(const StringList& list);

 private:
  StringList list_;
  StringList folded_;
};

/// Whether the text holds all of the words (kMatchAll) or any one of them (every other type), as
/// parts of it. An empty word is part of every text but the empty one. Words without entries never
/// match.
bool wordsMatch(std::string_view text, const StringList& foldedWords, std::int16_t matchType);

/// Whether an entry is a part of the sender's address or display name. A domain beyond ASCII is
/// found by its "xn--" form and by its letters. An address without "@" is the store's inner name
/// for somebody and does not count.
bool senderIsListed(std::string_view address, std::string_view name,
                    const StringList& foldedEntries);

}  // namespace relaybird
