// SPDX-License-Identifier: MIT
// The double in a process of its own, for tests: outlook_double.exe, as CMake has built it.
#pragma once

#include <string>

#include "outlook_double/com_values.h"
#include "outlook_double/lasting_stubs.h"

namespace relaybird::outlook_double {

/// Registers the program while one lives, so that COM starts it. `folder` keeps the mailbox; empty
/// for none. The program ends with its last client. COM must have been initialised on this thread.
class DoubleServer {
 public:
  explicit DoubleServer(const std::string& folder = {});
  DoubleServer(const DoubleServer&) = delete;
  DoubleServer& operator=(const DoubleServer&) = delete;
  ~DoubleServer();

 private:
  LastingStubs stubs_;  ///< for what the client hands to the program, such as a listener
};

}  // namespace relaybird::outlook_double
