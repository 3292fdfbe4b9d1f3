// SPDX-License-Identifier: MIT
// The passwords that the user types into the set-up dialog: which server each is for, and whether
// one is missing.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "mail/mail_settings.h"
#include "mail/providers.h"
#include "ui/forms/setup/mail_setup.h"
#include "ui/forms/setup/setup_controls.h"
#include "ui/forms/setup/setup_transfer.h"

namespace relaybird {

/// What the password fields have for the settings that the dialog shows. A field that does not
/// apply counts as empty. Of an app password for a provider's server the blanks between the groups
/// are left out.
TypedSecrets typedSecrets(const SetupControls& window);

/// A password that is missing, or that the provider does not take. `kept` are the settings whose
/// passwords are in the keyring already; null: nothing is kept.
std::optional<SetupMistake> secretMistake(const MailSettings& settings, const TypedSecrets& typed,
                                          const Proposal& proposal, const MailSettings* kept);

/// Whether a password begins or ends with a blank.
bool hasBlanksAround(const TypedSecrets& typed);

/// The typed passwords with the account that each belongs to.
std::vector<std::pair<AccountSettings, Secret>> passwordsToKeep(const MailSettings& settings,
                                                                const TypedSecrets& typed);

}  // namespace relaybird
