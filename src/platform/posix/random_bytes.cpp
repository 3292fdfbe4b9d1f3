// SPDX-License-Identifier: MIT
#include "platform/system/random_bytes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace relaybird {

namespace {

// getentropy gives no more than this many bytes in one call (POSIX.1-2024).
constexpr std::size_t kEntropyLimit = 256;

}  // namespace

Result<std::string> systemRandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t at = 0; at < count; at += kEntropyLimit) {
    if (::getentropy(bytes.data() + at, std::min(kEntropyLimit, count - at)) != 0) {
      const int code = errno;
      return Error{code,
                   "The system has no random numbers: " + std::generic_category().message(code)};
    }
  }
  return bytes;
}

}  // namespace relaybird
