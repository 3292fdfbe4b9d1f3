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

/// Lines typed at a terminal, with a prompt.
class TerminalLines : public LineSource, public Prompt {};

/// What the lines of a terminal need. All must outlive it.
struct TerminalParts {
  MainLoop& loop;
  TextSink& sink;  ///< writes to `output`
  int input = 0;
  int output = 1;
  bool movesCursor = true;
  /// The file of the history, readable by its owner only; empty for none.
  std::string historyFile;
  std::function<Completion(std::string_view line)> complete;
};

/// With editing, history and completion if the program was built with libedit and the terminal can
/// move its cursor; otherwise with the terminal's own editing. The destructor restores the
/// terminal's mode.
std::unique_ptr<TerminalLines> makeTerminalLines(TerminalParts parts);
/// Always with the terminal's own editing.
std::unique_ptr<TerminalLines> makePlainTerminalLines(TerminalParts parts);

}  // namespace relaybird
