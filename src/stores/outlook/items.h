// SPDX-License-Identifier: MIT
// Items of the mail application, and the safe items around them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "stores/outlook/connection.h"
#include "stores/outlook/item_over.h"

namespace relaybird::outlook {

/// What a listing of the inbox has told about one item.
struct ListedItem {
  std::string entryId;
  /// As far as it is known; other programs may have changed it since.
  std::optional<bool> unread;
  std::shared_ptr<Server> server;  ///< that it is of
  /// The item itself; or nothing, and `open` finds it.
  Object object;
  std::function<Object()> open;
};

/// An item of the inbox. `listed` is shared with the listing, which learns of marks.
std::shared_ptr<MailItem> makeReceivedItem(const ConnectionRef& connection,
                                           std::shared_ptr<ListedItem> listed);
/// An item that has not been sent yet.
std::shared_ptr<MailItem> makeNewItem(const ConnectionRef& connection, Object object);
/// A safe item over an object of that identifier; `className` is what it reports.
std::shared_ptr<SafeItem> makeSafeItem(const ConnectionRef& connection, Object object,
                                       std::string className);

}  // namespace relaybird::outlook
