// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/posix/main_loop.h"
#include "ui/console/command_table.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"
#include "ui/console/terminal_output.h"

namespace relaybird {

/// The lines that a person types at a terminal, and the prompt before them.
class TerminalLines : public LineSource, public Prompt {};

/// What typing works with. All must outlive it.
struct TerminalWorld {
  MainLoop& loop;
  TextSink& sink;  ///< writes to `output`
  int input = 0;
  int output = 1;
  bool movesCursor = true;
  /// Where typed lines are remembered, its owner's alone; empty: nowhere.
  std::string historyFile;
  std::function<Completion(std::string_view line)> complete;
};

/// With editing, history and completion where the program was built with libedit and the terminal
/// can move its cursor; else as the terminal itself has it. Destroying it puts the terminal back
/// into the mode that it was in.
std::unique_ptr<TerminalLines> makeTerminalLines(TerminalWorld world);
/// Always as the terminal itself has it.
std::unique_ptr<TerminalLines> makePlainTerminalLines(TerminalWorld world);

}  // namespace relaybird
