// SPDX-License-Identifier: MIT
// Other programs: commands that are waited for, and programs of the desktop that are left alone.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "platform/system/command_runner.h"

namespace relaybird {

/// The time that a command with all its input may continue after a stop was requested: it may be
/// about to send the message, and ending it then could make the message go out twice.
inline constexpr std::chrono::milliseconds kStopPatience{5000};

/// Starts commands by posix_spawn, each in its own process group, so that its children end with it
/// when it is killed. A command inherits only the environment, the working folder and the three
/// standard streams. Any thread.
class PosixCommandRunner : public CommandRunner, public SecretCommandRunner {
 public:
  /// `steadyTime` counts from any fixed moment and never jumps.
  explicit PosixCommandRunner(std::function<std::chrono::milliseconds()> steadyTime)
      : steadyTime_(std::move(steadyTime)) {}
  CommandResult run(const std::vector<std::string>& arguments, const CommandInput& input,
                    std::chrono::milliseconds timeLimit, std::stop_token stop) override;
  SecretCommandResult runForSecret(const std::vector<std::string>& arguments,
                                   std::chrono::milliseconds timeLimit,
                                   std::stop_token stop) override;

 private:
  std::function<std::chrono::milliseconds()> steadyTime_;
};

/// Starts a program by its whole path, with what it is to find as its arguments, and returns as
/// soon as it runs. It belongs to a session of its own, reads nothing, and its output is dropped;
/// nobody has to wait for its end. It gets this process's environment and working folder, and none
/// of its open files. An error, with the system's number, where it cannot be started. Any thread.
Result<void> startProgram(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace relaybird
