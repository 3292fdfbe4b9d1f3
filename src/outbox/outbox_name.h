// SPDX-License-Identifier: MIT
// Names of the outbox's own files: unique (https://cr.yp.to/proto/maildir.html), and in the order
// of their making.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace relaybird {

/// `session` is a text that no other run has; `counter` differs for every name of a run.
std::string makeOutboxName(DateTime now, std::uint64_t counter, std::string_view session);

/// Whether the name may have been made by makeOutboxName, in this or another run.
bool isOutboxName(std::string_view name);

}  // namespace relaybird
