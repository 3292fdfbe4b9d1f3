// SPDX-License-Identifier: MIT
#pragma once

#include "platform/system/secret.h"

namespace relaybird {

/// Keeps each secret in pages of its own, which are left out of core dumps and, as far as the limit
/// on locked memory allows, never written to the swap space. A page a secret is much memory for
/// little, but a program has a handful of them.
class SecretPages : public SecretMemory {
 public:
  char* take(std::size_t size) override;
  void giveBack(char* bytes, std::size_t size) override;
};

}  // namespace relaybird
