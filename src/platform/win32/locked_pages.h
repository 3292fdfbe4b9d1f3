// SPDX-License-Identifier: MIT
#pragma once

#include "platform/system/secret.h"

namespace relaybird {

/// Keeps each secret in pages of its own, which are, as far as the process may lock memory, never
/// written to the page file.
class LockedPages : public SecretMemory {
 public:
  char* take(std::size_t size) override;
  void giveBack(char* bytes, std::size_t size) override;
};

}  // namespace relaybird
