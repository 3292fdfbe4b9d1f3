// SPDX-License-Identifier: MIT
// Puts relaybird-console together: the store, the forms, and the console that shows them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/program_core.h"
#include "ui/console/console_desktop.h"
#include "ui/console/console_dialogs.h"
#include "ui/console/console_session.h"
#include "ui/console/console_system.h"
#include "ui/console/program_commands.h"

namespace relaybird {

class ConsoleApplication {
 public:
  /// Writes the reason why the program cannot start to the platform's standard error. `system` must
  /// outlive it.
  ConsoleApplication(ProgramIdentity identity, ProgramPlatform platform, ConsoleSystem& system,
                     Manual manual);
  ~ConsoleApplication();

  /// Runs until the user, a signal or the end of the input ends it. Returns the exit status: 0 for
  /// a clean end, 1 when the program could not start or nobody could read what it prints, 2 when
  /// the settings do not allow a start, or nobody can correct a refused sign-in.
  int run();

 private:
  void makeConsole();
  void makeForms();
  void startUp();
  void greet();
  void outputBroken();
  void terminated();
  void hungUp();
  void end();
  bool keepAlive();

  Manual manual_;
  int status_ = 0;

  ConsoleSystem& system_;
  MainLoop& loop_;
  ProgramCore core_;

  InputKind input_;
  std::unique_ptr<ConsoleOutput> output_;
  std::unique_ptr<LineSource> lines_;
  std::unique_ptr<ConsoleDialogs> dialogs_;
  ConsoleScreen screen_{loop_};
  NoTray tray_;
  NoNotifications notifications_;
  NoAutostart autostart_;
  std::unique_ptr<ConsoleClipboard> clipboard_;
  std::unique_ptr<ConsoleHelpViewer> helpViewer_;
  std::unique_ptr<ConsoleFolderViewer> folderViewer_;

  std::unique_ptr<ProgramForms> forms_;
  std::unique_ptr<ConsoleObserver> observer_;
  std::unique_ptr<ProgramCommands> program_;
  std::unique_ptr<ConsoleSession> session_;
};

}  // namespace relaybird
