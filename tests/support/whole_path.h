// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/paths.h"

namespace relaybird {

/// A path that is absolute on the system that the test runs on, made of one from "/".
inline std::string wholePath(const std::string& path) {
  return isAbsolutePath(path) ? path : "C:" + path;
}

}  // namespace relaybird
