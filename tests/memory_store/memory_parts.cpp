// SPDX-License-Identifier: MIT
// Attachments and recipients of an item.
#include <algorithm>
#include <utility>

#include "mail/shared_components.h"
#include "memory_store/memory_item.h"

namespace relaybird {

namespace {

class MemoryAttachmentObject : public Attachment {
 public:
  MemoryAttachmentObject(MemoryLink link, RecordRef record, std::shared_ptr<MemoryFile> file)
      : link_(std::move(link)), record_(std::move(record)), file_(std::move(file)) {}

  std::int32_t Size() override {
    link_.begin("Attachment.Size");
    return file_->size;
  }

  void Delete() override {
    link_.begin("Attachment.Delete");
    auto& files = record_->files;
    const auto found = std::find(files.begin(), files.end(), file_);
    if (found == files.end()) {
      throw MailStoreError("The attachment has been deleted");
    }
    files.erase(found);
  }

 private:
  MemoryLink link_;
  RecordRef record_;
  std::shared_ptr<MemoryFile> file_;
};

class MemoryAttachments : public Attachments {
 public:
  MemoryAttachments(MemoryLink link, RecordRef record)
      : link_(std::move(link)), record_(std::move(record)) {}

  std::int32_t Count() override {
    link_.begin("Attachments.Count");
    return count();
  }

  std::shared_ptr<Attachment> Item(std::int32_t index) override {
    link_.begin("Attachments.Item");
    requireIndex(index, count());
    return std::make_shared<MemoryAttachmentObject>(
        link_, record_, record_->files[static_cast<std::size_t>(index - 1)]);
  }

 private:
  std::int32_t count() const { return static_cast<std::int32_t>(record_->files.size()); }

  MemoryLink link_;
  RecordRef record_;
};

class MemoryRecipientObject : public Recipient {
 public:
  MemoryRecipientObject(MemoryLink link, std::shared_ptr<MemoryAddressee> addressee)
      : link_(std::move(link)), addressee_(std::move(addressee)) {}

  RecipientType Type() override {
    link_.begin("Recipient.Type");
    return addressee_->type;
  }
  void Type(RecipientType type) override {
    link_.begin("Recipient.Type=");
    addressee_->type = type;
  }

 private:
  MemoryLink link_;
  std::shared_ptr<MemoryAddressee> addressee_;
};

class MemoryRecipients : public Recipients {
 public:
  MemoryRecipients(MemoryLink link, RecordRef record, bool reply)
      : link_(std::move(link)), record_(std::move(record)), reply_(reply) {}

  std::shared_ptr<Recipient> Add(const std::string& address) override {
    begin("Add");
    list().push_back(std::make_shared<MemoryAddressee>(MemoryAddressee{address}));
    return std::make_shared<MemoryRecipientObject>(link_, list().back());
  }

  std::int32_t Count() override {
    begin("Count");
    return count();
  }

  std::shared_ptr<Recipient> Item(std::int32_t index) override {
    begin("Item");
    requireIndex(index, count());
    return std::make_shared<MemoryRecipientObject>(link_,
                                                   list()[static_cast<std::size_t>(index - 1)]);
  }

  void Remove(std::int32_t index) override {
    begin("Remove");
    requireIndex(index, count());
    list().erase(list().begin() + (index - 1));
  }

  bool ResolveAll() override {
    begin("ResolveAll");
    return resolveAll(link_.state(), list());
  }

 private:
  void begin(const char* member) {
    link_.begin((reply_ ? "ReplyRecipients." : "Recipients.") + std::string(member));
  }
  MemoryAddressees& list() { return reply_ ? record_->replyRecipients : record_->recipients; }
  std::int32_t count() { return static_cast<std::int32_t>(list().size()); }

  MemoryLink link_;
  RecordRef record_;
  bool reply_;
};

}  // namespace

std::shared_ptr<Attachments> makeMemoryAttachments(const MemoryLink& link,
                                                   const RecordRef& record) {
  return std::make_shared<MemoryAttachments>(link, record);
}

std::shared_ptr<Recipients> makeMemoryRecipients(const MemoryLink& link, const RecordRef& record,
                                                 bool reply) {
  return std::make_shared<MemoryRecipients>(link, record, reply);
}

bool resolveAll(const MemoryState& state, MemoryAddressees& addressees) {
  bool all = true;
  for (const auto& addressee : addressees) {
    if (auto address = state.resolve(addressee->address)) {
      addressee->address = *std::move(address);
    } else {
      all = false;
    }
  }
  return all;
}

}  // namespace relaybird
