// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/system/network.h"

namespace relaybird {

/// A sentence about a connection that could not be opened or has ended: server, step, what
/// happened, and the server's words. `ready` names what an open connection was used for.
std::string connectFailureText(const MailServer& server, const ConnectFailure& failure,
                               const std::string& ready = "reading the mailbox");

}  // namespace relaybird
