// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"
#include "ui/console/console_output.h"
#include "ui/console/console_program.h"
#include "ui/console/form_commands.h"

namespace relaybird {

/// Carries out the commands that neither wait nor answer nor end the program.
class ConsoleCommands {
 public:
  /// Both must outlive it.
  ConsoleCommands(ConsoleProgram& program, ConsoleOutput& out);

  /// Runs a command of the table, which `rest` is the rest of the line of; replies go to the
  /// output. An error is a sentence for the user.
  Result<void> run(std::string_view name, std::string_view rest);
  /// Prints where the program stands, as `status` does.
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
