// SPDX-License-Identifier: MIT
// What a program needs of the system that it runs on, handed to it as interfaces, values and calls.
// Each system makes one in one place (app/posix); a test makes its own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "mail/store_world.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/system/autostart.h"
#include "platform/system/command_runner.h"
#include "platform/system/network.h"
#include "platform/system/online_accounts.h"
#include "platform/system/os_version.h"
#include "platform/system/random_bytes.h"
#include "platform/system/secret_store.h"
#include "platform/system/special_folders.h"
#include "platform/system/trace_log.h"
#include "ui/forms/form_world.h"

namespace relaybird {

/// The standard streams, for the little that a program says beside its windows or its session at
/// the console: text in UTF-8, lines end in "\n". What is written to a stream that the program does
/// not have, or that nobody reads, is lost.
struct StandardStreams {
  using Writer = std::function<void(const std::string& text)>;
  Writer out = [](const std::string&) {};
  Writer err = [](const std::string&) {};
  /// For a program that shows windows: as `out`, or as `err` if it is an error. Where the system
  /// gives such a program no streams, whoever has started it is shown a box, and the call waits for
  /// the answer.
  std::function<void(const std::string& text, bool isError)> tellStarter = [](const std::string&,
                                                                              bool) {};
};

/// A member may use those above it. Whatever has no "null" in its comment is there on every system.
struct ProgramPlatform {
  StandardStreams streams;
  std::unique_ptr<Sleeper> sleeper;
  std::unique_ptr<FileSystem> files;
  std::unique_ptr<ProfileStrings> profiles;  ///< the preference files
  std::unique_ptr<Clock> clock;
  std::unique_ptr<SpecialFolders> folders;
  std::unique_ptr<OsVersion> osVersion;

  /// Commands that deliver mail. Where the system has none, it refuses to start any.
  std::unique_ptr<CommandRunner> commands;
  /// Whether the user may run the file of this path; null: there are no such commands.
  std::function<bool(const std::string& program)> mayRun;
  std::unique_ptr<SecretCommandRunner> secretCommands;  ///< null: no command prints passwords
  std::unique_ptr<SecretStore> keyring;                 ///< null: there is none
  std::unique_ptr<OnlineAccounts> accounts;             ///< null: there are none
  NetworkMaker network;                                 ///< null: no mail servers are reached
  RandomBytes random;
  std::function<std::chrono::milliseconds()> steadyTime = relaybird::steadyTime;

  /// Where the diagnostic trace goes, and the file whose existence switches it on; empty: files in
  /// the program's state folder.
  std::string traceFile;
  std::string traceMarker;
  PlainTextForm plainText;  ///< of texts for the user's other programs

  LocalIdentity user;
  long process = 0;  ///< the number of this process
  /// Where the service manager puts the credentials of the service that the program is; empty where
  /// it has given none.
  std::string credentialFolder;
  /// The folder of the running program, links resolved; empty where the system does not tell.
  std::string programFolder;
  /// In numbers as the user writes them, in UTF-8.
  std::string decimalSeparator = ".";

  std::unique_ptr<SystemInformation> systemInformation;
  std::unique_ptr<FolderViewer> folderViewer;
  /// The start of a program with the user's session; `program` is its whole path.
  std::function<std::unique_ptr<Autostart>(const std::string& program)> makeAutostart;
};

/// That of the system that the program was built for. To be made in main, after
/// prepareSystemProcess().
ProgramPlatform systemPlatform();

/// The first call in main, before any thread: repairs what the parent process may have handed down,
/// chooses the memory of secrets, and makes the libraries ready that threads share.
void prepareSystemProcess();

}  // namespace relaybird
