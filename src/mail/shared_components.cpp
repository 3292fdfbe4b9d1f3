// SPDX-License-Identifier: MIT
// Identifiers, class names and filters are compared without regard to case, as automation clients
// write them in any case.
#include "mail/shared_components.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// The keys of a dictionary are kept in blocks of this size; one more block could not be numbered.
constexpr std::size_t kKeyBlockBytes = std::size_t{64} << 10;
constexpr std::size_t kMostKeyBlocks = 0xFFFF;
constexpr std::size_t kLongestKey = std::numeric_limits<std::int32_t>::max();

}  // namespace

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

// The slot of the key, or the free one where it would go. There must be a free one.
std::size_t TextDictionary::slotOf(std::string_view key) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = std::hash<std::string_view>()(key) & mask;
  while (slots_[slot] != 0 && keyAt(slots_[slot] - 1) != key) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

std::string_view TextDictionary::keyAt(std::uint32_t place) const {
  const std::string& block = blocks_[place / kKeyBlockBytes];
  const std::size_t begin = place % kKeyBlockBytes;
  std::uint32_t size = 0;
  std::memcpy(&size, block.data() + begin, sizeof size);
  return std::string_view(block).substr(begin + sizeof size, size);
}

// In blocks, so that nothing is copied when there is more: a key longer than a block has one of its
// own.
std::uint32_t TextDictionary::keep(std::string_view key) {
  const auto size = static_cast<std::uint32_t>(key.size());
  const std::size_t needed = sizeof size + key.size();
  if (blocks_.empty() || blocks_.back().size() + needed > kKeyBlockBytes) {
    if (blocks_.size() == kMostKeyBlocks || key.size() > kLongestKey) {
      throw MailStoreError("Out of memory");
    }
    blocks_.emplace_back().reserve(std::max(needed, kKeyBlockBytes));
  }
  std::string& block = blocks_.back();
  const auto place =
      static_cast<std::uint32_t>((blocks_.size() - 1) * kKeyBlockBytes + block.size());
  char length[sizeof size];
  std::memcpy(length, &size, sizeof size);
  block.append(length, sizeof length);
  block += key;
  return place;
}

void TextDictionary::grow() {
  const auto old = std::exchange(
      slots_, std::vector<std::uint32_t>(std::max<std::size_t>(slots_.size() * 2, 16)));
  for (const std::uint32_t each : old) {
    if (each != 0) {
      slots_[slotOf(keyAt(each - 1))] = each;
    }
  }
}

bool TextDictionary::Exists(const std::string& key) const {
  return !slots_.empty() && slots_[slotOf(key)] != 0;
}

// The engine adds a key only after it has asked for it. The error of a second one is that of the
// component whose place this class takes, so that nobody relies on overwriting.
void TextDictionary::Add(const std::string& key, const std::string& /*item*/) {
  if ((count_ + 1) * 4 > slots_.size() * 3) {
    grow();
  }
  const std::size_t slot = slotOf(key);
  if (slots_[slot] != 0) {
    throw MailStoreError("This key is already associated with an element of this collection");
  }
  slots_[slot] = keep(key) + 1;
  ++count_;
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
