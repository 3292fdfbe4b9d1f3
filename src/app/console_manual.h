// SPDX-License-Identifier: MIT
#pragma once

#include "ui/console/program_commands.h"

namespace relaybird {

/// The user's manual as plain text. Words that name no topic but are found in some are answered
/// with the list of those.
Manual consoleManual();

}  // namespace relaybird
