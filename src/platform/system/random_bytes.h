// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "platform/result.h"

namespace relaybird {

/// Gives that many bytes that nobody can guess, or says why it has none. Any thread.
using RandomBytes = std::function<Result<std::string>(std::size_t count)>;

/// From the operating system's own source.
Result<std::string> systemRandomBytes(std::size_t count);

}  // namespace relaybird
