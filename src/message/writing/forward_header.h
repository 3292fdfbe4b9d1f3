// SPDX-License-Identifier: MIT
// The header section of a forward.
#pragma once

#include <optional>
#include <string>

#include "message/writing/forward.h"
#include "platform/result.h"

namespace relaybird {

/// The fields of the draft's header section as lines (RFC 5322), encoded and folded, without the
/// MIME fields and the closing empty line. EINVAL as writeForward has it.
Result<std::string> forwardHeader(const ForwardDraft& draft);

/// "Sat, 21 Nov 2026 08:15:00 +0000" (RFC 5322 section 3.3).
std::string mailDate(DateTime moment);

}  // namespace relaybird
