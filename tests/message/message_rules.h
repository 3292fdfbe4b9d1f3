// SPDX-License-Identifier: MIT
// The rules for a message that leaves (RFC 5322, 2045, 2046, 2047), read off its bytes by a parser
// that shares nothing with the program's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// What is wrong with a message as it is stored, with LF line ends; empty where nothing is.
std::vector<std::string> brokenRules(std::string_view message);

}  // namespace relaybird
