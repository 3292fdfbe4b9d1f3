// SPDX-License-Identifier: MIT
// The folder in which the provider keeps what the account has sent. When the answer for a message
// got lost, it tells whether the message has arrived, at providers that put sent mail there by
// themselves.
#pragma once

#include <chrono>
#include <memory>
#include <stop_token>
#include <string>

#include "mail/mail_settings.h"
#include "mail/sign_in_source.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"

namespace relaybird {

/// How long one search may take in all.
inline constexpr std::chrono::seconds kSentSearchLimit{60};

/// One thread at a time, which is not the user-interface thread.
class SentFolder {
 public:
  /// What `world` refers to must outlive the object.
  SentFolder(const MailSettings& settings, const StoreWorld& world);

  /// Whether a message of this identifier ("<...>") is there. Makes a connection of its own. False
  /// too when that cannot be found out: the server is out of reach, has no such folder, or does not
  /// answer in time.
  bool has(const std::string& messageId, std::stop_token stop);

 private:
  MailServer server_;
  NetworkMaker network_;
  SignInSource secret_;
};

/// The same transport, which asks the account's folder before a message whose answer got lost is
/// sent again. Null for null.
std::shared_ptr<Transport> withSentFolder(std::shared_ptr<Transport> transport,
                                          const MailSettings& settings, const StoreWorld& world);

}  // namespace relaybird
