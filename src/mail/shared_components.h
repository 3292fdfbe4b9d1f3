// SPDX-License-Identifier: MIT
// What every mail store shares: its factory, the objects that need no code of the store, and small
// rules that all stores keep in the same way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/mail_store.h"

namespace relaybird {

/// The factory of a store: a maker per program identifier, compared without regard to case.
class ObjectRegistry : public ObjectFactory {
 public:
  using Maker = std::function<std::shared_ptr<AutomationObject>()>;

  /// Sets the maker of an identifier, in place of any earlier one. A maker may throw
  /// MailStoreError.
  void add(std::string_view progId, Maker maker);

  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override;

 private:
  std::map<std::string, Maker, std::less<>> makers_;  ///< by identifier in lower case
};

/// The safe item of a store whose items raise no security prompts: every member acts on the wrapped
/// item and does nothing else. One class serves all three kinds of safe item; they differ in the
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
  /// The wrapped item; throws where there is none. Every member that acts on the item calls this
  /// first, with a name such as "SafeItem.Subject", or "SafeItem.Subject=" for writing. A store
  /// that watches or refuses calls overrides this one function.
  virtual MailItem& wrapped(std::string_view operation) const;

 private:
  std::string className_;
  std::shared_ptr<MailItem> item_;
};

/// The dictionary of every store that runs without the scripting runtime. Looking up and adding
/// take constant time. The items are not kept, since nothing reads them; a key takes some ten bytes
/// more than its text, because a program that runs for a year decides on a hundred thousand
/// messages.
class TextDictionary : public Dictionary {
 public:
  std::string ClassName() const override { return "Dictionary"; }
  bool Exists(const std::string& key) const override;
  void Add(const std::string& key, const std::string& item) override;
  std::int32_t Count() const override { return static_cast<std::int32_t>(count_); }

 private:
  std::size_t slotOf(std::string_view key) const;
  std::string_view keyAt(std::uint32_t place) const;
  std::uint32_t keep(std::string_view key);
  void grow();

  /// Open addressing, linear: 0, or 1 and the place of a key.
  std::vector<std::uint32_t> slots_;
  /// The keys, each behind its length. The upper half of a place is the block, the lower half where
  /// the key begins in it.
  std::vector<std::string> blocks_;
  std::size_t count_ = 0;
};

/// Adds what a store needs no code of its own for: the safe mail, meeting and task items that pass
/// everything through, and the dictionary.
void addSharedComponents(ObjectRegistry& registry);

/// Whether the filter is kUnreadFilter, in any case and with blanks anywhere.
bool isUnreadFilter(std::string_view filter);

/// Throws MailStoreError unless 1 <= index <= count.
void requireIndex(std::int32_t index, std::int32_t count);

/// The subject of a forward: "FW: " and the subject, or the subject alone where it already begins
/// with "FW:" or "Fwd:" in any case.
std::string forwardSubject(std::string_view subject);

}  // namespace relaybird
