// SPDX-License-Identifier: MIT
// The console's commands by name: the table that `help` prints, and the completion of lines.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ui/forms/model/form.h"

namespace relaybird {

struct CommandInfo {
  std::string_view name;
  std::string_view arguments;
  std::string_view summary;
  bool whileAsking;  ///< allowed while a box waits for its answer
};

/// In the order of the help.
std::span<const CommandInfo> commandTable();
/// Finds a command by name, ignoring letter case; null if there is none.
const CommandInfo* findCommand(std::string_view name);
/// The table as text, one command per line.
std::string commandList();

/// The possible completions of a line.
struct Completion {
  std::size_t from = 0;  ///< position in the line that the words replace
  std::vector<std::string> words;
  bool whole = true;  ///< a blank follows; false for a form, after which a control may follow
};

/// Completions for a line with the cursor at its end: commands, forms, controls, and the values of
/// a control, in the order of declaration.
Completion completions(std::string_view line, const std::vector<Form*>& forms);

}  // namespace relaybird
