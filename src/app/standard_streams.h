// SPDX-License-Identifier: MIT
#pragma once

#include "ui/console/console_session.h"
#include "ui/console/terminal_output.h"

namespace relaybird {

/// What standard input and output are together: a person only where both are terminals.
InputKind standardInputKind();

/// What the terminal on standard output can do, by TERM and NO_COLOR (no-color.org).
TerminalManner standardTerminalManner();

/// Has the character functions take text as the user's terminal sends it: by his locale, and as
/// UTF-8 where that knows ASCII alone.
void useTerminalCharacters();

}  // namespace relaybird
