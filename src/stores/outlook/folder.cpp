// SPDX-License-Identifier: MIT
// The inbox and its collections. The mail application's filtered collection changes under its
// reader: an item that is marked as read leaves it, new mail comes in. A pass that walked over it
// could miss an item, or meet one twice and forward it twice. So the filtered collection is read
// once, when it is made, as a list of identifiers, in the order in which the items were received.
//
// Most unread items of a check are those that an earlier one has left unread, and to ask an item
// for its class costs more than everything else that a listing asks. So the identifier is read
// first by the number that it had in the classes met before, and if it is that of an item which was
// listed before, that is all. An item that is not known, or answers with anything else, is asked
// for its class.
//
// Only so many items are held open at once: a mail server may refuse to open more than a few
// hundred. The others are opened by their identifiers when they are looked at.
//
// An item that cannot be read is left out: one damaged item must not keep all others from being
// forwarded.
#include "stores/outlook/folder.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "mail/shared_components.h"
#include "stores/outlook/items.h"

namespace relaybird::outlook {
namespace {

constexpr std::int32_t kMostHeld = 100;
// A pass refuses a longer list, so it is not read.
constexpr std::int32_t kLongestList = 32767;
// How often the windows are kept alive while a list is read; a call takes a few milliseconds.
constexpr std::int32_t kItemsBetweenEvents = 8;

using Entry = std::shared_ptr<ListedItem>;

// What earlier listings of the folder have learnt.
struct KnownItems {
  DISPID identifierNumber = DISPID_UNKNOWN;  // of EntryID
  std::set<std::string, std::less<>> identifiers;
};
using KnownRef = std::shared_ptr<KnownItems>;

// Whether an error is about more than one item: the application is busy, or cannot reach the
// mailbox. The others are MAPI's codes (MS-OXCDATA).
bool concernsAllItems(std::int32_t code) {
  static constexpr std::array<std::uint32_t, 4> kCodes = {
      0x8004010E,  // MAPI_E_NOT_ENOUGH_RESOURCES
      0x80040115,  // MAPI_E_NETWORK_ERROR
      0x8004011D,  // MAPI_E_FAILONEPROVIDER
      0x8007000E,  // MAPI_E_NOT_ENOUGH_MEMORY
  };
  return meansBusy(code) ||
         std::find(kCodes.begin(), kCodes.end(), static_cast<std::uint32_t>(code)) != kCodes.end();
}

// Oldest first. Items of a kind that knows no time of reception have no fixed place; where the
// collection cannot be sorted at all it stays in its own order.
void sortByTime(const Object& items) {
  try {
    if (items.has(L"Sort")) {
      items.call(L"Sort", Value::ofText("[ReceivedTime]"));
    }
  } catch (const MailStoreError&) {
    items.server().requireAlive();
  }
}

// The items of one filtered collection, read one after the other.
class Listing {
 public:
  Listing(ConnectionRef connection, Object items, Object mapi, KnownRef known)
      : connection_(std::move(connection)),
        items_(std::move(items)),
        mapi_(std::move(mapi)),
        known_(std::move(known)) {}

  std::int32_t count() const { return items_.get(L"Count").number(); }

  std::vector<Entry> read(std::int32_t count) {
    sortByTime(items_);
    // Without the means to open an item by its identifier all of them have to be held.
    const std::int32_t firstHeld = mapi_.has(L"GetItemFromID") ? count - kMostHeld + 1 : 1;
    for (std::int32_t index = 1; index <= count; ++index) {
      if (index % kItemsBetweenEvents == 0 && !connection_->world().keepAlive()) {
        throw MailStoreError("The check was given up while the inbox was read");
      }
      if (!readOne(index, index >= firstHeld)) {
        break;
      }
    }
    settleLeftOut();
    known_->identifiers = std::move(seen_);
    return std::move(entries_);
  }

 private:
  std::string identifierOf(const Object& item) {
    DISPID& number = known_->identifierNumber;
    std::optional<std::string> guessed;
    if (number != DISPID_UNKNOWN) {
      guessed = guessedIdentifier(item, number);
    }
    if (guessed && known_->identifiers.contains(*guessed)) {
      return *guessed;
    }
    const DISPID right = item.identifier(L"EntryID");
    if (guessed && right == number) {
      return *guessed;
    }
    const std::string identifier = item.get(L"EntryID").text();
    number = right;
    return identifier;
  }

  // Nothing where the item does not answer: it is asked once more in the usual way, which tells
  // why.
  static std::optional<std::string> guessedIdentifier(const Object& item, DISPID number) {
    try {
      return item.guess(L"EntryID", number).text();
    } catch (const MailStoreError& error) {
      item.server().requireAlive();
      if (meansBusy(error.code())) {
        throw;
      }
      return std::nullopt;
    }
  }

  // False: the collection has become shorter.
  bool readOne(std::int32_t index, bool hold) {
    Object item;
    std::string identifier;
    try {
      item = items_.item(index);
      identifier = identifierOf(item);
    } catch (const MailStoreError& error) {
      items_.server().requireAlive();
      if (concernsAllItems(error.code())) {
        throw;
      }
      if (index > count()) {
        return false;
      }
      ++leftOut_;
      whyLeftOut_ = error;
      return true;
    }
    anyRead_ = true;
    add(std::move(item), std::move(identifier), hold);
    return true;
  }

  void add(Object item, std::string identifier, bool hold) {
    // Mail that came in meanwhile may have moved an item down to where it is met again.
    if (!identifier.empty() && !seen_.insert(identifier).second) {
      return;
    }
    if (markOfSent(identifier, item)) {
      return;
    }
    auto entry = std::make_shared<ListedItem>();
    entry->entryId = std::move(identifier);
    entry->unread = true;
    entry->server = items_.sharedServer();
    if (hold || entry->entryId.empty()) {
      entry->object = std::move(item);
    } else {
      entry->open = [mapi = mapi_, id = entry->entryId, members = item.knownMembers()] {
        return mapi.item(L"GetItemFromID", Value::ofText(id), members);
      };
    }
    entries_.push_back(std::move(entry));
  }

  // Where none of several items can be read it is not the items that are damaged.
  void settleLeftOut() {
    if (leftOut_ > 1 && !anyRead_) {
      throw MailStoreError(whyLeftOut_);
    }
    connection_->itemsLeftOut(leftOut_, whyLeftOut_.what());
  }

  // Whether the item was forwarded just before the application ended, and only its mark is missing.
  bool markOfSent(const std::string& entryId, const Object& item) {
    auto& unmarked = connection_->unmarked();
    const auto found = unmarked.find(entryId);
    if (found == unmarked.end()) {
      return false;
    }
    try {
      item.put(L"UnRead", Value::ofTruth(false));
      unmarked.erase(found);
      // A person who has marked it as unread to have it forwarded again must see what became of
      // that.
      connection_->world().notice(
          StoreNotice("Marked as read, as it was forwarded before Outlook ended: \"" +
                      item.get(L"Subject").text() + "\""));
    } catch (const MailStoreError&) {
      items_.server().requireAlive();
    }
    return true;
  }

  ConnectionRef connection_;
  Object items_;
  Object mapi_;
  KnownRef known_;
  std::vector<Entry> entries_;
  std::set<std::string, std::less<>> seen_;
  std::size_t leftOut_ = 0;
  MailStoreError whyLeftOut_{""};  // the last of them
  bool anyRead_ = false;
};

void requireUnreadFilter(const std::string& filter) {
  if (!isUnreadFilter(filter)) {
    throw MailStoreError("The condition cannot be used: " + filter);
  }
}

class UnreadItems : public ItemCollection {
 public:
  UnreadItems(ConnectionRef connection, std::shared_ptr<Server> server, std::vector<Entry> entries)
      : connection_(std::move(connection)),
        server_(std::move(server)),
        entries_(std::move(entries)) {}
  // More than can be listed: knows its number alone.
  UnreadItems(ConnectionRef connection, std::shared_ptr<Server> server, std::int32_t count)
      : connection_(std::move(connection)), server_(std::move(server)), tooMany_(count) {}

  std::int32_t Count() override {
    return tooMany_ > 0 ? tooMany_ : static_cast<std::int32_t>(entries_.size());
  }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    connection_->writeHeldMark();
    server_->requireAlive();
    requireIndex(index, Count());
    if (tooMany_ > 0) {
      throw MailStoreError("The inbox holds too many unread items");
    }
    connection_->requireOutbox();
    return makeReceivedItem(connection_, entries_[static_cast<std::size_t>(index - 1)]);
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    requireUnreadFilter(filter);
    connection_->writeHeldMark();
    std::vector<Entry> unread;
    for (const Entry& entry : entries_) {
      if (makeReceivedItem(connection_, entry)->UnRead()) {
        unread.push_back(entry);
      }
    }
    return std::make_shared<UnreadItems>(connection_, server_, std::move(unread));
  }

 private:
  ConnectionRef connection_;
  std::shared_ptr<Server> server_;
  std::vector<Entry> entries_;
  std::int32_t tooMany_ = 0;
};

// All items of the folder, as they are at each call.
class AllItems : public ItemCollection {
 public:
  AllItems(ConnectionRef connection, Object items, Object mapi, KnownRef known)
      : connection_(std::move(connection)),
        items_(std::move(items)),
        mapi_(std::move(mapi)),
        known_(std::move(known)) {}

  std::int32_t Count() override { return items_.get(L"Count").number(); }

  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    connection_->writeHeldMark();
    connection_->requireOutbox();
    if (!sorted_) {
      sortByTime(items_);
      sorted_ = true;
    }
    auto listed = std::make_shared<ListedItem>();
    listed->object = items_.item(index);
    listed->server = items_.sharedServer();
    listed->entryId = listed->object.get(L"EntryID").text();
    return makeReceivedItem(connection_, std::move(listed));
  }

  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    requireUnreadFilter(filter);
    connection_->writeHeldMark();
    Listing listing(connection_,
                    items_.child(L"Restrict", Value::ofText(std::string(kUnreadFilter))), mapi_,
                    known_);
    const std::int32_t count = listing.count();
    if (count > kLongestList) {
      return std::make_shared<UnreadItems>(connection_, items_.sharedServer(), count);
    }
    return std::make_shared<UnreadItems>(connection_, items_.sharedServer(), listing.read(count));
  }

 private:
  ConnectionRef connection_;
  Object items_;
  Object mapi_;
  KnownRef known_;
  bool sorted_ = false;
};

class OutlookFolder : public Folder {
 public:
  OutlookFolder(ConnectionRef connection, Object folder, Object mapi)
      : connection_(std::move(connection)), folder_(std::move(folder)), mapi_(std::move(mapi)) {}

  std::shared_ptr<ItemCollection> Items() override {
    connection_->beginPass();
    return std::make_shared<AllItems>(connection_, folder_.child(L"Items"), mapi_, known_);
  }

 private:
  ConnectionRef connection_;
  Object folder_;
  Object mapi_;
  KnownRef known_ = std::make_shared<KnownItems>();
};

}  // namespace

std::shared_ptr<Folder> makeFolder(const ConnectionRef& connection, Object folder, Object mapi) {
  return std::make_shared<OutlookFolder>(connection, std::move(folder), std::move(mapi));
}

}  // namespace relaybird::outlook
