// SPDX-License-Identifier: MIT
// What a person can do about a server that cannot be used, as the test of an account says it.
#pragma once

#include <string>

#include "mail/providers.h"
#include "platform/system/network.h"

namespace relaybird {

/// `known` is what the list of providers has about the server (proposalAt()). `byToken`: whether
/// the sign-in is by an access token, not by a password.
std::string connectAdvice(const ConnectFailure& failure, const Proposal& known, bool byToken);

}  // namespace relaybird
