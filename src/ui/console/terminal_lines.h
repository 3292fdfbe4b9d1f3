// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include "platform/event_queue.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"
#include "ui/console/terminal_output.h"

namespace relaybird {

/// Lines typed at a terminal, with a prompt.
class TerminalLines : public LineSource, public Prompt {};

/// What the lines of a terminal need. All must outlive it.
struct TerminalParts {
  EventQueue& events;
  ByteStream& input;
  TextSink& sink;  ///< writes to the same terminal
  bool movesCursor = true;
  /// Whether the terminal shows what is typed; for passwords it does not.
  std::function<void(bool shown)> showTyping = [](bool) {};
};

/// Lines that the terminal itself edits. The destructor has it show what is typed again.
std::unique_ptr<TerminalLines> makePlainTerminalLines(TerminalParts parts);

}  // namespace relaybird
