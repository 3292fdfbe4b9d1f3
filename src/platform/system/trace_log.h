// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird {

/// The diagnostic trace, for finding out on a user's machine what the program did. Never fails
/// towards its caller.
class TraceLog {
 public:
  virtual ~TraceLog() = default;
  virtual void trace(const std::string& text) = 0;
};

}  // namespace relaybird
