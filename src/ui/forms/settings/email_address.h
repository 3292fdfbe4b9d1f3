// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "engine/engine_world.h"

namespace relaybird {

/// Whether the text has the form of an e-mail address: something before the first "@", and a point
/// behind it that is not the last character. A first guard against typing errors, no more: what the
/// store can send to, the store decides. The verbose log tells of every call.
bool bolCheckEmailAddress(ActivityLog& log, std::string_view address);

}  // namespace relaybird
