// SPDX-License-Identifier: MIT
#include "mail/store_rules.h"

#include <algorithm>

#include "mail/mail_store.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

bool isUnreadFilter(std::string_view filter) {
  std::string given = asciiLower(filter);
  given.erase(std::remove(given.begin(), given.end(), ' '), given.end());
  return given == asciiLower(kUnreadFilter);
}

void requireIndex(std::int32_t index, std::int32_t count) {
  if (index >= 1 && index <= count) {
    return;
  }
  throw MailStoreError("Array index out of bounds: " + std::to_string(index) + " of " +
                       std::to_string(count));
}

std::string forwardSubject(std::string_view subject) {
  const std::string mark = asciiLower(subject.substr(0, 4));
  if (mark.starts_with("fw:") || mark == "fwd:") {
    return std::string(subject);
  }
  return "FW: " + std::string(subject);
}

bool isTaskRequest(std::string_view className) {
  const std::string kind = asciiLower(className);
  return kind == "taskrequestitem" || kind == "taskrequestacceptitem" ||
         kind == "taskrequestdeclineitem" || kind == "taskrequestupdateitem";
}

}  // namespace relaybird
