// SPDX-License-Identifier: MIT
#include <windows.h>

#include <bcrypt.h>

#include <cerrno>
#include <limits>

#include "platform/system/random_bytes.h"

namespace relaybird {

Result<std::string> systemRandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  const bool fits = count <= std::numeric_limits<ULONG>::max();
  const NTSTATUS status =
      fits ? ::BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(bytes.data()),
                               static_cast<ULONG>(count), BCRYPT_USE_SYSTEM_PREFERRED_RNG)
           : -1;
  if (status < 0) {
    return Error{EIO, "The system has no random numbers"};
  }
  return bytes;
}

}  // namespace relaybird
