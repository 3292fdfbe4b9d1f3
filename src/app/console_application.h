// SPDX-License-Identifier: MIT
// relaybird-console put together: the store, the forms, and the console over them.
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "app/instance_lock.h"
#include "app/store_openers.h"
#include "platform/posix/main_loop.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/posix/posix_sleeper.h"
#include "platform/posix/watched_signals.h"
#include "platform/posix/xdg_folders.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "platform/system/trace_file.h"
#include "ui/console/boxes/console_dialogs.h"
#include "ui/console/console_session.h"
#include "ui/console/control/console_observer.h"
#include "ui/console/input/terminal_lines.h"
#include "ui/console/program/console_desktop.h"
#include "ui/console/program/program_commands.h"

namespace relaybird {

/// Who this is.
struct ProgramIdentity {
  std::string name;         ///< "relaybird-console"
  std::string versionText;  ///< "1.2.3"
  ProgramVersion version;
};

class ConsoleApplication {
 public:
  /// What keeps the program from starting goes to `err`, which must outlive it.
  ConsoleApplication(ProgramIdentity identity, Manual manual, std::ostream& err);
  ~ConsoleApplication();

  /// Runs until the user, a signal or the end of the input ends it. Returns the exit status: 0 for
  /// a clean end, 1 when the program could not start or nobody could read what it prints, 2 when
  /// the settings do not allow a start.
  int run();

 private:
  bool prepareStore();
  bool lockMailbox();
  void makeConsole();
  void makeForms();
  void listenToSignals();
  void startUp();
  void greet();
  void outputBroken();
  void terminated();
  void hungUp();
  void end();

  ProgramIdentity identity_;
  Manual manual_;
  std::ostream& err_;
  int status_ = 0;

  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  PosixClock clock_;
  MainLoop loop_;
  XdgFolders folders_{files_};
  NotWindows osVersion_;
  ProfileFile profiles_{files_};
  TraceFile trace_;

  Mailbox mailbox_;
  std::unique_ptr<OpenedStore> store_;
  std::unique_ptr<InstanceLock> lock_;

  InputKind input_;
  WatchedSignals signals_{{{SIGTERM, true}, {SIGINT, true}, {SIGHUP, false}}};
  DescriptorSink sink_;
  std::unique_ptr<ConsoleOutput> output_;
  std::unique_ptr<LineSource> lines_;
  std::unique_ptr<ConsoleDialogs> dialogs_;
  ConsoleScreen screen_{loop_};
  NoTray tray_;
  std::unique_ptr<ConsoleClipboard> clipboard_;
  std::unique_ptr<ConsoleHelpViewer> helpViewer_;
  std::unique_ptr<SystemInformation> systemInformation_;

  std::unique_ptr<ProgramForms> forms_;
  std::unique_ptr<ConsoleObserver> observer_;
  std::unique_ptr<ProgramCommands> program_;
  std::unique_ptr<ConsoleSession> session_;
  std::unique_ptr<MainLoop::Watch> signalWatch_;
};

}  // namespace relaybird
