// SPDX-License-Identifier: MIT
// Identifiers, class names and filters are compared without regard to case, as automation clients
// write them in any case.
#include "mail/shared_components.h"

#include <algorithm>

#include "platform/text/ascii_text.h"

namespace relaybird {

void ObjectRegistry::add(std::string_view progId, Maker maker) {
  makers_[asciiLower(progId)] = std::move(maker);
}

std::shared_ptr<AutomationObject> ObjectRegistry::CreateObject(std::string_view progId) {
  const auto found = makers_.find(asciiLower(progId));
  if (found == makers_.end()) {
    throw MailStoreError("Cannot create object: " + std::string(progId) + " is not installed");
  }
  return found->second();
}

// A safe item without an item is a mistake of the caller, which automation reports as an error
// of the operation that was tried.
MailItem& PassThroughSafeItem::wrapped(std::string_view operation) const {
  if (!item_) {
    throw MailStoreError(std::string(operation) + ": the Item property is not set");
  }
  return *item_;
}

// The safe items exist because some mail applications put a question before each access to
// addresses and texts. Our stores ask nothing, so every operation is handed on.
std::string PassThroughSafeItem::EntryID() {
  return wrapped("SafeItem.EntryID").EntryID();
}

bool PassThroughSafeItem::UnRead() {
  return wrapped("SafeItem.UnRead").UnRead();
}

void PassThroughSafeItem::UnRead(bool unread) {
  wrapped("SafeItem.UnRead=").UnRead(unread);
}

std::string PassThroughSafeItem::Subject() {
  return wrapped("SafeItem.Subject").Subject();
}

void PassThroughSafeItem::Subject(const std::string& subject) {
  wrapped("SafeItem.Subject=").Subject(subject);
}

std::string PassThroughSafeItem::Body() {
  return wrapped("SafeItem.Body").Body();
}

void PassThroughSafeItem::Body(const std::string& body) {
  wrapped("SafeItem.Body=").Body(body);
}

DateTime PassThroughSafeItem::ReceivedTime() {
  return wrapped("SafeItem.ReceivedTime").ReceivedTime();
}

DateTime PassThroughSafeItem::LastModificationDate() {
  return wrapped("SafeItem.LastModificationDate").LastModificationDate();
}

std::string PassThroughSafeItem::SenderName() {
  return wrapped("SafeItem.SenderName").SenderName();
}

std::string PassThroughSafeItem::Fields(std::uint32_t tag) {
  return wrapped("SafeItem.Fields").Fields(tag);
}

std::shared_ptr<MailItem> PassThroughSafeItem::Forward() {
  return wrapped("SafeItem.Forward").Forward();
}

std::shared_ptr<Attachments> PassThroughSafeItem::Attachments() {
  return wrapped("SafeItem.Attachments").Attachments();
}

std::shared_ptr<Recipients> PassThroughSafeItem::Recipients() {
  return wrapped("SafeItem.Recipients").Recipients();
}

std::shared_ptr<Recipients> PassThroughSafeItem::ReplyRecipients() {
  return wrapped("SafeItem.ReplyRecipients").ReplyRecipients();
}

void PassThroughSafeItem::Save() {
  wrapped("SafeItem.Save").Save();
}

void PassThroughSafeItem::send() {
  wrapped("SafeItem.send").send();
}

std::shared_ptr<MailItem> PassThroughSafeItem::GetAssociatedTask() {
  return wrapped("SafeItem.GetAssociatedTask").GetAssociatedTask();
}

// The engine adds a key only after it has asked for it. The error of a second one is that of the
// component whose place this class takes, so that nobody relies on overwriting.
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

// One class serves all three kinds: what differs between them is decided by the item inside.
void addSharedComponents(ObjectRegistry& registry) {
  const auto addSafe = [&registry](std::string_view progId, const char* className) {
    registry.add(progId, [className] { return std::make_shared<PassThroughSafeItem>(className); });
  };
  addSafe(prog_id::kSafeMailItem, "SafeMailItem");
  addSafe(prog_id::kSafeMeetingItem, "SafeMeetingItem");
  addSafe(prog_id::kSafeTaskItem, "SafeTaskItem");
  registry.add(prog_id::kDictionary, [] { return std::make_shared<TextDictionary>(); });
}

// The only filter that a store has to know. Clients write it with and without blanks.
bool isUnreadFilter(std::string_view filter) {
  std::string given = asciiLower(filter);
  given.erase(std::remove(given.begin(), given.end(), ' '), given.end());
  return given == asciiLower(kUnreadFilter);
}

// Collections count from 1, as automation does. An index of 0 must not become the last item.
void requireIndex(std::int32_t index, std::int32_t count) {
  if (index >= 1 && index <= count) {
    return;
  }
  throw MailStoreError("Array index out of bounds: " + std::to_string(index) + " of " +
                       std::to_string(count));
}

// A message that is forwarded again keeps the mark that it has.
std::string forwardSubject(std::string_view subject) {
  const std::string mark = asciiLower(subject.substr(0, 4));
  if (mark.starts_with("fw:") || mark == "fwd:") {
    return std::string(subject);
  }
  return "FW: " + std::string(subject);
}

}  // namespace relaybird
