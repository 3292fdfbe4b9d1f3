// SPDX-License-Identifier: MIT
// A standard stream of the process that is another one for a while.
#pragma once

#include <windows.h>

namespace relaybird {

class StandardStream {
 public:
  /// `stream`: STD_INPUT_HANDLE and so on. `handle` must stay open as long as this object lives.
  StandardStream(DWORD stream, HANDLE handle) : stream_(stream), former_(::GetStdHandle(stream)) {
    ::SetStdHandle(stream, handle);
  }
  ~StandardStream() { ::SetStdHandle(stream_, former_); }
  StandardStream(const StandardStream&) = delete;
  StandardStream& operator=(const StandardStream&) = delete;

 private:
  DWORD stream_;
  HANDLE former_;
};

}  // namespace relaybird
