// SPDX-License-Identifier: MIT
// The settings that all stores over a mailbox share, from section "mail" of the preference file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mail/store_world.h"
#include "outbox/delivery/hourly_limit.h"
#include "platform/profile/profile_strings.h"

namespace relaybird {

/// Paths are absolute, without a closing separator.
struct MailboxSettings {
  /// The Maildir in which forwards wait for delivery, made when it is missing; empty: one of the
  /// mailbox's own in the state folder.
  std::string outbox;
  std::string stateFolder;  ///< for the data of the store apart from the outbox
  std::string address;      ///< the user's own address, which forwards come from
  std::string name;         ///< the user's own name; may be empty
  /// A vCard file that names of recipients are looked up in; may be empty.
  std::string addressBook;
  /// How many messages may leave for one address within an hour.
  std::size_t mostPerHour = kMostPerHour;
};

/// The value of a key of the section. A key with an empty value counts as absent: the user has
/// cleared the line.
std::string mailValue(const ProfileReader& file, std::string_view key, const std::string& fallback);

/// A leading "~" or "~/" is the home folder.
std::string expandHome(const std::string& text, const std::string& home);
/// A path of the section. A relative one counts from the home folder, so that it does not depend on
/// where the program was started.
std::string userPath(const std::string& text, const std::string& home);

/// Keys of the section, all optional:
///   outbox        default one of the mailbox's own (outbox_place.h)
///   address       default user@host
///   name          default the user's name on this machine
///   address_book  default none
///   max_per_hour  a whole number from 1 on; anything else counts as the default, kMostPerHour
MailboxSettings readMailboxSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder);

}  // namespace relaybird
