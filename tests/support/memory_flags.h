// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace relaybird {

/// The flags that the kernel shows for the mapping of an address, such as " dd " for memory that is
/// left out of core dumps.
inline std::string memoryFlagsOf(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool inside = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    char dash = 0;
    if (std::istringstream(line) >> std::hex >> from >> dash >> to && dash == '-') {
      inside = from <= wanted && wanted < to;
    } else if (inside && line.starts_with("VmFlags:")) {
      return line + " ";
    }
  }
  return {};
}

}  // namespace relaybird
