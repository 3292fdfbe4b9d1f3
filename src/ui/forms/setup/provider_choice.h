// SPDX-License-Identifier: MIT
// Who runs the mail of an address: a provider of the built-in list by the address's domain, or what
// the user chooses for a domain that is not in the list. Nobody is asked.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mail/providers.h"

namespace relaybird {

/// What the dialog says about a provider, in the order of reading.
struct ProviderAdvice {
  std::string first;  ///< what to do first; where there is a page, it continues with `page`
  std::string page;   ///< an address on the web, or empty
  std::string more;   ///< everything else
};

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
  static ProviderAdvice advice(const Proposal& proposal);
  /// For a server that only sends: of proposalAt(). Empty where nothing is known about it.
  static ProviderAdvice sendingAdvice(const Proposal& proposal);

 private:
  std::vector<const MailProvider*> hosts_;
  std::vector<std::string> entries_;
};

}  // namespace relaybird
