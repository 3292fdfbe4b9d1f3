// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <memory>

namespace relaybird {

struct CloseObject {
  using pointer = HANDLE;
  void operator()(HANDLE object) const { ::CloseHandle(object); }
};
/// Owns an open kernel object; null stands for none.
using ObjectHandle = std::unique_ptr<HANDLE, CloseObject>;

}  // namespace relaybird
