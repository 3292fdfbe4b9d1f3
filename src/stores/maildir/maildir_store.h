// SPDX-License-Identifier: MIT
// The local mail store: the inbox is a Maildir that another program delivers into and that mail
// programs may use at the same time. Forwards wait in an outbox Maildir, from which the machine's
// own mail system takes them. Off Windows this is the default store.
#pragma once

#include <memory>
#include <string>

#include "mail/mail_store.h"
#include "mail/shared_components.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "platform/profile/profile_strings.h"
#include "platform/result.h"
#include "stores/maildir/maildir_settings.h"

namespace relaybird {

class MaildirMailbox;

/// Nothing is touched before the application object is made or the first item is sent. Making it
/// fails with a sentence for the user where the Maildir is missing, the outbox cannot be made or is
/// in use by another program, or the user's own address is not valid.
///
/// User-interface thread only. Destroying the store writes a read mark that is held back, waits for
/// the delivery under way to stop, and makes all objects taken from it fail.
class MaildirStore : public MailStore {
 public:
  /// `transport` takes forwards off this computer and is used on the executor's thread. Null:
  /// forwards stay in the outbox.
  MaildirStore(const MaildirSettings& settings, const StoreWorld& world,
               std::shared_ptr<Transport> transport = nullptr);
  ~MaildirStore() override;

  ObjectFactory& factory() override { return registry_; }
  OutgoingMail& outgoing() override { return *outgoing_; }
  /// The Maildir's folder with links resolved, or as the settings name it where that fails.
  std::string place() const override;

 private:
  std::shared_ptr<MaildirMailbox> mailbox_;
  std::unique_ptr<OutgoingMail> outgoing_;
  ObjectRegistry registry_;
};

/// Opens the store that the preference file describes. An error is a sentence about a setting that
/// cannot be used.
Result<std::unique_ptr<MailStore>> openMaildirStore(const ProfileReader& file,
                                                    const StoreWorld& world);

}  // namespace relaybird
