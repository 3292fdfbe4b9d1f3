// SPDX-License-Identifier: MIT
// An account with everything that its store needs: the server, the network, folders, clock, event
// queue. Nothing runs on a thread: whatever waits serves the connection itself.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "mail/mail_settings.h"
#include "mail/store_world.h"
#include "platform/posix/posix_file_system.h"
#include "stores/account/account_inbox.h"
#include "stores/account/imap_server_script.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/faulty_file_system.h"
#include "support/scripted_network.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {

struct AccountHouse {
  AccountHouse();

  /// Makes an inbox of a program that forwards, with nothing connected.
  std::unique_ptr<AccountInbox> makeInbox();
  StoreWorld world();

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem realDisk{sleeper};
  FaultyFileSystem disk{realDisk};
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  ScriptedNetwork network;
  ServerAccount account;
  MailSettings settings;
  std::vector<std::string> notices;
  std::shared_ptr<std::atomic<bool>> verbose = std::make_shared<std::atomic<bool>>(false);
  bool reachable = true;
  std::function<void(ServerEnd&)> arrange;  ///< called for each new connection
  std::function<bool()> keepAlive = [] { return true; };
};

}  // namespace relaybird
