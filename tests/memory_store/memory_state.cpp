// SPDX-License-Identifier: MIT
// The state behind all objects of the memory store: records, names that resolve, synchronisations,
// and the announcement of every operation to the hook.
#include "memory_store/memory_state.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "mail/shared_components.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// RPC_S_SERVER_UNAVAILABLE as an HRESULT, which is how a desktop mail application that has been
// closed answers.
constexpr auto kServerUnavailable = static_cast<std::int32_t>(0x800706BA);

}  // namespace

std::string MemoryState::newEntryId() {
  char text[32];
  std::snprintf(text, sizeof text, "MEMORY%010llu", static_cast<unsigned long long>(++lastEntryId));
  return text;
}

RecordRef MemoryState::makeRecord(MemoryItem item) {
  auto record = std::make_shared<MemoryRecord>();
  record->kind = std::move(item.kind);
  record->entryId = item.entryId ? *std::move(item.entryId) : newEntryId();
  record->unread = item.unread;
  record->subject = std::move(item.subject);
  record->bodyText = std::make_shared<const std::string>(std::move(item.body));
  record->html = item.html;
  record->received = item.received;
  record->modified = item.modified;
  record->senderName = std::move(item.senderName);
  record->senderAddress = std::move(item.senderAddress);
  for (auto& attachment : item.attachments) {
    auto file = std::make_shared<MemoryFile>();
    file->name = std::move(attachment.name);
    file->size =
        attachment.claimedSize.value_or(static_cast<std::int32_t>(attachment.content.size()));
    file->content = std::make_shared<const std::string>(std::move(attachment.content));
    record->files.push_back(std::move(file));
  }
  if (item.task) {
    record->task = makeRecord(*item.task);
  }
  return record;
}

std::optional<std::string> MemoryState::resolve(const std::string& recipient) const {
  const std::string key = asciiLower(recipient);
  if (unresolvable.count(key) != 0) {
    return std::nullopt;
  }
  if (const auto known = knownNames.find(key); known != knownNames.end()) {
    return known->second;
  }
  // A line break would let an address write a header of its own.
  const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
  if (std::any_of(recipient.begin(), recipient.end(), isControl)) {
    return std::nullopt;
  }
  if (recipient.find('@') == std::string::npos) {
    return std::nullopt;
  }
  return recipient;
}

void MemoryState::postEnd(const std::shared_ptr<MemorySync>& sync) {
  events.post([held = std::weak_ptr(sync), state = this->weak_from_this()] {
    const auto ended = held.lock();
    const auto store = state.lock();
    if (!ended || !store || ended->era != store->era) {
      return;
    }
    ended->running = false;
    // A copy: the handler may set another one.
    if (const auto handler = ended->handler) {
      handler();
    }
  });
}

void MemoryLink::begin(std::string_view operation) const {
  if (const auto hook = state_->hook) {
    hook(operation);
  }
  if (era_ != state_->era) {
    throw MailStoreError("The RPC server is unavailable", kServerUnavailable);
  }
}

MemoryMessage toMessage(const MemoryRecord& record) {
  MemoryMessage message;
  message.subject = record.subject;
  message.body = record.body();
  message.html = record.html;
  for (const auto& one : record.recipients) {
    message.recipients.push_back({one->address, one->type});
  }
  for (const auto& one : record.replyRecipients) {
    message.replyTo.push_back(one->address);
  }
  for (const auto& file : record.files) {
    message.attachments.push_back({file->name, *file->content, file->size});
  }
  return message;
}

}  // namespace relaybird
