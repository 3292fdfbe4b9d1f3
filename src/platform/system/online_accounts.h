// SPDX-License-Identifier: MIT
// The accounts that the user has set up in the desktop's settings ("Online Accounts"). The desktop
// keeps them signed in and hands out passwords and access tokens.
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/system/network.h"
#include "platform/system/secret.h"

namespace relaybird {

/// An account with mail.
struct OnlineAccount {
  struct Place {
    MailServer server;
    std::string user;
  };
  std::string id;        ///< names the account for good
  std::string provider;  ///< "Google"
  std::string identity;  ///< what the desktop calls it: "ann@example.org"
  std::string address;   ///< the user's e-mail address
  std::string name;      ///< the user's name; may be empty
  std::optional<Place> imap;
  std::optional<Place> smtp;
  bool token = false;           ///< signs in with access tokens, not with a password
  bool needsAttention = false;  ///< the desktop asks the user to sign in again
};

/// Why the online accounts gave no answer.
struct OnlineAccountsFailure {
  enum class Cause {
    kNoService,  ///< this session has none
    kNoSuchAccount,
    kNeedsAttention,  ///< the user has to sign in again in the desktop's settings
    kCancelled,       ///< `stop` was requested
    kFailed,          ///< any other failure
  };
  Cause cause = Cause::kFailed;
  std::string words;  ///< for people: what happened, in one sentence
};

struct OnlineAccountList {
  std::vector<OnlineAccount> accounts;
  std::optional<OnlineAccountsFailure> failure;
};

struct OnlineAccountSecret {
  Secret secret;
  bool token = false;                            ///< an access token, not a password
  std::optional<std::chrono::seconds> lifetime;  ///< of a token, where it is known
  std::optional<OnlineAccountsFailure> failure;
};

/// The calls may wait for other programs and their servers, so they are not for the user-interface
/// thread; any other thread may call. A call ends soon after `stop` was requested.
class OnlineAccounts {
 public:
  virtual ~OnlineAccounts() = default;
  /// The accounts that have mail, in no particular order.
  virtual OnlineAccountList list(std::stop_token stop) = 0;
  /// The password or a fresh access token of an account, for one of its servers.
  virtual OnlineAccountSecret secret(const std::string& id, MailProtocol protocol,
                                     std::stop_token stop) = 0;
};

}  // namespace relaybird
