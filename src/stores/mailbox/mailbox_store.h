// SPDX-License-Identifier: MIT
// A mail store over any kind of inbox. What is sent waits in an outbox on this disk, from which a
// transport takes it, whatever the inbox is.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "mail/mail_settings.h"
#include "mail/mail_store.h"
#include "mail/shared_components.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {

class MailboxSession;

/// Nothing is touched before the application object is made or the first item is sent. Making it
/// fails with a sentence for the user where the inbox cannot be used, the outbox cannot be made or
/// is in use by another program, or the user's own address is not valid.
///
/// User-interface thread only. Destroying the store writes a read mark that is held back, closes
/// the inbox, waits for the delivery under way to stop, and makes all objects taken from it fail.
class MailboxStore : public MailStore {
 public:
  /// The outbox, unless the settings name one, and the key of the trace marks are in "rbx" below
  /// the world's state folder. `transport` takes forwards off this computer and is used on the
  /// executor's thread. Null: forwards stay in the outbox.
  MailboxStore(std::unique_ptr<Inbox> inbox, MailSettings settings, StoreWorld world,
               std::shared_ptr<Transport> transport);
  ~MailboxStore() override;

  ObjectFactory& factory() override { return registry_; }
  OutgoingMail& outgoing() override { return *outgoing_; }
  /// The inbox's identity; its folder as the settings name it where the identity is unknown.
  std::string place() const override;
  std::string lockName() const override;
  /// The place if it is a folder.
  std::string folder() const override;
  bool beginToClose(std::function<void()> ready) override;

 private:
  std::shared_ptr<MailboxSession> session_;
  std::unique_ptr<OutgoingMail> outgoing_;
  ObjectRegistry registry_;
};

}  // namespace relaybird
