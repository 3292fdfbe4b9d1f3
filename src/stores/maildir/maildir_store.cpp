// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_store.h"

#include <utility>

#include "outbox/delivery/sendmail_transport.h"
#include "stores/maildir/maildir_inbox.h"

namespace relaybird {

MaildirStore::MaildirStore(const MaildirSettings& settings, const StoreWorld& world,
                           std::shared_ptr<Transport> transport)
    : MailboxStore(
          std::make_unique<MaildirInbox>(world.files, world.clock, world.events, settings.maildir),
          settings, world, std::move(transport)) {}

Result<std::unique_ptr<MailStore>> openMaildirStore(const ProfileReader& file,
                                                    const StoreWorld& world) {
  const MaildirSettings settings = readMaildirSettings(file, world.user, world.stateFolder);
  std::shared_ptr<Transport> transport;
  if (!settings.sendmail.empty()) {
    auto command = splitCommand(settings.sendmail);
    if (!command) {
      return command.error();
    }
    transport = std::make_shared<SendmailTransport>(world.commands, std::move(*command));
  }
  return std::unique_ptr<MailStore>(
      std::make_unique<MaildirStore>(settings, world, std::move(transport)));
}

}  // namespace relaybird
