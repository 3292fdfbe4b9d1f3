// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "platform/system/command_runner.h"

namespace relaybird {

/// How long a command that has all its input may go on after a stop was requested: what it has
/// taken it may be about to send, and ending it then could send the message twice.
inline constexpr std::chrono::milliseconds kStopPatience{5000};

/// Starts commands by posix_spawn, each in a process group of its own, so that what it started ends
/// with it when it has to be ended. The command inherits nothing but the environment, the working
/// folder and the three standard streams. Any thread.
class PosixCommandRunner : public CommandRunner {
 public:
  /// `steadyTime` counts from any fixed moment and never jumps.
  explicit PosixCommandRunner(std::function<std::chrono::milliseconds()> steadyTime)
      : steadyTime_(std::move(steadyTime)) {}
  CommandResult run(const std::vector<std::string>& arguments, std::string_view input,
                    std::chrono::milliseconds timeLimit, std::stop_token stop) override;

 private:
  std::function<std::chrono::milliseconds()> steadyTime_;
};

}  // namespace relaybird
