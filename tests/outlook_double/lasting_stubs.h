// SPDX-License-Identifier: MIT
// COM's receiving end of each interface that clients and the double in two processes call. COM
// makes such a stub with the first object that leaves its process and removes it with the last one.
// Wine 8 waits in that removal until the calls through the stub have ended, and misses the end of a
// call that ends at that very moment; the thread of the objects then waits for ever, and all
// clients with it. Clients let go of an object right after a call of it, so that this happens.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <vector>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// While one lives, the stubs stay for this thread's objects. COM must have been initialised on the
/// thread, and be left after the end of this one.
class LastingStubs {
 public:
  LastingStubs();
  LastingStubs(const LastingStubs&) = delete;
  LastingStubs& operator=(const LastingStubs&) = delete;
  ~LastingStubs();
  /// Whether every interface has its stub.
  bool complete() const;

 private:
  std::vector<ComRef<IStream>> kept_;  ///< a reference in each, as it goes to another process
};

}  // namespace relaybird::outlook_double
