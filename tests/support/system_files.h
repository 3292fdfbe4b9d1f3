// SPDX-License-Identifier: MIT
// The disk of the system that the tests run on, for tests over real files that are the same on
// every system.
#pragma once

#ifdef _WIN32
#include "platform/win32/win32_file_system.h"
#else
#include "platform/posix/posix_file_system.h"
#endif

namespace relaybird {

#ifdef _WIN32
using SystemFiles = Win32FileSystem;
#else
using SystemFiles = PosixFileSystem;
#endif

}  // namespace relaybird
