// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <string>

#include "platform/freedesktop/session_bus.h"
#include "platform/system/secret.h"

namespace relaybird {

struct SecretReply {
  Secret secret;
  int number = 0;  ///< the integer behind the secret, for a method that gives one
};

/// Calls a method on the session bus that answers with a secret: a string, and perhaps an integer
/// behind it (signatures "s" and "si"). `argument` is its string argument; null: it has none. The
/// call is made on a connection of its own, by few lines of our own: GDBus would leave copies of
/// the reply in memory that it neither overwrites nor gives back. Null `error` place is not
/// allowed; the reply is empty after an error. Any thread; waits a minute at most.
SecretReply callForSecret(const char* destination, const std::string& path, const char* interface,
                          const char* method, const char* argument, GCancellable* cancellable,
                          BusError& error);

}  // namespace relaybird
