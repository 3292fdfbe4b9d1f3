// SPDX-License-Identifier: MIT
#include "engine/item_kinds.h"

#include <algorithm>
#include <array>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

struct Kind {
  std::string_view upperName;
  DateTime (MailItem::*date)();
};

constexpr std::array<Kind, 7> kAcceptedKinds{{
    {"TASKREQUESTACCEPTITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTDECLINEITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTUPDATEITEM", &MailItem::LastModificationDate},
    {"MAILITEM", &MailItem::ReceivedTime},
    {"MEETINGITEM", &MailItem::ReceivedTime},
    {"REPORTITEM", &MailItem::LastModificationDate},
}};

const Kind* acceptedKind(MailItem& item) {
  const std::string name = asciiUpper(item.ClassName());
  const auto* found = std::find_if(kAcceptedKinds.begin(), kAcceptedKinds.end(),
                                   [&](const Kind& kind) { return kind.upperName == name; });
  return found == kAcceptedKinds.end() ? nullptr : found;
}

}  // namespace

bool ValidateInboxType(MailItem& item) {
  try {
    return acceptedKind(item) != nullptr;
  } catch (const MailStoreError&) {
    return false;
  }
}

DateTime GetRelevantDate(MailItem& item) {
  try {
    const Kind* kind = acceptedKind(item);
    return kind == nullptr ? kNoDate : (item.*kind->date)();
  } catch (const MailStoreError&) {
    return kNoDate;
  }
}

}  // namespace relaybird
