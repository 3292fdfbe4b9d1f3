// SPDX-License-Identifier: MIT
#pragma once

#include "platform/system/online_accounts.h"

namespace relaybird {

/// GNOME Online Accounts, over the session bus (org.gnome.OnlineAccounts).
class DesktopOnlineAccounts : public OnlineAccounts {
 public:
  OnlineAccountList list(std::stop_token stop) override;
  /// `id` may also be the account's e-mail address or identity, as people write it.
  OnlineAccountSecret secret(const std::string& id, MailProtocol protocol,
                             std::stop_token stop) override;
};

}  // namespace relaybird
