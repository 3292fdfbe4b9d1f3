// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "mail/mail_store.h"

namespace relaybird {

/// The safe item of a store whose items raise no security prompts: every member acts on the wrapped
/// item and nothing else happens. One class serves all three kinds of safe item; they differ in the
/// class name that they report ("SafeMailItem", "SafeMeetingItem", "SafeTaskItem").
class PassThroughSafeItem : public SafeItem {
 public:
  explicit PassThroughSafeItem(std::string className) : className_(std::move(className)) {}

  std::string ClassName() const override { return className_; }
  /// Null where none was set.
  std::shared_ptr<MailItem> Item() override { return item_; }
  /// Null takes the item away again.
  void Item(std::shared_ptr<MailItem> item) override { item_ = std::move(item); }

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

 protected:
  /// The wrapped item; throws where there is none. Asked at the start of every member that acts on
  /// it, with a name such as "SafeItem.Subject", or "SafeItem.Subject=" for writing: a store that
  /// watches or refuses calls overrides this one function.
  virtual MailItem& wrapped(std::string_view operation) const;

 private:
  std::string className_;
  std::shared_ptr<MailItem> item_;
};

}  // namespace relaybird
