// SPDX-License-Identifier: MIT
#include "ui/forms/setup/provider_choice.h"

#include <algorithm>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Positions of the entries that are no provider.
enum { kNoneOfThese, kUsualNames, kFirstHost };

}  // namespace

// Most firms and families with a domain of their own have their mail at one of these.
ProviderChoice::ProviderChoice()
    : entries_{"None of these", "None of these: try the usual names of servers"} {
  for (const MailProvider& provider : mailProviders()) {
    if ((provider.traits & kOwnDomains) != 0) {
      hosts_.push_back(&provider);
      entries_.emplace_back(provider.name);
    }
  }
}

bool ProviderChoice::offered(std::string_view address) {
  return proposalFor(address).kind == Proposal::Kind::kGuess;
}

// A guess fills no field unless the user asks for it: whoever trusts a field sends a password
// there.
Proposal ProviderChoice::proposal(std::string_view address, int position) const {
  Proposal byAddress = proposalFor(address);
  if (byAddress.kind != Proposal::Kind::kGuess || position <= kNoneOfThese) {
    return byAddress;
  }
  if (position == kUsualNames) {
    byAddress.kind = Proposal::Kind::kFound;
    byAddress.remarks = {
        "The names of the servers are a guess. Test Account shows whether they exist."};
    return byAddress;
  }
  const auto host = static_cast<std::size_t>(position - kFirstHost);
  return host < hosts_.size() ? proposalFrom(*hosts_[host], trimmed(address)) : byAddress;
}

}  // namespace relaybird
