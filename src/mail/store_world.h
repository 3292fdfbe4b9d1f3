// SPDX-License-Identifier: MIT
// What a mail store needs of the program that opens it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mail/outgoing_mail.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "platform/system/command_runner.h"
#include "platform/system/executor.h"
#include "platform/system/network.h"
#include "platform/system/online_accounts.h"
#include "platform/system/random_bytes.h"
#include "platform/system/secret_store.h"

namespace relaybird {

/// The section of the preference file that names the store (key "store") and holds its settings.
inline constexpr std::string_view kMailSection = "mail";

/// The user who runs the program, according to the system. Unknown fields are empty.
struct LocalIdentity {
  std::string homeFolder;  ///< $HOME, or the home folder in the user database
  std::string userAtHost;  ///< "ann@host"
  std::string fullName;    ///< the first GECOS field of the user database
};

/// Where passwords and access tokens come from. What is missing here is missing on this computer.
struct SecretWorld {
  SecretStore* keyring = nullptr;
  OnlineAccounts* accounts = nullptr;
  SecretCommandRunner* commands = nullptr;
  /// Where the service manager puts the program's credentials; empty where it gave none.
  std::string credentialFolder = {};
  /// A time that never jumps, counted from any moment; not set: nothing expires.
  std::function<std::chrono::milliseconds()> steadyTime = {};
};

/// All that is referred to must outlive the store and the objects taken from it.
struct StoreWorld {
  FileSystem& files;
  const Clock& clock;
  EventQueue& events;  ///< runs what it is given on the user-interface thread
  Executor& executor;  ///< for work that would keep that thread waiting
  CommandRunner& commands;
  RandomBytes random;
  LocalIdentity user = {};
  std::string version = {};      ///< of the program, which mail servers are told: "1.2.3"
  std::string stateFolder = {};  ///< SpecialFolders::stateFolder()
  /// Told what the user should read, on the user-interface thread.
  std::function<void(StoreNotice)> notice = [](const StoreNotice&) {};
  /// Takes the mailbox's folder for this program, or checks that the program still has it. A store
  /// of mail on disk calls this before each use of the folder. The error is a sentence for the
  /// user.
  std::function<Result<void>(const std::string& folder)> lockFolder = [](const std::string&) {
    return Result<void>();
  };
  SecretWorld secrets = {};
  /// Makes the network of a thread that reaches mail servers; not set: there are none.
  NetworkMaker network = {};
  /// Whether the verbose log is on, which wants notices of kind kVerbose. Any thread; may be null.
  std::shared_ptr<const std::atomic<bool>> verbose = {};
  /// Keeps the windows alive while a call of the store waits for a server: runs the events that are
  /// due and returns soon. To be called every 50 ms or more often, on the user-interface thread.
  /// False: the call is to give up at once, because the user does not want the check any more or
  /// the program ends.
  std::function<bool()> keepAlive = [] { return true; };
  /// For a short pause before something is tried again; null: it is tried again at once.
  Sleeper* sleeper = nullptr;
};

}  // namespace relaybird
