// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "platform/result.h"

namespace relaybird {

/// Returns that many unpredictable bytes, or an error. Any thread.
using RandomBytes = std::function<Result<std::string>(std::size_t count)>;

/// From the operating system's random source.
Result<std::string> systemRandomBytes(std::size_t count);

}  // namespace relaybird
