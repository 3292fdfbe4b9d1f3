// SPDX-License-Identifier: MIT
// The Maildir store's settings, from section "mail" of the preference file.
#pragma once

#include <cstddef>
#include <string>

#include "mail/store_world.h"
#include "outbox/delivery/hourly_limit.h"
#include "platform/profile/profile_strings.h"

namespace relaybird {

/// Paths are absolute, without a closing separator.
struct MaildirSettings {
  std::string maildir;  ///< the inbox: a folder with new/ and cur/
  /// The Maildir in which forwards wait for delivery, made when it is missing; empty: one of the
  /// mailbox's own in the state folder.
  std::string outbox;
  std::string stateFolder;  ///< for the data of the store apart from the outbox
  std::string sendmail;     ///< a command that takes a message for delivery; empty: nothing leaves
  std::string address;      ///< the user's own address, which forwards come from
  std::string name;         ///< the user's own name; may be empty
  /// A vCard file that names of recipients are looked up in; may be empty.
  std::string addressBook;
  /// How many messages may leave for one address within an hour.
  std::size_t mostPerHour = kMostPerHour;
};

/// Keys of the section, all optional:
///   maildir       default ~/Maildir
///   outbox        default one of the mailbox's own (outbox_place.h)
///   sendmail      default none: forwards stay in the outbox
///   address       default user@host
///   name          default the user's name on this machine
///   address_book  default none
///   max_per_hour  a whole number from 1 on; anything else counts as the default, kMostPerHour
/// A leading "~/" in a path or in the command is the home folder. A relative path counts from
/// there, so that it does not depend on where the program was started.
MaildirSettings readMaildirSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder);

}  // namespace relaybird
