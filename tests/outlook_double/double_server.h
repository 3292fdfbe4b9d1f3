// SPDX-License-Identifier: MIT
// The double as a component that COM finds in the registry, for tests: in a process of its own
// (outlook_double.exe) or loaded into this one (outlook_double.dll), as CMake has built them.
#pragma once

#include <string>

#include "outlook_double/com_values.h"
#include "outlook_double/lasting_stubs.h"

namespace relaybird::outlook_double {

/// Where COM finds the double's classes.
enum class DoublePlace {
  kProgram,        ///< in a process of their own
  kLoaded,         ///< all of them in the client's
  kLibraryLoaded,  ///< those of the safe-item library in the client's, over the program
};

/// Registers the classes so, in place of what was registered before. `folder` keeps the mailbox of
/// the program; empty for none. COM must have been initialised on this thread; where a library is
/// loaded, it must stay so: the double's window does not outlive an unloading.
void registerDouble(DoublePlace place, const std::string& folder = {});
/// Whether COM has loaded a library of the double into this process.
bool libraryIsLoaded();

/// Registers the program while one lives, so that COM starts it. The program ends with its last
/// client.
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
