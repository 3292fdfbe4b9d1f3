// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/posix/poll_waiter.h"
#include "ui/console/console_system.h"
#include "ui/console/terminal_lines.h"

namespace relaybird {

/// What edited lines need. All must outlive them.
struct EditedParts {
  MainLoop& loop;
  PollWaiter& waiter;
  TextSink& sink;  ///< writes to `output`
  int input = 0;
  int output = 1;
  LineHelp help;
};

/// Lines with editing, history and completion; null if the program was built without libedit. The
/// destructor restores the terminal's mode.
std::unique_ptr<TerminalLines> makeEditedLines(EditedParts parts);

}  // namespace relaybird
