// SPDX-License-Identifier: MIT
// Whether mail settings fit together.
#pragma once

#include <string>
#include <vector>

#include "mail/mail_settings.h"

namespace relaybird {

/// A sentence for the user for each thing that is missing or contradicts; empty if a mailbox can be
/// opened. Any thread.
std::vector<std::string> mailSettingsErrors(const MailSettings& settings);

}  // namespace relaybird
