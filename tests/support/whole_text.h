// SPDX-License-Identifier: MIT
// The text of a message that leaves, as one string.
#pragma once

#include <string>
#include <string_view>

#include "outbox/outgoing_text.h"

namespace relaybird {

/// Throws std::bad_variant_access if the text cannot be read.
inline std::string wholeText(const OutgoingText& text) {
  std::string whole;
  const auto read = text.forEachPiece([&](std::string_view piece) -> Result<void> {
    whole += piece;
    return {};
  });
  return Result<std::string>(read ? Result<std::string>(whole) : read.error()).value();
}

}  // namespace relaybird
