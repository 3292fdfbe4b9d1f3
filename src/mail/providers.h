// SPDX-License-Identifier: MIT
// Mail providers by the domain of an address: servers, user names, and what a person has to do
// before a mail program gets in. Everything is built in; nothing is asked of the network, so that
// nobody learns that this person sets up an account. A proposal is only a proposal: what the user
// types counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/network.h"

namespace relaybird {

enum class UserNameForm : std::uint8_t {
  kAddress,    ///< the whole address
  kLocalPart,  ///< the part before the @
};

enum class ProviderSignIn : std::uint8_t {
  kPassword,     ///< the account's password
  kAppPassword,  ///< only one that is made for a program
  kOauthOnly,    ///< no password of any kind
  kBridge,       ///< by a program of the provider's that runs on the same computer
};

/// Combined by "|".
enum ProviderTrait : std::uint8_t {
  kOwnDomains = 1,        ///< also runs mailboxes of its customers' own domains
  kImapOff = 2,           ///< IMAP is off until the user switches it on
  kProgramsOff = 4,       ///< other programs are shut out until the user allows them
  kAppIfTwoStep = 8,      ///< an app password is needed if two-step sign-in is on
  kUncertain = 16,        ///< the settings are from an old or a single source
  kMailboxPassword = 32,  ///< the mailbox has a password apart from the customer's
  kCodesInGroups = 64,    ///< app passwords have 16 letters, shown in groups with blanks between
};

struct ProviderServer {
  std::string_view host;
  std::uint16_t port;
  Security security;
  UserNameForm user;
};

/// What a person should know. All may be empty.
struct ProviderNote {
  std::string_view page;    ///< about app passwords, or about letting programs in
  std::string_view date;    ///< when `remark` was true: "2026-05", or a year
  std::string_view remark;  ///< sentences
};

struct MailProvider {
  std::string_view id;
  std::string_view name;
  std::string_view domains;  ///< separated by blanks; "*." at the beginning: any name before it
  ProviderSignIn signIn;
  int traits;  ///< of ProviderTrait
  ProviderServer imap;
  ProviderServer smtp;
  ProviderNote note;
};

/// A provider whose mail no program can read.
struct UnusableProvider {
  std::string_view name;
  std::string_view why;  ///< completes "NAME ..."
  std::string_view domains;
};

std::span<const MailProvider> mailProviders();
std::span<const UnusableProvider> unusableProviders();

/// When the list was made, for people.
inline constexpr std::string_view kProviderListDate = "November 2026";

/// What is known about an address.
struct Proposal {
  enum class Kind {
    kNoAddress,  ///< not an address yet: everything else is empty
    kFound,      ///< the provider is known
    kNoImap,     ///< the provider is known, and no program can read its mail; no servers
    kGuess,      ///< unknown; the servers are the names that are used most
  };
  Kind kind = Kind::kNoAddress;
  std::string provider;  ///< its name; empty for a guess
  MailServer imap;
  MailServer smtp;
  std::string imapUser;
  std::string smtpUser;
  ProviderSignIn signIn = ProviderSignIn::kPassword;
  /// Continues the first remark, which then ends with a colon or speaks of it.
  std::string page;
  /// The length of its app passwords, where it shows them with blanks that do not belong to them;
  /// else 0.
  std::size_t appPasswordLength = 0;
  /// Sentences for the user, the most important first.
  std::vector<std::string> remarks;
};

/// By the domain of the address, in any letter case.
Proposal proposalFor(std::string_view address);
/// What is known about signing in at `server`, whatever mailbox is read: of the provider that runs
/// it. Of several it is the address's own, or else the one that the server is named after.
/// kNoAddress: nothing is known about this server. For sending, nothing is said about IMAP that is
/// switched off.
Proposal proposalAt(const MailServer& server, std::string_view address);
/// Proposal::appPasswordLength of proposalAt(): 0 at a server that is of no provider, where blanks
/// may belong to the password.
std::size_t appPasswordLengthAt(const MailServer& server, std::string_view address);
/// For an address of the user's own domain at this provider.
Proposal proposalFrom(const MailProvider& provider, std::string_view address);

}  // namespace relaybird
