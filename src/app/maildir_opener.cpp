// SPDX-License-Identifier: MIT
#include <utility>

#include "app/local_identity.h"
#include "app/store_openers.h"
#include "outbox/delivery/sendmail_transport.h"
#include "platform/posix/main_loop.h"
#include "platform/posix/posix_command_runner.h"
#include "platform/system/random_bytes.h"
#include "stores/maildir/maildir_settings.h"
#include "stores/maildir/maildir_store.h"

namespace relaybird {
namespace {

class OpenedMaildir : public OpenedStore {
 public:
  OpenedMaildir(MaildirSettings settings, std::vector<std::string> sendmail,
                const StoreWorld& world)
      : place_(settings.maildir) {
    if (auto resolved = world.files.resolve(place_)) {
      place_ = std::move(*resolved);
    }
    if (!sendmail.empty()) {
      transport_ = std::make_unique<SendmailTransport>(commands_, std::move(sendmail));
    }
    store_ = std::make_unique<MaildirStore>(
        std::move(settings),
        MaildirWorld{world.files, world.clock, world.events, executor_, systemRandomBytes,
                     transport_.get(), world.notice, world.lockFolder});
  }
  ObjectFactory& factory() override { return store_->factory(); }
  OutgoingMail& outgoing() override { return store_->outgoing(); }
  std::string place() const override { return place_; }

 private:
  std::string place_;
  PosixCommandRunner commands_{posixMainLoopSystem().steadyTime};
  ThreadExecutor executor_;
  std::unique_ptr<Transport> transport_;
  std::unique_ptr<MaildirStore> store_;
};

}  // namespace

Result<std::unique_ptr<OpenedStore>> openMaildirStore(const ProfileReader& file,
                                                      const StoreWorld& world) {
  const LocalIdentity user = localIdentity();
  MaildirSettings settings = readMaildirSettings(
      file, {user.homeFolder, world.stateFolder, user.userAtHost, user.fullName});
  std::vector<std::string> sendmail;
  if (!settings.sendmail.empty()) {
    auto command = splitCommand(settings.sendmail);
    if (!command) {
      return command.error();
    }
    sendmail = std::move(*command);
  }
  return std::unique_ptr<OpenedStore>(
      std::make_unique<OpenedMaildir>(std::move(settings), std::move(sendmail), world));
}

}  // namespace relaybird
