// SPDX-License-Identifier: MIT
#include "stores/maildir/items/addressees.h"

#include <utility>

#include "mail/store_rules.h"
#include "message/address/address_check.h"
#include "stores/maildir/maildir_mailbox.h"

namespace relaybird {

namespace {

class MaildirRecipient : public Recipient {
 public:
  explicit MaildirRecipient(std::shared_ptr<Addressee> addressee)
      : addressee_(std::move(addressee)) {}

  RecipientType Type() override { return addressee_->type; }
  void Type(RecipientType type) override { addressee_->type = type; }

 private:
  std::shared_ptr<Addressee> addressee_;
};

class MaildirRecipients : public Recipients {
 public:
  MaildirRecipients(Resolve resolve, std::shared_ptr<Addressees> list)
      : resolve_(std::move(resolve)), list_(std::move(list)) {}

  std::shared_ptr<Recipient> Add(const std::string& address) override {
    list_->push_back(std::make_shared<Addressee>());
    list_->back()->text = address;
    return std::make_shared<MaildirRecipient>(list_->back());
  }

  std::int32_t Count() override { return static_cast<std::int32_t>(list_->size()); }

  std::shared_ptr<Recipient> Item(std::int32_t index) override {
    requireIndex(index, Count());
    return std::make_shared<MaildirRecipient>((*list_)[static_cast<std::size_t>(index - 1)]);
  }

  void Remove(std::int32_t index) override {
    requireIndex(index, Count());
    list_->erase(list_->begin() + (index - 1));
  }

  bool ResolveAll() override { return resolveAll(resolve_, *list_); }

 private:
  Resolve resolve_;
  std::shared_ptr<Addressees> list_;
};

}  // namespace

Resolve asRecipient(std::shared_ptr<MaildirMailbox> mailbox) {
  return [mailbox = std::move(mailbox)](const std::string& text) { return mailbox->resolve(text); };
}

std::optional<Mailbox> asAddress(const std::string& text) {
  return isRfc5322Address(text) ? std::optional(Mailbox{"", wireAddress(text)}) : std::nullopt;
}

bool resolveAll(const Resolve& resolve, const Addressees& addressees) {
  bool all = true;
  for (const auto& addressee : addressees) {
    addressee->mailbox = resolve(addressee->text);
    all = all && addressee->mailbox;
  }
  return all;
}

std::shared_ptr<Recipients> makeRecipients(Resolve resolve,
                                           std::shared_ptr<Addressees> addressees) {
  return std::make_shared<MaildirRecipients>(std::move(resolve), std::move(addressees));
}

}  // namespace relaybird
