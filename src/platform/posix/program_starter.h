// SPDX-License-Identifier: MIT
// Starts programs that go their own way: windows of the desktop that stay when this one ends.
#pragma once

#include <string>
#include <vector>

#include "platform/result.h"

namespace relaybird {

/// Starts a program by its whole path, with what it is to find as its arguments, and returns as
/// soon as it runs. It belongs to a session of its own, reads nothing, and what it prints goes
/// nowhere; nobody has to wait for its end. It gets this process's environment and folder, and none
/// of its open files. An error, with the system's number, where it cannot be started. Any thread.
Result<void> startProgram(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace relaybird
