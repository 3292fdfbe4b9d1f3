// SPDX-License-Identifier: MIT
#include "outbox/delivery/make_transport.h"

#include <utility>

#include "outbox/delivery/sendmail_transport.h"

namespace relaybird {

namespace {

Result<std::shared_ptr<Transport>> makeSendmail(const MailSettings& settings,
                                                const StoreWorld& world) {
  auto command = splitCommand(settings.sendmail);
  if (!command) {
    return command.error();
  }
  return std::shared_ptr<Transport>(
      std::make_shared<SendmailTransport>(world.commands, std::move(*command)));
}

}  // namespace

Result<std::shared_ptr<Transport>> makeTransport(const MailSettings& settings,
                                                 const StoreWorld& world) {
  switch (settings.delivery) {
    case DeliveryKind::kSendmail:
      return makeSendmail(settings, world);
    case DeliveryKind::kSmtp:
      return Error{0,
                   "This program was built without SMTP: choose another value of the key "
                   "delivery in section [mail]"};
    case DeliveryKind::kNone:
      break;
  }
  return std::shared_ptr<Transport>();
}

}  // namespace relaybird
