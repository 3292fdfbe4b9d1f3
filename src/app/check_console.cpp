// SPDX-License-Identifier: MIT
#include "app/check_console.h"

#include <cstdint>
#include <utility>

namespace relaybird {

CheckConsole::CheckConsole(std::ostream& out, std::function<void()> pending)
    : out_(out), pending_(std::move(pending)) {}

std::int32_t CheckConsole::textWidth(const std::string& text) {
  return static_cast<std::int32_t>(text.size());
}

void CheckConsole::lineAdded(const std::string& line, std::int32_t) {
  out_ << line << '\n' << std::flush;
}

}  // namespace relaybird
