// SPDX-License-Identifier: MIT
// An item of the memory store and its collections. Private to this folder.
#pragma once

#include <memory>
#include <string>

#include "memory_store/memory_state.h"

namespace relaybird {

class MemoryMailItem : public MailItem {
 public:
  MemoryMailItem(MemoryLink link, RecordRef record)
      : link_(std::move(link)), record_(std::move(record)) {}

  std::string ClassName() const override;
  std::string EntryID() override;
  bool UnRead() override;
  void UnRead(bool unread) override;
  std::string Subject() override;
  void Subject(const std::string& subject) override;
  std::string Body() override;
  void Body(const std::string& body) override;
  DateTime ReceivedTime() override;
  DateTime LastModificationDate() override;
  std::string SenderName() override;
  std::string Fields(std::uint32_t tag) override;
  std::shared_ptr<MailItem> Forward() override;
  std::shared_ptr<class Attachments> Attachments() override;
  std::shared_ptr<class Recipients> Recipients() override;
  std::shared_ptr<class Recipients> ReplyRecipients() override;
  void Save() override;
  void send() override;
  std::shared_ptr<MailItem> GetAssociatedTask() override;

 private:
  /// The record; throws where the hook refuses, or the item has left the mailbox.
  MemoryRecord& at(std::string_view operation) const;

  MemoryLink link_;
  RecordRef record_;
};

std::shared_ptr<Attachments> makeMemoryAttachments(const MemoryLink& link, const RecordRef& record);
/// `reply` chooses the reply recipients.
std::shared_ptr<Recipients> makeMemoryRecipients(const MemoryLink& link, const RecordRef& record,
                                                 bool reply);
/// Replaces names by their addresses; false if one cannot be resolved, which is left as it is.
bool resolveAll(const MemoryState& state, MemoryAddressees& addressees);

}  // namespace relaybird
