// SPDX-License-Identifier: MIT
#include "ui/forms/setup/test_message.h"

#include <utility>

#include "mail/mail_store.h"
#include "ui/forms/main/outbox_menu.h"

namespace relaybird {

bool TestMessage::store(const std::vector<std::string>& addresses,
                        const std::function<void(const TestLine&)>& line) {
  const auto application = createAs<Application>(world_.objects, prog_id::kApplication);
  const auto item = required(application->CreateItem(kMailItemKind), "message");
  item->Subject("Test message from Relaybird");
  item->Body(
      "This message shows that Relaybird can send mail to this address.\r\n"
      "Mail that passes your rules will come the same way.\r\n");
  const auto recipients = required(item->Recipients(), "recipients");
  for (const std::string& address : addresses) {
    recipients->Add(address);
  }
  // As for a forward: one address that is none, and nothing goes to the others either.
  if (!recipients->ResolveAll()) {
    line({TestLine::Kind::kProblem,
          "An address to forward to is not a valid one. Correct it in the settings."});
    return false;
  }
  item->send();
  log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> Test message stored for " +
                counted(addresses.size(), "address", "addresses") + ".");
  line({TestLine::Kind::kGood, "The test message is in the outbox."});
  return true;
}

bool TestMessage::send(const std::vector<std::string>& addresses,
                       std::function<void(const TestLine&)> line, std::function<void()> over) {
  try {
    const OutgoingState before = world_.outgoing.state();
    if (!store(addresses, line)) {
      return false;
    }
    if (!before.delivers) {
      line({TestLine::Kind::kProblem, joinSentences(holdReasons(before))});
      return false;
    }
    world_.outgoing.tryAgain([this, before, line, over = std::move(over),
                              alive = std::weak_ptr(alive_)] {
      if (alive.expired()) {
        return;
      }
      const OutgoingState after = world_.outgoing.state();
      const std::size_t waiting = world_.outgoing.waiting();
      // The outbox may have other messages too; what waits then is not known to be this one.
      const bool good = !hasProblem(before, after) && waiting == 0;
      line({good ? TestLine::Kind::kGood : TestLine::Kind::kProblem,
            outcomeOf(before, after, waiting) +
                (good ? " Look at the phone or the mailbox that it went to." : " See the log.")});
      over();
    });
    return true;
  } catch (const MailStoreError& error) {
    line({TestLine::Kind::kProblem,
          std::string("The test message could not be sent: ") + error.what()});
    return false;
  }
}

}  // namespace relaybird
