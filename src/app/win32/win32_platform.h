// SPDX-License-Identifier: MIT
// Facts about user and program that a Windows system knows.
#pragma once

#include <string>

#include "mail/store_world.h"

namespace relaybird {

/// The user who runs the program.
LocalIdentity localIdentity();

/// The folder of the running program; empty where the system does not tell.
std::string programFolder();

}  // namespace relaybird
