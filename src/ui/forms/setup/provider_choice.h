// SPDX-License-Identifier: MIT
// Who runs the mail of an address: a provider of the built-in list by the address's domain, or what
// the user chooses for a domain that is not in the list. Nobody is asked.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mail/providers.h"

namespace relaybird {

class ProviderChoice {
 public:
  ProviderChoice();

  /// What a user can choose, the first entry being "none of these".
  const std::vector<std::string>& entries() const { return entries_; }
  /// Whether there is something to choose for this address.
  static bool offered(std::string_view address);
  /// The proposal for the address and the entry at that position, which counts only where it is
  /// offered.
  Proposal proposal(std::string_view address, int position) const;

 private:
  std::vector<const MailProvider*> hosts_;
  std::vector<std::string> entries_;
};

}  // namespace relaybird
