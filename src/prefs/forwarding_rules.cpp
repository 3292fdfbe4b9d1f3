// SPDX-License-Identifier: MIT
#include "prefs/forwarding_rules.h"

#include <algorithm>

#include "platform/text/text_case.h"

namespace relaybird {

namespace {

bool occurs(const std::string& part, const std::string& text) {
  return !text.empty() && text.find(part) != std::string::npos;
}

}  // namespace

const StringList& UpperCasedList::of(const StringList& list) {
  if (list != list_) {
    StringList upperCased;
    upperCased.reserve(list.size());
    for (const std::string& entry : list) upperCased.push_back(upperCase(entry));
    upperCased_ = std::move(upperCased);
    list_ = list;
  }
  return upperCased_;
}

bool wordsMatch(std::string_view text, const StringList& upperCasedWords, std::int16_t matchType) {
  if (upperCasedWords.empty()) return false;
  const std::string upperCasedText = upperCase(text);
  const auto isInText = [&](const std::string& word) { return occurs(word, upperCasedText); };
  return matchType == kMatchAll
             ? std::all_of(upperCasedWords.begin(), upperCasedWords.end(), isInText)
             : std::any_of(upperCasedWords.begin(), upperCasedWords.end(), isInText);
}

bool senderIsListed(std::string_view address, std::string_view name,
                    const StringList& upperCasedEntries) {
  if (address.find('@') == std::string_view::npos) address = {};
  const std::string upperCasedAddress = upperCase(address);
  const std::string upperCasedName = upperCase(name);
  return std::any_of(upperCasedEntries.begin(), upperCasedEntries.end(),
                     [&](const std::string& entry) {
                       return occurs(entry, upperCasedAddress) || occurs(entry, upperCasedName);
                     });
}

}  // namespace relaybird
