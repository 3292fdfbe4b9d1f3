// SPDX-License-Identifier: MIT
// Linked in place of edited_lines.cpp in a build without libedit.
#include <utility>

#include "ui/console/terminal_lines.h"

namespace relaybird {

std::unique_ptr<TerminalLines> makeTerminalLines(TerminalParts parts) {
  return makePlainTerminalLines(std::move(parts));
}

}  // namespace relaybird
