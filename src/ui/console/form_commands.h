// SPDX-License-Identifier: MIT
// The commands that work on forms by name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "ui/console/console_output.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// Each command takes the rest of its line. An error is a sentence without its full stop; nothing
/// has changed then. Replies go to the output.
class FormCommands {
 public:
  /// All must outlive it.
  FormCommands(std::vector<Form*> forms, ConsoleOutput& out);

  Result<void> forms(std::string_view rest);
  Result<void> show(std::string_view rest);
  Result<void> set(std::string_view rest);
  Result<void> click(std::string_view rest);
  Result<void> key(std::string_view rest);
  Result<void> close(std::string_view rest);

  /// Finds a form by name, ignoring letter case.
  Result<Form*> form(std::string_view name) const;
  /// Finds a control by "FORM.CONTROL".
  Result<Control*> control(std::string_view name) const;

 private:
  std::vector<Form*> forms_;
  ConsoleOutput& out_;
};

}  // namespace relaybird
