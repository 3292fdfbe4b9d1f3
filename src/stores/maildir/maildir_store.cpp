// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_store.h"

#include <utility>

#include "stores/maildir/maildir_application.h"
#include "stores/maildir/maildir_mailbox.h"
#include "stores/text/libraries.h"

namespace relaybird {

MaildirStore::MaildirStore(MaildirSettings settings, MaildirWorld world)
    : mailbox_(std::make_shared<MaildirMailbox>(std::move(settings), std::move(world))) {
  prepareLibraries();
  addMaildirComponents(registry_, mailbox_);
}

MaildirStore::~MaildirStore() {
  mailbox_->close();
}

}  // namespace relaybird
