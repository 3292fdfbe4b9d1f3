// SPDX-License-Identifier: MIT
// Looks the domain of an address up in the table and puts the remarks into words. What stops a
// person comes first: no IMAP, no password accepted, an app password, access that is switched off.
#include "mail/providers.h"

#include <algorithm>
#include <array>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Of ProviderTrait kCodesInGroups.
constexpr std::size_t kCodeLength = 16;

// The part after the last "@", in small letters; empty if the text is not an address yet.
std::string domainOf(std::string_view address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string_view::npos || at == 0) {
    return {};
  }
  std::string domain = asciiLower(trimmed(address.substr(at + 1)));
  if (domain.ends_with('.')) {
    domain.pop_back();
  }
  const bool whole = domain.find('.') != std::string::npos && !domain.starts_with('.');
  return whole && domain.find_first_of(kWhiteSpace) == std::string::npos ? domain : std::string();
}

bool matches(std::string_view pattern, std::string_view domain) {
  if (!pattern.starts_with("*.")) {
    return pattern == domain;
  }
  // The star stands for one character at least.
  return domain.size() >= pattern.size() && domain.ends_with(pattern.substr(1));
}

// The table has the domains of a row in one text, which is easy to edit. A look-up for each typed
// letter is fast enough over it.
bool lists(std::string_view domains, std::string_view domain) {
  while (!domains.empty()) {
    const std::size_t end = std::min(domains.find(' '), domains.size());
    if (matches(domains.substr(0, end), domain)) {
      return true;
    }
    domains.remove_prefix(std::min(end + 1, domains.size()));
  }
  return false;
}

// Some servers know only the part before the @, and others only the whole. A wrong form looks like
// a wrong password to the user, so the list has it for each server.
std::string userName(UserNameForm form, std::string_view address) {
  return std::string(form == UserNameForm::kAddress ? address
                                                    : address.substr(0, address.rfind('@')));
}

// No certificate file: a provider in the list has a certificate that every computer trusts.
MailServer serverOf(const ProviderServer& server, MailProtocol protocol) {
  return {protocol, std::string(server.host), server.port, server.security, {}};
}

// "May 2026", "2026".
// A date of the table is a year, or a year and a month: "2026-05".
std::string dateInWords(std::string_view date) {
  static constexpr std::array<const char*, 12> kMonths = {
      "January", "February", "March",     "April",   "May",      "June",
      "July",    "August",   "September", "October", "November", "December"};
  if (date.size() != 7) {
    return std::string(date);
  }
  const auto month = static_cast<std::size_t>((date[5] - '0') * 10 + (date[6] - '0') - 1);
  return std::string(kMonths[month % kMonths.size()]) + " " + std::string(date.substr(0, 4));
}

// A remark that has a page ends with a colon: the page is shown behind it.
std::string endBeforePage(std::string_view page) {
  return page.empty() ? "." : ":";
}

// How the sign-in works, for those providers where the account's password is not enough.
void addSignIn(const MailProvider& provider, bool reads, std::vector<std::string>& remarks) {
  const std::string name(provider.name);
  switch (provider.signIn) {
    // A password may still do for sending, as the note says. Whoever only sends has no choice of
    // online accounts.
    case ProviderSignIn::kOauthOnly:
      remarks.push_back(
          name +
          (reads
               ? " accepts no password from mail programs. You can sign in with an account of the "
                 "desktop's online accounts, or with a command that prints an OAuth 2 token; or "
                 "let the provider send your mail on to a mailbox elsewhere."
               : " signs mail programs in by OAuth 2 tokens. Choose a command that prints one, or "
                 "another way for forwards to leave."));
      return;
    case ProviderSignIn::kAppPassword:
      // One list alone says so, and the page may be about mail programs in general.
      if ((provider.traits & kUncertain) != 0 && !provider.note.page.empty()) {
        remarks.push_back(
            name +
            " may need an app password, or a password for mail programs, instead of the account's "
            "own. Look for it on the provider's web site, beginning here:");
        return;
      }
      remarks.push_back(name + " needs an app password, not the account's own. Make one " +
                        (provider.note.page.empty()
                             ? "on the provider's web site, where it may have another "
                               "name, such as password for mail programs."
                             : "here:"));
      return;
    case ProviderSignIn::kBridge:
      remarks.push_back(name +
                        " can be used only through the provider's own program on this "
                        "computer" +
                        endBeforePage(provider.note.page));
      return;
    case ProviderSignIn::kPassword:
      break;
  }
  if ((provider.traits & kAppIfTwoStep) != 0) {
    remarks.push_back(
        "With two-step sign-in switched on, an app password is needed instead of the account's "
        "own" +
        endBeforePage(provider.note.page));
  } else if (!provider.note.page.empty()) {
    remarks.emplace_back("About the password for mail programs:");
  }
}

// After the sign-in, because these stop fewer people.
void addTraits(const MailProvider& provider, bool reads, std::vector<std::string>& remarks) {
  if (reads && (provider.traits & kImapOff) != 0) {
    remarks.emplace_back("Switch IMAP on first, in the settings of the provider's web site.");
  }
  if ((provider.traits & kProgramsOff) != 0) {
    remarks.emplace_back(
        "Allow access by mail programs first, in the account's settings on the web site.");
  }
  if ((provider.traits & kMailboxPassword) != 0) {
    remarks.emplace_back("Use the mailbox's password, not that of the customer account.");
  }
  if (!provider.note.remark.empty()) {
    const std::string date = dateInWords(provider.note.date);
    remarks.push_back(std::string(provider.note.remark) + (date.empty() ? "" : " (" + date + ")"));
  }
  if ((provider.traits & kUncertain) != 0) {
    remarks.emplace_back(
        "What is known here comes from an old or a single source and may be wrong.");
  }
}

// No servers at all, so that nobody tries a password at a server that has no use for it.
Proposal unusable(const UnusableProvider& provider) {
  Proposal result;
  result.kind = Proposal::Kind::kNoImap;
  result.provider = provider.name;
  result.remarks.push_back(result.provider + " " + std::string(provider.why) +
                           ", so no mail program can read this mailbox. You can let the provider "
                           "send your mail on to a mailbox elsewhere, if it offers that.");
  return result;
}

// These two names are right for many small providers. Nothing is asked to find out whether they
// are: a look-up would tell others which domain is being set up.
Proposal guess(std::string_view address, const std::string& domain) {
  Proposal result;
  result.kind = Proposal::Kind::kGuess;
  result.imap = {MailProtocol::kImap, "imap." + domain, 993, Security::kTls, {}};
  result.smtp = {MailProtocol::kSmtp, "smtp." + domain, 465, Security::kTls, {}};
  result.imapUser = std::string(address);
  result.smtpUser = std::string(address);
  result.remarks.push_back("The provider of " + domain +
                           " is not in the built-in list. If you know who it is, choose it here. "
                           "If not, enter the servers that its web site or your administrator "
                           "names. The usual names are " +
                           result.imap.host + " and " + result.smtp.host + ".");
  return result;
}

const ProviderServer& serverFor(const MailProvider& provider, MailProtocol protocol) {
  return protocol == MailProtocol::kImap ? provider.imap : provider.smtp;
}

// "smtp.mail.yahoo.com" has the name of a domain of Yahoo's.
bool isNamedAfter(const std::string& host, const MailProvider& provider) {
  for (std::size_t dot = host.find('.'); dot != std::string::npos; dot = host.find('.', dot + 1)) {
    if (lists(provider.domains, std::string_view(host).substr(dot + 1))) {
      return true;
    }
  }
  return false;
}

// Several brands may share a server and have different pages. An address of none of them has its
// mail with the one that gave the server its name, as far as anybody knows. A program on this
// computer can be anybody's: a bridge is known by the address alone.
const MailProvider* providerAt(const MailServer& server, std::string_view address) {
  const std::string domain = domainOf(address);
  const std::string host = asciiLower(server.host);
  const MailProvider* found = nullptr;
  for (const MailProvider& provider : mailProviders()) {
    if (serverFor(provider, server.protocol).host != host) {
      continue;
    }
    if (lists(provider.domains, domain)) {
      return &provider;
    }
    if (provider.signIn != ProviderSignIn::kBridge &&
        (found == nullptr || isNamedAfter(host, provider))) {
      found = &provider;
    }
  }
  return found;
}

// The remarks about the sign-in come first: the dialog shows the first one above all others.
Proposal proposalOf(const MailProvider& provider, std::string_view address, bool reads) {
  const std::string_view whole = trimmed(address);
  Proposal result;
  result.kind = Proposal::Kind::kFound;
  result.provider = provider.name;
  result.imap = serverOf(provider.imap, MailProtocol::kImap);
  result.smtp = serverOf(provider.smtp, MailProtocol::kSmtp);
  result.imapUser = userName(provider.imap.user, whole);
  result.smtpUser = userName(provider.smtp.user, whole);
  result.signIn = provider.signIn;
  result.page = provider.note.page;
  result.appPasswordLength = (provider.traits & kCodesInGroups) != 0 ? kCodeLength : 0;
  addSignIn(provider, reads, result.remarks);
  addTraits(provider, reads, result.remarks);
  return result;
}

}  // namespace

Proposal proposalFrom(const MailProvider& provider, std::string_view address) {
  return proposalOf(provider, address, true);
}

// By the server and not by the address: whose mail lies in a Maildir often has an address of an own
// domain, and sends through a provider all the same.
Proposal proposalAt(const MailServer& server, std::string_view address) {
  const MailProvider* provider = providerAt(server, address);
  return provider == nullptr
             ? Proposal()
             : proposalOf(*provider, address, server.protocol == MailProtocol::kImap);
}

// The first provider that lists the domain. A test of the table sees to it that no whole name is
// hidden behind the pattern of another provider.
Proposal proposalFor(std::string_view address) {
  const std::string domain = domainOf(address);
  if (domain.empty()) {
    return {};
  }
  for (const UnusableProvider& provider : unusableProviders()) {
    if (lists(provider.domains, domain)) {
      return unusable(provider);
    }
  }
  for (const MailProvider& provider : mailProviders()) {
    if (lists(provider.domains, domain)) {
      return proposalFrom(provider, address);
    }
  }
  return guess(trimmed(address), domain);
}

// A password for the user's own server may have blanks that belong to it.
std::size_t appPasswordLengthAt(const MailServer& server, std::string_view address) {
  return proposalAt(server, address).appPasswordLength;
}

}  // namespace relaybird
