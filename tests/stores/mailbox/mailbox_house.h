// SPDX-License-Identifier: MIT
// A mail store over a server that the test plays, with everything that it needs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "stores/mailbox/fake_inbox.h"
#include "stores/mailbox/mailbox_store.h"
#include "stores/maildir/maildir_house.h"

namespace relaybird {

struct MailboxHouse {
  MailboxHouse() {
    settings.address = "ann@example.org";
    open();
  }

  /// Opens the store, for the first time or again.
  void open() {
    store.reset();
    auto made = std::make_unique<FakeInbox>(server);
    inbox = made.get();
    store = std::make_unique<MailboxStore>(
        std::move(made), settings,
        StoreWorld{.files = disk,
                   .clock = clock,
                   .events = events,
                   .executor = executor,
                   .commands = commands,
                   .random = countingRandom(++opened),
                   .stateFolder = temp.path("state"),
                   .notice = [this](const StoreNotice& told) { notices.push_back(told.line); },
                   .lockFolder = [this](const std::string& folder) -> Result<void> {
                     locked.push_back(folder);
                     return {};
                   }},
        delivering ? borrowed(&transport) : nullptr);
  }

  std::shared_ptr<Application> application() {
    return createAs<Application>(store->factory(), prog_id::kApplication);
  }
  std::shared_ptr<Namespace> mapi() { return application()->GetNamespace("MAPI"); }
  std::shared_ptr<ItemCollection> items() { return mapi()->GetDefaultInbox()->Items(); }
  std::shared_ptr<ItemCollection> unread() { return items()->Restrict("[Unread]=true"); }
  std::shared_ptr<SyncObject> sync() { return mapi()->SyncObjects()->Item(1); }
  std::string outbox() const { return temp.path("state/rbx/outbox"); }

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  UnsyncedDisk real{sleeper};
  FaultyFileSystem disk{real};
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  FakeTransport transport;
  bool delivering = true;  ///< whether the store has a transport
  MailSettings settings;
  FakeServer server;
  FakeInbox* inbox = nullptr;  ///< of the store
  std::vector<std::string> notices;
  std::vector<std::string> locked;
  std::uint64_t opened = 0;
  std::unique_ptr<MailboxStore> store;
};

}  // namespace relaybird
