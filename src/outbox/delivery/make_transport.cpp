// SPDX-License-Identifier: MIT
// The transport is made when the mailbox is opened and outlives connections, so that it remembers
// what a server has refused. No secret is fetched here: the keyring may ask the user, at a time
// when there is nothing to send.
#include "outbox/delivery/make_transport.h"

#include <utility>

#include "mail/providers.h"
#include "mail/sign_in_source.h"
#include "outbox/delivery/outgoing_message.h"
#include "outbox/delivery/sendmail_transport.h"
#include "outbox/delivery/smtp_transport.h"

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

// What a sign-in source has, as the transport asks for it. Both are used by the delivery's thread.
SmtpTransport::SignInCalls callsOf(const std::shared_ptr<SignInSource>& source) {
  return {[source](std::stop_token stop) -> Result<SignIn> {
            SignInMaterial material = source->get(std::move(stop));
            if (!material.signIn) {
              return Error{0, material.failure.words};
            }
            return *std::move(material.signIn);
          },
          [source] { source->refused(); }, [source] { source->accepted(); },
          [source] { source->tryAgain(); }};
}

Result<std::shared_ptr<Transport>> makeSmtp(const MailSettings& settings, const StoreWorld& world) {
  if (!world.network) {
    return Error{0, "This program was built without a network, so it cannot send to a server"};
  }
  if (settings.smtp.server.host.empty()) {
    return Error{0, "No server for sending is set: set the key smtp_host in section [mail]"};
  }
  SmtpTransport::Setting setting{settings.smtp.server, std::nullopt, world.network};
  if (settings.smtp.signIn) {
    setting.signIn = callsOf(std::make_shared<SignInSource>(
        world.secrets, world.files, settings.smtp, settings.smtpSecretOwner(),
        appPasswordLengthAt(settings.smtp.server, settings.address)));
  }
  // Posted, since the protocol is spoken on the delivery's thread and the log belongs to the user
  // interface's. Lines are cut: a server can make them long.
  setting.trace = [verbose = world.verbose, &events = world.events,
                   notice = world.notice](const ProtocolLine& line) {
    if (verbose && *verbose) {
      events.post([notice, text = (line.sent ? "SMTP > " : "SMTP < ") + oneLine(line.text)] {
        notice({text, StoreNotice::Kind::kVerbose});
      });
    }
  };
  return std::shared_ptr<Transport>(std::make_shared<SmtpTransport>(std::move(setting)));
}

}  // namespace

Result<std::shared_ptr<Transport>> makeTransport(const MailSettings& settings,
                                                 const StoreWorld& world) {
  switch (settings.delivery) {
    case DeliveryKind::kSendmail:
      return makeSendmail(settings, world);
    case DeliveryKind::kSmtp:
      return makeSmtp(settings, world);
    case DeliveryKind::kNone:
      break;
  }
  return std::shared_ptr<Transport>();
}

}  // namespace relaybird
