// SPDX-License-Identifier: MIT
// Type information of the double's objects, made in memory: what a client asks to learn an object's
// class name, and the names of the synchronisation's events. One library holds all of it.
#pragma once

#include <oaidl.h>

#include <string>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// The events of a synchronisation, with the identifiers that are documented for them.
enum SyncEvent : DISPID {
  kSyncStartEvent = 0xF001,
  kProgressEvent = 0xF002,
  kErrorEvent = 0xF003,
  kSyncEndEvent = 0xF004,
};

/// The identifier of the event interface "SyncObjectEvents".
extern const IID kSyncEvents;

/// The default interface of a class: `name` as automation has it, such as "_MailItem". The same
/// object every time. Null where it could not be made.
ComRef<ITypeInfo> interfaceInfo(const std::string& name);
/// The class itself, such as "SafeMailItem".
ComRef<ITypeInfo> classInfo(const std::string& name);

}  // namespace relaybird::outlook_double
