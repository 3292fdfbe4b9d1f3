// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_store.h"

#include <utility>

#include "message/text/libraries.h"
#include "stores/maildir/maildir_application.h"
#include "stores/maildir/maildir_mailbox.h"

namespace relaybird {

namespace {

class MaildirOutgoing : public OutgoingMail {
 public:
  explicit MaildirOutgoing(std::shared_ptr<MaildirMailbox> mailbox)
      : mailbox_(std::move(mailbox)) {}
  OutgoingState state() override { return mailbox_->outgoing(); }
  std::size_t waiting() override { return mailbox_->waiting(); }
  void tryAgain(std::function<void()> done) override { mailbox_->tryAgain(std::move(done)); }

 private:
  std::shared_ptr<MaildirMailbox> mailbox_;
};

}  // namespace

MaildirStore::MaildirStore(MaildirSettings settings, MaildirWorld world)
    : mailbox_(std::make_shared<MaildirMailbox>(std::move(settings), std::move(world))),
      outgoing_(std::make_unique<MaildirOutgoing>(mailbox_)) {
  prepareLibraries();
  addMaildirComponents(registry_, mailbox_);
}

MaildirStore::~MaildirStore() {
  mailbox_->close();
}

}  // namespace relaybird
