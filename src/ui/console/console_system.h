// SPDX-License-Identifier: MIT
// What the console needs of the system beside the program's own platform: the loop with its way to
// sleep, the standard streams, and the system's requests to end. One implementation for each
// system, in a folder of its own.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/main_loop.h"
#include "ui/console/command_table.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"
#include "ui/console/terminal_lines.h"
#include "ui/console/terminal_output.h"

namespace relaybird {

/// What the system asks of the program. Called from the loop.
struct SystemRequests {
  /// The program is to end: a signal or an event of the console window says so. The system may
  /// have its own way with a program that has not ended soon, or that is asked a second time.
  std::function<void()> end;
  /// The terminal has gone; of a program without one, whoever runs it asks it to read its
  /// preferences again.
  std::function<void()> hangUp;
};

/// What a terminal's lines may be helped with.
struct LineHelp {
  /// The file of the history, readable by its owner only; empty for none.
  std::string historyFile;
  std::function<Completion(std::string_view line)> complete;
};

/// All calls are made on the user-interface thread. What it hands out lives as long as it does.
class ConsoleSystem {
 public:
  virtual ~ConsoleSystem() = default;
  virtual MainLoop& loop() = 0;
  /// Of the two standard streams together: a person only where both are terminals.
  virtual InputKind inputKind() const = 0;
  virtual TerminalManner terminalManner() const = 0;

  /// Standard input, for scripts.
  virtual ByteStream& input() = 0;
  /// Standard input as a person types it, for a terminal. Once.
  virtual std::unique_ptr<TerminalLines> terminalLines(LineHelp help) = 0;

  /// Standard output. Waits for a slow reader, and the program waits with it, until the system
  /// asks the program to end.
  virtual TextSink& output() = 0;
  /// Calls `onBroken` once, from within a write, when the reader of the output has gone.
  virtual void watchOutput(std::function<void()> onBroken) = 0;
  /// From now on, output that cannot be written at once is dropped.
  virtual void hurry() = 0;

  /// Has the requests served from now on, also those that have come since the program started;
  /// with empty functions they are kept.
  virtual void listen(SystemRequests requests) = 0;
};

/// The console of the system that the program was built for. Makes the C library's character
/// functions read text as the user's terminal sends it. Throws std::exception when the system has
/// no resources left. Once in a process.
std::unique_ptr<ConsoleSystem> openSystemConsole();

}  // namespace relaybird
