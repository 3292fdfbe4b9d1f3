// SPDX-License-Identifier: MIT
// A Maildir store with everything that it needs: folders, clock, event queue, transport.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "stores/maildir/maildir_disk.h"
#include "stores/maildir/maildir_store.h"
#include "support/fake_timers.h"
#include "support/store_fakes.h"

namespace relaybird {

/// A transport that the test owns.
inline std::shared_ptr<Transport> borrowed(Transport* transport) {
  return {std::shared_ptr<void>(), transport};
}

/// Takes everything, or what `answer` says.
class FakeTransport : public SingleTransport {
 public:
  Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
    taken.push_back(message);
    return answer ? answer(message) : Outcome{};
  }

  std::vector<OutgoingMessage> taken;
  std::function<Outcome(const OutgoingMessage&)> answer;
};

/// Different bytes at every call, the same in every run with the same seed.
RandomBytes countingRandom(std::uint64_t seed = 1);

/// Settings of a Maildir store from which nothing leaves.
MailSettings maildirSettings(const std::string& maildir, const std::string& outbox,
                             const std::string& address, const std::string& name = "");

/// What waits in the outbox as a reader of the disk sees it, in files and in the journal.
struct OutboxFile {
  std::string name;
  std::string bytes;
};
std::vector<OutboxFile> outboxFiles(const std::string& folder);

/// The value of a header field on one line; empty if there is none.
std::string fieldOf(std::string_view message, const std::string& name);

struct MaildirHouse : MaildirDisk {
  MaildirHouse();

  /// Opens the store, for the first time or again.
  void open();
  void close() { store.reset(); }

  ObjectFactory& factory() { return store->factory(); }
  std::shared_ptr<Application> application() {
    return createAs<Application>(factory(), prog_id::kApplication);
  }
  std::shared_ptr<Namespace> mapi() { return application()->GetNamespace("MAPI"); }
  std::shared_ptr<ItemCollection> items() { return mapi()->GetDefaultInbox()->Items(); }
  std::shared_ptr<ItemCollection> unread() { return items()->Restrict("[Unread]=true"); }
  std::vector<OutboxFile> outbox() const { return outboxFiles(settings.outbox); }
  /// Forwards the item to one address as the inbox pass does.
  void forward(const std::shared_ptr<MailItem>& item);

  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  FakeTransport transport;
  std::vector<std::string> notices;
  MailSettings settings;
  std::string stateFolder = temp.path("state");
  /// The lock on the Maildir; an error means that another program has it.
  std::function<Result<void>(const std::string& maildir)> lock = [](const std::string&) {
    return Result<void>();
  };
  bool delivering = false;  ///< whether the store has a transport
  std::uint64_t opened = 0;
  std::unique_ptr<MaildirStore> store;
};

}  // namespace relaybird
