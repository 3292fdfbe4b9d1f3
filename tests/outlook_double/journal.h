// SPDX-License-Identifier: MIT
// Items and messages as lines of text (commands.h): for commands, answers, and the file that keeps
// the double's mailbox.
#pragma once

#include <string>

#include "memory_store/memory_store.h"
#include "outlook_double/commands.h"

namespace relaybird::outlook_double {

/// The item of a line "deliver".
MemoryItem itemOfLine(const CommandLine& line);
std::string lineOfItem(const MemoryItem& item);
/// A line "sent".
std::string lineOfMessage(const MemoryMessage& message);
MemoryMessage messageOfLine(const CommandLine& line);

}  // namespace relaybird::outlook_double
