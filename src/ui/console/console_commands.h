// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"
#include "ui/console/console_output.h"
#include "ui/console/console_program.h"
#include "ui/console/form_commands.h"

namespace relaybird {

/// Runs all commands except those that wait, answer a box or end the program.
class ConsoleCommands {
 public:
  /// Both must outlive it.
  ConsoleCommands(ConsoleProgram& program, ConsoleOutput& out);

  /// Runs a command of the table; `rest` is the rest of its line. Replies go to the output. An
  /// error is a sentence for the user.
  Result<void> run(std::string_view name, std::string_view rest);
  /// Prints the state of the program, as `status` does.
  void status();

 private:
  Result<void> log(std::string_view rest);
  Result<void> settings(std::string_view rest);
  Result<void> help(std::string_view rest);

  ConsoleProgram& program_;
  ConsoleOutput& out_;
  FormCommands forms_;
};

}  // namespace relaybird
