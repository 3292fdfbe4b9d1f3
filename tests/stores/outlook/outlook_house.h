// SPDX-License-Identifier: MIT
// The store over the mail application's double in this process, and the engine over the store.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/engine_house.h"
#include "outlook_double/class_objects.h"
#include "outlook_double/commands.h"
#include "outlook_double/double_world.h"
#include "stores/outlook/outlook_store.h"
#include "support/store_fakes.h"

namespace relaybird {

/// COM on the test's thread. Before everything that holds an object of COM.
struct ComApartment {
  ComApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

struct OutlookHouse {
  OutlookHouse() {
    tell("reset");
    engine.forwardEverything();
    engine.engine.state().activationTime = clock.now();
  }

  std::string tell(const std::string& command) {
    return outlook_double::carryOut(outlook_double::CommandLine(command));
  }
  /// Ordinary unread mail that came a minute after activation.
  void deliver(int number, std::vector<MemoryAttachment> attachments = {}) {
    MemoryItem item;
    item.subject = "Message number " + std::to_string(number);
    item.body = std::string(2000, 'x');
    item.senderName = "Bob Example";
    item.senderAddress = "bob@example.com";
    item.received = clock.now() + std::chrono::minutes{1};
    item.modified = item.received;
    item.attachments = std::move(attachments);
    outlook_double::DoubleWorld::only().deliver(item);
  }
  void check() { engine.engine.pass().ForwardMail(); }
  std::size_t sent() const { return outlook_double::DoubleWorld::only().store().outboxCount(); }

  ComApartment com;
  outlook_double::ClassObjects classes;
  FakeClock clock;
  FakeEventQueue events;
  RecordingSleeper sleeper{clock};
  RecordingLog log{&clock};
  std::vector<std::string> notices;
  std::vector<std::string> verboseNotices;
  std::shared_ptr<std::atomic<bool>> verbose = std::make_shared<std::atomic<bool>>(false);
  NoFiles files;
  InlineExecutor executor;
  NoCommands commands;
  std::unique_ptr<MailStore> store = open();
  EngineHouse engine{store->factory(), clock, sleeper, log};

 private:
  std::unique_ptr<MailStore> open() {
    auto opened = openOutlookStore({.files = files,
                                    .clock = clock,
                                    .events = events,
                                    .executor = executor,
                                    .commands = commands,
                                    .random =
                                        [](std::size_t) {
                                          return Error{0, "not used"};
                                        },
                                    .notice =
                                        [this](const StoreNotice& told) {
                                          const bool quiet =
                                              told.kind == StoreNotice::Kind::kVerbose;
                                          (quiet ? verboseNotices : notices).push_back(told.line);
                                        },
                                    .verbose = verbose,
                                    .sleeper = &sleeper});
    if (!opened) {
      throw std::runtime_error(opened.error().text);
    }
    return std::move(*opened);
  }
};

}  // namespace relaybird
