// SPDX-License-Identifier: MIT
#pragma once

#include "platform/system/secret_store.h"

namespace relaybird {

/// The keyring of the session, whichever program it is (GNOME Keyring, KWallet, KeePassXC): the
/// Secret Service of freedesktop.org, by libsecret. Passwords are in its default collection, named
/// "Relaybird: user at host". The keyring asks the user itself when it has to be unlocked.
class DesktopKeyring : public SecretStore {
 public:
  SecretAnswer lookUp(const SecretKey& key, std::stop_token stop) override;
  SecretAnswer store(const SecretKey& key, const Secret& secret, std::stop_token stop) override;
  SecretAnswer remove(const SecretKey& key, std::stop_token stop) override;
};

}  // namespace relaybird
