// SPDX-License-Identifier: MIT
// One whole check, once: reads the preferences, opens the mail store, has the engine check the
// inbox, and ends when everything has come to rest.
#pragma once

#include <memory>
#include <ostream>

#include "app/check_console.h"
#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "platform/posix/main_loop.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/posix/posix_sleeper.h"
#include "platform/posix/xdg_folders.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "platform/system/trace_file.h"
#include "stores/maildir/maildir_store.h"
#include "stores/outbox/delivery/posix_command_runner.h"
#include "stores/outbox/delivery/sendmail_transport.h"

namespace relaybird {

class CheckProgram {
 public:
  /// Log lines go to `out`, what keeps the program from checking to `err`; both must outlive it.
  CheckProgram(std::ostream& out, std::ostream& err);

  /// Returns the exit status: 0 when the check was completed, 1 when it was not, 2 when the
  /// settings do not allow one.
  int run();

 private:
  bool openStore();
  bool check();

  std::ostream& err_;
  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  PosixClock clock_;
  MainLoop loop_;
  XdgFolders folders_{files_};
  NotWindows osVersion_;
  ProfileFile profiles_{files_};
  CheckConsole console_;
  ActivityLogModel log_{console_, clock_};
  TraceFile trace_;
  ThreadExecutor executor_;
  PosixCommandRunner commands_;
  std::unique_ptr<Transport> transport_;
  std::unique_ptr<MaildirStore> store_;
  std::unique_ptr<clsPref> prefs_;
  std::unique_ptr<ForwardingEngine> engine_;
};

}  // namespace relaybird
