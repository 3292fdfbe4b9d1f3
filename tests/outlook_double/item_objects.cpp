// SPDX-License-Identifier: MIT
// Items, safe items, and what belongs to an item. The members of items and safe items are the same;
// those of a safe item act on the item that it wraps.
#include <windows.h>

#include <utility>

#include "outlook_double/double_world.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {

namespace {

// Asks an object for itself: only objects of this process answer.
const IID kItemOfThisProcess = {
    0x5d2e6c10, 0x8f0b, 0x4c5a, {0x9b, 0x61, 0x27, 0xd4, 0x3e, 0x90, 0x6c, 0x01}};

// An item or a safe item.
class MailObject : public DispatchObject {
 public:
  using DispatchObject::DispatchObject;
  // Throws where a safe item wraps none.
  virtual std::shared_ptr<MailItem> mail() = 0;
};

using Arg = const Arguments&;

void markRead(MailObject& object, bool unread) {
  const auto item = object.mail();
  item->UnRead(unread);
  if (const auto id = item->EntryID(); !id.empty()) {
    DoubleWorld::only().marked(id, unread);
  }
}

void addTexts(MemberTable& table) {
  table
      .get("EntryID", on<MailObject>([](auto& o, Arg) { return Value::text(o.mail()->EntryID()); }))
      .get("Subject", on<MailObject>([](auto& o, Arg) { return Value::text(o.mail()->Subject()); }))
      .put("Subject", on<MailObject>([](auto& o, Arg a) {
             o.mail()->Subject(a.text(0));
             return Value();
           }))
      .get("Body", on<MailObject>([](auto& o, Arg) { return Value::text(o.mail()->Body()); }))
      .put("Body", on<MailObject>([](auto& o, Arg a) {
             o.mail()->Body(a.text(0));
             return Value();
           }))
      .get("SenderName",
           on<MailObject>([](auto& o, Arg) { return Value::text(o.mail()->SenderName()); }))
      .indexed("Fields", on<MailObject>([](auto& o, Arg a) {
                 return Value::text(o.mail()->Fields(static_cast<std::uint32_t>(a.number(0))));
               }));
}

void addDates(MemberTable& table, DateName name) {
  const auto modified =
      on<MailObject>([](auto& o, Arg) { return Value::date(o.mail()->LastModificationDate()); });
  table.get("ReceivedTime",
            on<MailObject>([](auto& o, Arg) { return Value::date(o.mail()->ReceivedTime()); }));
  if (name != DateName::kModificationDate) {
    table.get("LastModificationTime", modified);
  }
  if (name != DateName::kModificationTime) {
    table.get("LastModificationDate", modified);
  }
}

void addParts(MemberTable& table) {
  table
      .get("Attachments", on<MailObject>([](auto& o, Arg) {
             return Value::object(makeAttachments(o.mail()->Attachments()));
           }))
      .get("Recipients", on<MailObject>([](auto& o, Arg) {
             return Value::object(makeRecipients(o.mail()->Recipients(), false));
           }))
      .get("ReplyRecipients", on<MailObject>([](auto& o, Arg) {
             return Value::object(makeRecipients(o.mail()->ReplyRecipients(), true));
           }));
}

void addDeeds(MemberTable& table) {
  table
      .get("UnRead",
           on<MailObject>([](auto& o, Arg) { return Value::boolean(o.mail()->UnRead()); }))
      .put("UnRead", on<MailObject>([](auto& o, Arg a) {
             markRead(o, a.boolean(0));
             return Value();
           }))
      .method("Forward", 0, 0, on<MailObject>([](auto& o, Arg) {
                return Value::object(makeItem(o.mail()->Forward()));
              }))
      .method("Save", 0, 0, on<MailObject>([](auto& o, Arg) {
                o.mail()->Save();
                return Value();
              }))
      .method("Send", 0, 0, on<MailObject>([](auto& o, Arg) {
                o.mail()->send();
                DoubleWorld::only().sent();
                return Value();
              }))
      // The argument adds the task to the user's list of tasks, or does not.
      .method("GetAssociatedTask", 1, 1, on<MailObject>([](auto& o, Arg a) {
                a.boolean(0);
                return Value::object(makeItem(o.mail()->GetAssociatedTask()));
              }));
}

MemberTable itemTable(const char* label, DateName dates) {
  MemberTable table(label);
  addTexts(table);
  addDates(table, dates);
  addParts(table);
  addDeeds(table);
  return table;
}

class ItemObject : public MailObject {
 public:
  explicit ItemObject(std::shared_ptr<MailItem> item)
      : MailObject(members(), item->ClassName()), item_(std::move(item)) {}

  std::shared_ptr<MailItem> mail() override { return item_; }

 protected:
  IUnknown* further(REFIID iid) override {
    return iid == kItemOfThisProcess ? static_cast<IDispatch*>(this) : nullptr;
  }

 private:
  // Tables are made once for each name of the date: a client may ask an unknown member's name.
  static const MemberTable& members() {
    static const MemberTable tables[] = {itemTable("MailItem", DateName::kModificationTime),
                                         itemTable("MailItem", DateName::kModificationDate),
                                         itemTable("MailItem", DateName::kBoth)};
    return tables[static_cast<std::size_t>(DoubleWorld::only().behaviour().dateName)];
  }

  std::shared_ptr<MailItem> item_;
};

class SafeObject : public MailObject {
 public:
  explicit SafeObject(std::string className) : MailObject(members(), std::move(className)) {}

  std::shared_ptr<MailItem> mail() override {
    if (!item_) {
      throw Raised{E_FAIL, "Safe-item library", "No item has been set."};
    }
    return item_;
  }
  Value wrapped() { return Value::object(shared(object_.get())); }
  void wrap(const ComRef<IUnknown>& object) {
    const auto item = itemOf(object.get());
    if (object && !item) {
      throw Returned{DISP_E_TYPEMISMATCH};
    }
    item_ = item;
    object_ = ComRef<IDispatch>();
    if (object) {
      object->QueryInterface(IID_IDispatch, object_.outVoid());
    }
  }

 private:
  static MemberTable safeTable(DateName dates) {
    MemberTable table = itemTable("SafeItem", dates);
    table.get("Item", on<SafeObject>([](auto& o, Arg) { return o.wrapped(); }))
        .put("Item", on<SafeObject>([](auto& o, Arg a) {
               o.wrap(a.object(0));
               return Value();
             }));
    return table;
  }
  static const MemberTable& members() {
    static const MemberTable tables[] = {safeTable(DateName::kModificationTime),
                                         safeTable(DateName::kModificationDate),
                                         safeTable(DateName::kBoth)};
    return tables[static_cast<std::size_t>(DoubleWorld::only().behaviour().dateName)];
  }

  std::shared_ptr<MailItem> item_;
  ComRef<IDispatch> object_;
};

class AttachmentObject : public DispatchObject {
 public:
  explicit AttachmentObject(std::shared_ptr<Attachment> attachment)
      : DispatchObject(members(), "Attachment"), attachment_(std::move(attachment)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Attachment")
            .get("Size", on<AttachmentObject>(
                             [](auto& o, Arg) { return Value::number(o.attachment_->Size()); }))
            .method("Delete", 0, 0, on<AttachmentObject>([](auto& o, Arg) {
                      o.attachment_->Delete();
                      return Value();
                    }));
    return table;
  }

  std::shared_ptr<Attachment> attachment_;
};

class AttachmentsObject : public DispatchObject {
 public:
  explicit AttachmentsObject(std::shared_ptr<Attachments> attachments)
      : DispatchObject(members(), "Attachments"), attachments_(std::move(attachments)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Attachments")
            .get("Count", on<AttachmentsObject>(
                              [](auto& o, Arg) { return Value::number(o.attachments_->Count()); }))
            .byDefault("Item", on<AttachmentsObject>([](auto& o, Arg a) {
                         return Value::object(ComRef<IDispatch>(
                             new AttachmentObject(o.attachments_->Item(a.number(0)))));
                       }));
    return table;
  }

  std::shared_ptr<Attachments> attachments_;
};

class RecipientObject : public DispatchObject {
 public:
  explicit RecipientObject(std::shared_ptr<Recipient> recipient)
      : DispatchObject(members(), "Recipient"), recipient_(std::move(recipient)) {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Recipient")
            .get("Type", on<RecipientObject>([](auto& o, Arg) {
                   return Value::number(static_cast<std::int32_t>(o.recipient_->Type()));
                 }))
            .put("Type", on<RecipientObject>([](auto& o, Arg a) {
                   const auto type = a.number(0);
                   if (type < 1 || type > 3) {
                     throw Returned{E_INVALIDARG};
                   }
                   o.recipient_->Type(static_cast<RecipientType>(type));
                   return Value();
                 }));
    return table;
  }

  std::shared_ptr<Recipient> recipient_;
};

class RecipientsObject : public DispatchObject {
 public:
  RecipientsObject(std::shared_ptr<Recipients> recipients, bool reply)
      : DispatchObject(members(reply), "Recipients"), recipients_(std::move(recipients)) {}

 private:
  static Value made(std::shared_ptr<Recipient> recipient) {
    return Value::object(ComRef<IDispatch>(new RecipientObject(std::move(recipient))));
  }
  static MemberTable tableOf(const char* label) {
    return MemberTable(label)
        .method("Add", 1, 1, on<RecipientsObject>([](auto& o, Arg a) {
                  return made(o.recipients_->Add(a.text(0)));
                }))
        .get("Count", on<RecipientsObject>(
                          [](auto& o, Arg) { return Value::number(o.recipients_->Count()); }))
        .byDefault("Item", on<RecipientsObject>([](auto& o, Arg a) {
                     return made(o.recipients_->Item(a.number(0)));
                   }))
        .method("Remove", 1, 1, on<RecipientsObject>([](auto& o, Arg a) {
                  o.recipients_->Remove(a.number(0));
                  return Value();
                }))
        .method("ResolveAll", 0, 1, on<RecipientsObject>([](auto& o, Arg) {
                  return Value::boolean(o.recipients_->ResolveAll());
                }));
  }
  static const MemberTable& members(bool reply) {
    static const MemberTable tables[] = {tableOf("Recipients"), tableOf("ReplyRecipients")};
    return tables[reply ? 1 : 0];
  }

  std::shared_ptr<Recipients> recipients_;
};

}  // namespace

ComRef<IDispatch> makeItem(std::shared_ptr<MailItem> item) {
  return ComRef<IDispatch>(new ItemObject(std::move(item)));
}

ComRef<IDispatch> makeSafeItem(const std::string& className) {
  return ComRef<IDispatch>(new SafeObject(className));
}

ComRef<IDispatch> makeAttachments(std::shared_ptr<Attachments> attachments) {
  return ComRef<IDispatch>(new AttachmentsObject(std::move(attachments)));
}

ComRef<IDispatch> makeRecipients(std::shared_ptr<Recipients> recipients, bool reply) {
  return ComRef<IDispatch>(new RecipientsObject(std::move(recipients), reply));
}

std::shared_ptr<MailItem> itemOf(IUnknown* object) {
  ComRef<IDispatch> item;
  if (object == nullptr || FAILED(object->QueryInterface(kItemOfThisProcess, item.outVoid()))) {
    return nullptr;
  }
  return static_cast<ItemObject*>(item.get())->mail();
}

}  // namespace relaybird::outlook_double
