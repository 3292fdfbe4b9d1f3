// SPDX-License-Identifier: MIT
// The time when a message came into a folder, as IMAP writes it.
#pragma once

#include <optional>
#include <string_view>

#include "platform/clock.h"

namespace relaybird {

/// An INTERNALDATE, "17-Jul-1996 02:44:25 -0700". Nothing for an invalid one.
std::optional<DateTime> parseInternalDate(std::string_view text);

}  // namespace relaybird
