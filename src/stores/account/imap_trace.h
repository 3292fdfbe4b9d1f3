// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "mail/store_world.h"
#include "platform/system/network.h"

namespace relaybird {

/// Gives the lines of a connection to the verbose log while that is on, behind the name of the
/// connection. What it returns may be called on any thread. The event queue of `world` must outlive
/// it.
std::function<void(ProtocolLine)> imapTrace(const StoreWorld& world, const std::string& name);

}  // namespace relaybird
