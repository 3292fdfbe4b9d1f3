// SPDX-License-Identifier: MIT
// The commands by name: what `help` prints and the line editor completes.
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
  bool whileAsking;  ///< works also while a box waits for its answer
};

/// In the order of the help.
std::span<const CommandInfo> commandTable();
/// By name, letter case aside; null where there is none.
const CommandInfo* findCommand(std::string_view name);
/// The table as text, a command to a line.
std::string commandList();

/// What the end of a line may become.
struct Completion {
  std::size_t from = 0;  ///< where in the line the words would stand
  std::vector<std::string> words;
  bool whole = true;  ///< a blank comes after them; not so after a form, whose control may follow
};

/// What can be meant by a line that the cursor stands behind: commands, forms, controls, the values
/// that a control can be set to; in the order of their declaration.
Completion completions(std::string_view line, const std::vector<Form*>& forms);

}  // namespace relaybird
