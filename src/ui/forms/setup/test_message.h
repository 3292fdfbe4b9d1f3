// SPDX-License-Identifier: MIT
// The message that shows whether the phone rings before the first real mail. It takes the way of
// every forward: through the outbox.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine_world.h"
#include "ui/forms/program_world.h"
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

class TestMessage {
 public:
  /// Both must outlive it. A report of the store that comes after it is gone does nothing.
  TestMessage(const ProgramWorld& world, ActivityLog& log) : world_(world), log_(log) {}

  /// Puts a message to the addresses into the outbox and has it sent at once. `line` gets a line
  /// for each step. True: the message is on its way, and `over` is called later, once. False:
  /// nothing is going on any more, and `over` is not called.
  bool send(const std::vector<std::string>& addresses, std::function<void(const TestLine&)> line,
            std::function<void()> over);

 private:
  bool store(const std::vector<std::string>& addresses,
             const std::function<void(const TestLine&)>& line);

  const ProgramWorld& world_;
  ActivityLog& log_;
  std::shared_ptr<int> alive_ = std::make_shared<int>();
};

}  // namespace relaybird
