// SPDX-License-Identifier: MIT
// What the dialog says about the providers whose servers it shows. It follows from the fields
// alone; nobody is asked.
#pragma once

#include <string>
#include <string_view>

#include "mail/mail_settings.h"
#include "mail/providers.h"

namespace relaybird {

struct SetupAdvice {
  std::string first;  ///< what to do first; where there is a page, it continues with `page`
  std::string page;   ///< an address on the web, or empty
  std::string more;   ///< everything else, in the order of reading
  std::string passwordLabel;
  std::string smtpPasswordLabel;
};

/// What is known about reading mail as `settings` say: `proposal`, which is that of the address or
/// of the provider that the user has chosen, or what the server is known for where the proposal is
/// a guess.
Proposal knownForReading(const MailSettings& settings, std::string_view address,
                         const Proposal& proposal);

/// `address` is the one in the dialog, which may be empty. `userAtHost` stands for it then.
SetupAdvice setupAdvice(const MailSettings& settings, std::string_view address,
                        const Proposal& proposal, const std::string& userAtHost);

/// One more line, in a text that may be empty yet.
void addAdviceLine(std::string& text, std::string_view line);

}  // namespace relaybird
