// SPDX-License-Identifier: MIT
// The safe-item library as a user's computer has it: loaded into the client, over a mail
// application that is a process of its own. Its objects are here; what they do, they have done by
// objects of the same classes in the application's process.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// Has COM load `file` into the clients for the library's classes, while the other classes stay
/// where they are registered. False where the registry cannot be written.
bool registerLibrary(const std::wstring& file);
/// The factory of a class of the library that a program is registered for, too; null for others.
ComRef<IClassFactory> bridgeOf(REFCLSID clsid);
/// Objects and factories that clients hold.
long liveBridges();

/// While one lives, this process has the library's classes for its own clients, over a program that
/// is registered. COM must have been initialised on this thread.
class BridgesHere {
 public:
  BridgesHere();
  BridgesHere(const BridgesHere&) = delete;
  BridgesHere& operator=(const BridgesHere&) = delete;
  ~BridgesHere();
  /// How many classes there are.
  std::size_t count() const { return registered_.size(); }

 private:
  std::vector<DWORD> registered_;
};

}  // namespace relaybird::outlook_double
