// SPDX-License-Identifier: MIT
// What an item of the mail application and a safe item have in common: members that are read and
// written by name. They differ in which object the names are used on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "stores/outlook/dispatch.h"

namespace relaybird::outlook {

std::shared_ptr<Attachments> makeAttachments(Object attachments);
std::shared_ptr<Recipients> makeRecipients(Object recipients);

/// `Base` is MailItem or SafeItem.
template <class Base>
class ItemOver : public Base {
 public:
  std::string Body() override { return target().get(L"Body").text(); }
  std::string SenderName() override { return target().get(L"SenderName").text(); }
  std::string Fields(std::uint32_t tag) override {
    // The tag is a number of 32 bits without a sign; automation knows only those with one.
    return target().get(L"Fields", Value::ofNumber(static_cast<std::int32_t>(tag))).text();
  }
  // Each collection is the same however often it is asked for, so it is asked for once.
  std::shared_ptr<class Attachments> Attachments() override {
    const Object& object = target();
    if (!attachments_) {
      attachments_ = makeAttachments(object.child(L"Attachments"));
    }
    return attachments_;
  }
  std::shared_ptr<class Recipients> Recipients() override {
    return collection(recipients_, L"Recipients");
  }
  std::shared_ptr<class Recipients> ReplyRecipients() override {
    return collection(replyRecipients_, L"ReplyRecipients");
  }
  void Save() override { target().call(L"Save"); }

 protected:
  /// Throws where there is no object to use.
  virtual const Object& target() const = 0;

  /// For another object.
  void forgetCollections() {
    attachments_.reset();
    recipients_.reset();
    replyRecipients_.reset();
  }

 private:
  std::shared_ptr<class Recipients> collection(std::shared_ptr<class Recipients>& kept,
                                               std::wstring_view member) {
    const Object& object = target();
    if (!kept) {
      kept = makeRecipients(object.child(member));
    }
    return kept;
  }

  std::shared_ptr<class Attachments> attachments_;
  std::shared_ptr<class Recipients> recipients_;
  std::shared_ptr<class Recipients> replyRecipients_;
};

}  // namespace relaybird::outlook
