// SPDX-License-Identifier: MIT
// Facts about user and program that a POSIX system knows.
#pragma once

#include <string>

#include "mail/store_world.h"

namespace relaybird {

/// The user who runs the program.
LocalIdentity localIdentity();

/// $CREDENTIALS_DIRECTORY (systemd.exec (5)), where it is an absolute path; else empty.
std::string credentialFolder();

/// Whether the user may run this file. Of a folder it says whether the user may enter it.
bool mayRun(const std::string& program);

/// The folder of the running program, links resolved; empty where the system does not tell.
std::string programFolder();

}  // namespace relaybird
