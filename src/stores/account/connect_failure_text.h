// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/system/network.h"

namespace relaybird {

/// A sentence about a connection that could not be opened or has ended: server, step, what
/// happened, and the server's words.
std::string connectFailureText(const MailServer& server, const ConnectFailure& failure);

}  // namespace relaybird
