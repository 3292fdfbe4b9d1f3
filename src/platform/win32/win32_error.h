// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/result.h"

namespace relaybird {

/// "Cannot WHAT: the system's words". `code` is what GetLastError() has returned; the error's code
/// is the errno value that other systems report for the same failure, EIO for one without such a
/// value.
Error win32Error(const std::string& what, unsigned long code);
/// The same with the error of this thread's last call.
Error lastError(const std::string& what);

/// "Cannot WHAT: WORDS", for what Windows allows or reports as another failure.
Error ownError(const std::string& what, int number, const std::string& words);

}  // namespace relaybird
