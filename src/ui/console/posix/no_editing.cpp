// SPDX-License-Identifier: MIT
// Linked in place of edited_lines.cpp in a build without libedit.
#include "ui/console/posix/edited_lines.h"

namespace relaybird {

std::unique_ptr<TerminalLines> makeEditedLines(EditedParts) {
  return nullptr;
}

}  // namespace relaybird
