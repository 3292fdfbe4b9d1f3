// SPDX-License-Identifier: MIT
// Checks the rules for a message that is sent (RFC 5322, 2045, 2046, 2047), with a parser of its
// own that shares nothing with the program's.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// The rules that a stored message with LF line ends breaks; empty where it breaks none.
std::vector<std::string> brokenRules(std::string_view message);

}  // namespace relaybird
