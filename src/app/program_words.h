// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/program_core.h"

namespace relaybird {

/// A program of this release.
ProgramIdentity programIdentity(std::string name);

/// Answers the words on the command line, where there are any, and returns the exit status that the
/// program then ends with. `help` is what --help prints.
std::optional<int> answerWords(const ProgramIdentity& identity, std::string_view help,
                               const std::vector<std::string>& words);

}  // namespace relaybird
