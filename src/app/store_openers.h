// SPDX-License-Identifier: MIT
// The mail stores of a build, by the name that section [mail] of the preference file gives.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "mail/store_world.h"
#include "platform/profile/profile_strings.h"
#include "platform/result.h"

namespace relaybird {

/// What a store is opened with.
struct StoreSettings {
  const ProfileReader& file;
  std::string fileName;  ///< for texts
};

/// A mail store that a build has.
struct StoreEntry {
  std::string_view name;  ///< in lower case
  /// Nothing of the mailbox is touched yet. An error is a sentence for the user about a setting
  /// that cannot be used.
  Result<std::unique_ptr<MailStore>> (*open)(const StoreSettings& settings,
                                             const StoreWorld& world);
  /// Of a store that takes the mailbox of another program, where there is nothing to set up: that
  /// program's name. Empty for a store with settings.
  std::string_view givenMailbox = {};
};

/// The stores of this build; the first one is opened where the user has chosen none.
std::span<const StoreEntry> builtStores();

/// The value of key "store": the mail store that the user chose, in lower case, or the first of the
/// table; empty where there is neither.
std::string mailStoreName(const ProfileReader& file,
                          std::span<const StoreEntry> stores = builtStores());

/// StoreEntry::givenMailbox of the store of that name; of the usual store for an unknown name.
std::string_view givenMailbox(const std::string& name,
                              std::span<const StoreEntry> stores = builtStores());

/// Opens the store of that name. An error is StoreEntry::open's, or says which stores there are.
Result<std::unique_ptr<MailStore>> openStore(const std::string& name, const StoreSettings& settings,
                                             const StoreWorld& world,
                                             std::span<const StoreEntry> stores = builtStores());

}  // namespace relaybird
