// SPDX-License-Identifier: MIT
// clsPref's forwarding rules. The private members may raise any fault of the mail store; the public
// operations turn it into a status.
#include <exception>

#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"
#include "prefs/cls_pref.h"

namespace relaybird {

namespace {

constexpr double kBytesPerMegabyte = 1000000;
constexpr const char* kNoTextFilter = "Could not apply the text filter";

MailItem& present(const std::shared_ptr<MailItem>& item) {
  if (!item) {
    throw MailStoreError("There is no item");
  }
  return *item;
}

std::string kindOf(const MailItem& item) {
  return asciiUpper(item.ClassName());
}

// The text that the rule looks at; only what is asked for is read.
std::string textToCheck(ItemReader& reader, std::int16_t place) {
  switch (place) {
    case kCheckSubject:
      return reader.inboxSubject();
    case kCheckBody:
      return reader.inboxBody();
    case kCheckSubjectAndBody: {
      std::string text = reader.inboxSubject();
      return text += reader.inboxBody();
    }
    default:
      throw MailStoreError("");
  }
}

double sizeOf(MailItem& item) {
  double size = static_cast<double>(characterCount(item.Body()));
  size += static_cast<double>(characterCount(item.Subject()));
  const auto attachments = required(item.Attachments(), "attachments");
  const std::int32_t count = attachments->Count();
  for (std::int32_t i = 1; i <= count; ++i) {
    size += required(attachments->Item(i), "attachment")->Size();
  }
  return size;
}

}  // namespace

int clsPref::intShouldForward(const std::shared_ptr<MailItem>& item, bool& forward,
                              std::string& reason) {
  std::string_view rejection;
  try {
    if (fields_.mbolFilterText && !textRuleAllows(item)) {
      rejection = kTextNotFound;
    }
  } catch (const std::exception& fault) {
    return textRuleFailed(fault.what());
  }
  if (rejection.empty()) {
    rejection = senderRuleRejection(item);
  }
  forward = rejection.empty();
  if (!forward) {
    reason = rejection;
  }
  return 1;
}

int clsPref::textRuleFailed(std::string_view problem) {
  lastReason_ = problem.empty() ? kNoTextFilter : problem;
  return -1;
}

bool clsPref::bolRulesNeedForward() const {
  return fields_.mbolFilterText || fields_.mintSenderFilter == kForwardOnlyListed;
}

int clsPref::intWithoutForward(const std::string& problem, bool& forward, std::string& reason) {
  if (fields_.mbolFilterText) {
    return textRuleFailed(problem);
  }
  forward = fields_.mintSenderFilter != kForwardOnlyListed;
  if (!forward) {
    reason = kSenderUnknown;
  }
  return 1;
}

bool clsPref::textRuleAllows(const std::shared_ptr<MailItem>& item) {
  const std::unique_ptr<ItemReader> reader = readerOf(item);
  const std::string text = textToCheck(*reader, fields_.mintTextToCheck);
  try {
    return wordsMatch(text, words_.of(fields_.mstrTextToMatch), fields_.mintMatchType);
  } catch (const std::exception&) {
    return true;  // Words that could not be looked for hold nothing back.
  }
}

std::string_view clsPref::senderRuleRejection(const std::shared_ptr<MailItem>& item) {
  const bool onlyListed = fields_.mintSenderFilter == kForwardOnlyListed;
  const bool allButListed = fields_.mintSenderFilter == kForwardAllButListed;
  if (!onlyListed && !allButListed) {
    return {};
  }
  try {
    const bool listed = senderInList(item);
    if (allButListed && listed) {
      return kSenderExcluded;
    }
    if (onlyListed && !listed) {
      return kSenderNotListed;
    }
    return {};
  } catch (const std::exception&) {
    // Nobody can say that an unknown sender is one of the excluded, so that rule lets the item
    // pass.
    return onlyListed ? kSenderUnknown : std::string_view();
  }
}

bool clsPref::senderInList(const std::shared_ptr<MailItem>& item) {
  const std::unique_ptr<ItemReader> reader = readerOf(item);
  const std::string kind = kindOf(present(item));
  std::string address;
  std::string name;
  if (kind == "MAILITEM" || kind == "MEETINGITEM") {
    address = reader->senderAddress();
    name = reader->senderName();
  } else if (kind == "REPORTITEM") {
    address = name = "Administrator";
  } else if (kind.starts_with("TASK")) {
    address = GetTaskRequestEmail(item);
    name = GetTaskRequestSendername(item);
  }
  return senderIsListed(address, name, senders_.of(fields_.mcolSenderList));
}

std::unique_ptr<ItemReader> clsPref::readerOf(const std::shared_ptr<MailItem>& item) const {
  std::unique_ptr<ItemReader> reader = world_.makeReader();
  if (!reader->SetPref(*this) || !reader->MakeSafeInboxItem(item)) {
    throw MailStoreError(reader->errorText());
  }
  return reader;
}

std::string clsPref::GetTaskRequestEmail(const std::shared_ptr<MailItem>& item) const {
  return taskProperty(item, kPrSenderEmailAddress);
}

std::string clsPref::GetTaskRequestSendername(const std::shared_ptr<MailItem>& item) const {
  return taskProperty(item, kPrSenderName);
}

std::string clsPref::taskProperty(const std::shared_ptr<MailItem>& item, std::uint32_t tag) const {
  const auto task = createAs<SafeItem>(world_.objects, prog_id::kSafeTaskItem);
  task->Item(required(present(item).GetAssociatedTask(), "task"));
  return task->Fields(tag);
}

int clsPref::intCheckSize(const std::shared_ptr<MailItem>& item, bool& withinLimit) const {
  try {
    withinLimit = !fields_.mbolMaxFwdSize ||
                  fields_.mdblMaxFwdSize * kBytesPerMegabyte >= sizeOf(present(item));
    return 1;
  } catch (const std::exception&) {
    return -1;
  }
}

}  // namespace relaybird
