// SPDX-License-Identifier: MIT
// The safe-item library as a user's computer has it: loaded into the client, over a mail
// application that is a process of its own. Its objects are here; what they do, they have done by
// objects of the same classes in the application's process.
#pragma once

#include <windows.h>

#include <string>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// Has COM load `file` into the clients for the library's classes, while the other classes stay
/// where they are registered. False where the registry cannot be written. `lasting` has to be as it
/// was for the other classes.
bool registerLibrary(const std::wstring& file, bool lasting = true);
/// The factory of a class of the library that a program is registered for, too; null for others.
ComRef<IClassFactory> bridgeOf(REFCLSID clsid);
/// Objects and factories that clients hold.
long liveBridges();

}  // namespace relaybird::outlook_double
