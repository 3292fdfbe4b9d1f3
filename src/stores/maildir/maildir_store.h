// SPDX-License-Identifier: MIT
// The local mail store: the inbox is a Maildir that somebody else delivers into and that mail
// programs may use at the same time; forwards wait in an outbox Maildir for the machine's own mail
// system. Off Windows it is the store that the program uses unless told otherwise.
#pragma once

#include <memory>

#include "mail/mail_store.h"
#include "mail/object_registry.h"
#include "mail/outgoing_mail.h"
#include "stores/maildir/maildir_settings.h"
#include "stores/maildir/maildir_world.h"

namespace relaybird {

class MaildirMailbox;

/// Nothing is touched before the application object is made, or the first item sent; making it
/// fails with a sentence for the user where the Maildir is missing, the outbox cannot be made or is
/// in use by another program, or the user's own address is none.
///
/// Everything on the user-interface thread. Destroying the store writes a read mark that is held
/// back, waits for the delivery under way to stop, and makes all objects taken from it fail.
class MaildirStore : public MailStore {
 public:
  MaildirStore(MaildirSettings settings, MaildirWorld world);
  ~MaildirStore() override;

  ObjectFactory& factory() override { return registry_; }
  OutgoingMail& outgoing() { return *outgoing_; }

 private:
  std::shared_ptr<MaildirMailbox> mailbox_;
  std::unique_ptr<OutgoingMail> outgoing_;
  ObjectRegistry registry_;
};

}  // namespace relaybird
