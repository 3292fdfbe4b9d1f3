// SPDX-License-Identifier: MIT
// Stand-ins for threads and other programs, for a store under test.
#pragma once

#include "platform/system/command_runner.h"
#include "platform/system/executor.h"

namespace relaybird {

/// Does the job inside run().
class InlineExecutor : public Executor {
 public:
  void run(std::function<void()> job) override { job(); }
};

/// Starts no command.
class NoCommands : public CommandRunner {
 public:
  CommandResult run(const std::vector<std::string>&, const CommandInput&, std::chrono::milliseconds,
                    std::stop_token) override {
    return {};
  }
};

}  // namespace relaybird
