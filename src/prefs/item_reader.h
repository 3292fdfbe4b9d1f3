// SPDX-License-Identifier: MIT
// How the forwarding rules read an inbox item's protected properties. The forward builder
// implements it; the rules stay free of it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "mail/mail_store.h"

namespace relaybird {

class clsPref;

class ItemReader {
 public:
  virtual ~ItemReader() = default;
  /// Hands over the preferences; true when they were taken.
  virtual bool SetPref(const clsPref& prefs) = 0;
  /// Wraps the item. False when it cannot be wrapped, and errorText() may say why.
  virtual bool MakeSafeInboxItem(const std::shared_ptr<MailItem>& item) = 0;
  virtual std::string errorText() const = 0;

  /// The inbox item's own texts, not its forward's. Read when first asked for; throw
  /// MailStoreError.
  virtual std::string inboxSubject() = 0;
  virtual std::string inboxBody() = 0;
  virtual std::string senderName() = 0;
  virtual std::string senderAddress() = 0;
};

/// Makes a fresh reader for one item. It measures, addresses and saves nothing.
using ItemReaderMaker = std::function<std::unique_ptr<ItemReader>()>;

}  // namespace relaybird
