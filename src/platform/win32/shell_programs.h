// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "platform/result.h"

namespace relaybird {

/// A word of a command line, so that the program that is started reads the same word.
std::string commandLineWord(const std::string& word);

/// Starts a program by its whole path, in a normal window that gets the focus, and returns as soon
/// as it runs. Nobody has to wait for its end. An error where it cannot be started.
Result<void> startProgram(const std::string& program, const std::vector<std::string>& arguments);

/// Opens a folder, a document or a web address in the program that the user has for it.
Result<void> openInShell(const std::string& target);

}  // namespace relaybird
