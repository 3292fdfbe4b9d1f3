// SPDX-License-Identifier: MIT
// The collections of an item. Indices are checked by the mail application.
#include <optional>
#include <utility>

#include "stores/outlook/item_over.h"

namespace relaybird::outlook {
namespace {

class OutlookAttachment : public Attachment {
 public:
  explicit OutlookAttachment(Object object) : object_(std::move(object)) {}
  std::int32_t Size() override { return object_.get(L"Size").number(); }
  void Delete() override { object_.call(L"Delete"); }

 private:
  Object object_;
};

class OutlookAttachments : public Attachments {
 public:
  explicit OutlookAttachments(Object object) : object_(std::move(object)) {}
  std::int32_t Count() override { return object_.get(L"Count").number(); }
  std::shared_ptr<Attachment> Item(std::int32_t index) override {
    return std::make_shared<OutlookAttachment>(object_.child(L"Item", Value::ofNumber(index)));
  }

 private:
  Object object_;
};

class OutlookRecipient : public Recipient {
 public:
  // `type` is that of a recipient which was just added.
  OutlookRecipient(Object object, std::optional<RecipientType> type)
      : object_(std::move(object)), type_(type) {}

  RecipientType Type() override {
    return static_cast<RecipientType>(object_.get(L"Type").number());
  }
  void Type(RecipientType type) override {
    if (type_ != type) {
      type_.reset();
      object_.put(L"Type", Value::ofNumber(static_cast<std::int32_t>(type)));
      type_ = type;
    }
  }

 private:
  Object object_;
  std::optional<RecipientType> type_;
};

class OutlookRecipients : public Recipients {
 public:
  explicit OutlookRecipients(Object object) : object_(std::move(object)) {}
  // A new recipient is one of "To".
  std::shared_ptr<Recipient> Add(const std::string& address) override {
    return std::make_shared<OutlookRecipient>(object_.child(L"Add", Value::ofText(address)),
                                              RecipientType::kTo);
  }
  std::int32_t Count() override { return object_.get(L"Count").number(); }
  std::shared_ptr<Recipient> Item(std::int32_t index) override {
    return std::make_shared<OutlookRecipient>(object_.child(L"Item", Value::ofNumber(index)),
                                              std::nullopt);
  }
  void Remove(std::int32_t index) override { object_.call(L"Remove", Value::ofNumber(index)); }
  bool ResolveAll() override { return object_.get(L"ResolveAll").truth(); }

 private:
  Object object_;
};

}  // namespace

std::shared_ptr<Attachments> makeAttachments(Object attachments) {
  return std::make_shared<OutlookAttachments>(std::move(attachments));
}

std::shared_ptr<Recipients> makeRecipients(Object recipients) {
  return std::make_shared<OutlookRecipients>(std::move(recipients));
}

}  // namespace relaybird::outlook
