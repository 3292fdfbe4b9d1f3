// SPDX-License-Identifier: MIT
// Copies of what was sent, in the account's folder of sent messages, if the user wants them.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "mail/mail_settings.h"
#include "mail/sign_in_source.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "platform/result.h"
#include "stores/account/imap_client.h"

namespace relaybird {

/// How long one copy may take, the sign-in included.
inline constexpr std::chrono::seconds kSentCopyLimit{60};

/// Connects when it is used. Calls wait for the server; they end soon after `stop` was requested.
/// One thread.
class SentCopies {
 public:
  /// `world.network` must be set.
  SentCopies(const MailSettings& settings, const StoreWorld& world);
  ~SentCopies();

  /// Puts a copy of a message there, whose lines end with LF.
  Result<void> append(std::string_view message, std::stop_token stop);
  /// Ends the connection, which is kept from one call to the next.
  void close();

 private:
  struct Link;
  Result<void> open(const std::stop_token& stop);
  Result<void> signIn(const std::stop_token& stop);
  Result<void> run(const std::function<bool()>& finished, const std::stop_token& stop);
  Result<void> failed(std::string_view what, const Error& why);

  MailServer server_;
  StoreWorld world_;
  std::unique_ptr<SignInSource> secret_;
  std::unique_ptr<Network> network_;
  std::unique_ptr<Link> link_;
  std::chrono::milliseconds until_{0};
};

/// A transport that keeps a copy of each message once `real` has delivered it. A
/// copy that fails is reported to `notice`, on the delivery's thread, and not tried again.
std::shared_ptr<Transport> keepingSentCopies(std::shared_ptr<Transport> real,
                                             std::shared_ptr<SentCopies> copies,
                                             std::function<void(std::string)> notice);

}  // namespace relaybird
