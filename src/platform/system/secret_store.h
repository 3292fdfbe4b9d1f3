// SPDX-License-Identifier: MIT
// The keyring of the user's desktop, where passwords are kept encrypted.
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "platform/system/network.h"
#include "platform/system/secret.h"

namespace relaybird {

/// What a secret is filed under.
struct SecretKey {
  MailProtocol protocol = MailProtocol::kImap;
  std::string user;
  std::string host;
  std::uint16_t port = 0;
};

/// The outcome of a call to the keyring.
struct SecretAnswer {
  enum class End {
    kDone,
    kNotThere,   ///< the keyring is open and has no such secret
    kDeclined,   ///< the keyring is locked, and the user did not unlock it
    kNoService,  ///< this session has no keyring
    kCancelled,  ///< `stop` was requested
    kFailed,     ///< any other failure
  };
  End end = End::kFailed;
  Secret secret = {};      ///< of lookUp() that is done
  std::string words = {};  ///< for people, unless it is done: what happened, in one sentence
};

/// The calls may wait for the user, who is asked to unlock the keyring, so they are not for the
/// user-interface thread; any other thread may call. A call ends soon after `stop` was requested.
class SecretStore {
 public:
  virtual ~SecretStore() = default;
  virtual SecretAnswer lookUp(const SecretKey& key, std::stop_token stop) = 0;
  /// Replaces a secret of the same key.
  virtual SecretAnswer store(const SecretKey& key, const Secret& secret, std::stop_token stop) = 0;
  virtual SecretAnswer remove(const SecretKey& key, std::stop_token stop) = 0;
};

}  // namespace relaybird
