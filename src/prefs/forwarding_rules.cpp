// SPDX-License-Identifier: MIT
#include "prefs/forwarding_rules.h"

#include <algorithm>

#include "platform/text/matching_text.h"

namespace relaybird {

namespace {

// An empty entry is part of every text but an empty one, so it matches every item with a text.
bool occurs(const std::string& part, const std::string& text) {
  return !text.empty() && text.find(part) != std::string::npos;
}

}  // namespace

const StringList& FoldedList::of(const StringList& list) {
  // Comparing the lists is much cheaper than folding them, and a pass asks for every item.
  if (list != list_) {
    StringList folded;
    folded.reserve(list.size());
    for (const std::string& entry : list) {
      folded.push_back(foldCase(entry));
    }
    folded_ = std::move(folded);
    list_ = list;
  }
  return folded_;
}

// No words hold everything back: the user has switched the rule on and must notice.
bool wordsMatch(std::string_view text, const StringList& foldedWords, std::int16_t matchType) {
  if (foldedWords.empty()) {
    return false;
  }
  const std::string foldedText = foldCase(text);
  const auto isInText = [&](const std::string& word) { return occurs(word, foldedText); };
  return matchType == kMatchAll ? std::all_of(foldedWords.begin(), foldedWords.end(), isInText)
                                : std::any_of(foldedWords.begin(), foldedWords.end(), isInText);
}

bool senderIsListed(std::string_view address, std::string_view name,
                    const StringList& foldedEntries) {
  // A sender inside an organisation may have an address of another system there, which must not
  // match by chance.
  if (address.find('@') == std::string_view::npos) {
    address = {};
  }
  const std::string foldedAddress = foldCase(address);
  // People list a domain by its letters as well as by its "xn--" form.
  const std::string foldedLetters = foldCase(withDecodedLabels(address));
  const std::string foldedName = foldCase(name);
  return std::any_of(foldedEntries.begin(), foldedEntries.end(), [&](const std::string& entry) {
    return occurs(entry, foldedAddress) || occurs(entry, foldedLetters) ||
           occurs(entry, foldedName);
  });
}

}  // namespace relaybird
