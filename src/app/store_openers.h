// SPDX-License-Identifier: MIT
// The mail stores of this build, by the name that section [mail] of the preference file gives.
#pragma once

#include <memory>
#include <string>

#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "platform/profile/profile_strings.h"
#include "platform/result.h"

namespace relaybird {

/// The value of key "store": the mail store that the user chose, in lower case; "maildir" by
/// default.
std::string mailStoreName(const ProfileReader& file);

/// Opens the store of that name with the settings of the preference file. Nothing of the mailbox is
/// touched yet. An error is a sentence for the user about a setting that cannot be used;
/// `fileName` is for its text.
Result<std::unique_ptr<MailStore>> openStore(const std::string& name, const ProfileReader& file,
                                             const std::string& fileName, const StoreWorld& world);

}  // namespace relaybird
