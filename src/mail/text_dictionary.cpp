// SPDX-License-Identifier: MIT
#include "mail/text_dictionary.h"

namespace relaybird {

bool TextDictionary::Exists(const std::string& key) const {
  return items_.count(key) != 0;
}

void TextDictionary::Add(const std::string& key, const std::string& item) {
  if (!items_.try_emplace(key, item).second) {
    throw MailStoreError("This key is already associated with an element of this collection");
  }
}

std::int32_t TextDictionary::Count() const {
  return static_cast<std::int32_t>(items_.size());
}

}  // namespace relaybird
