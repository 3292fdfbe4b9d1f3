// SPDX-License-Identifier: MIT
// What is proposed for an address, and that the table keeps its own rules.
#include "mail/providers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

using Kind = Proposal::Kind;

std::vector<std::string> words(std::string_view text) {
  std::istringstream in{std::string(text)};
  return {std::istream_iterator<std::string>(in), {}};
}

std::string allRemarks(const Proposal& proposal) {
  std::string text;
  for (const std::string& remark : proposal.remarks) {
    text += remark + "\n";
  }
  return text;
}

bool says(const Proposal& proposal, const std::string& part) {
  return allRemarks(proposal).find(part) != std::string::npos;
}

TEST(Providers, AKnownAddressHasBothServers) {
  const Proposal gmail = proposalFor("ann@gmail.com");
  EXPECT_EQ(gmail.kind, Kind::kFound);
  EXPECT_EQ(gmail.provider, "Gmail");
  EXPECT_EQ(gmail.imap.protocol, MailProtocol::kImap);
  EXPECT_EQ(gmail.imap.host, "imap.gmail.com");
  EXPECT_EQ(gmail.imap.port, 993);
  EXPECT_EQ(gmail.imap.security, Security::kTls);
  EXPECT_EQ(gmail.smtp.protocol, MailProtocol::kSmtp);
  EXPECT_EQ(gmail.smtp.host, "smtp.gmail.com");
  EXPECT_EQ(gmail.smtp.port, 465);
  EXPECT_EQ(gmail.imapUser, "ann@gmail.com");
  EXPECT_EQ(gmail.signIn, ProviderSignIn::kAppPassword);
  EXPECT_EQ(gmail.page, "https://myaccount.google.com/apppasswords");
  EXPECT_EQ(gmail.remarks.front(),
            "Gmail needs an app password, not the account's own. Make one here:");
  EXPECT_TRUE(says(gmail, "(May 2026)"));
}

TEST(Providers, WhereNoPageAboutAppPasswordsIsKnownTheUserIsToldWhereToLook) {
  const ProviderServer server{"mail.firm.example", 993, Security::kTls, UserNameForm::kAddress};
  const MailProvider firm{"firm", "Firm", "firm.example", ProviderSignIn::kAppPassword,
                          0,      server, server,         {}};
  const Proposal proposal = proposalFrom(firm, "ann@firm.example");
  EXPECT_EQ(proposal.page, "");
  EXPECT_EQ(proposal.remarks.front(),
            "Firm needs an app password, not the account's own. Make one on the provider's web "
            "site, where it may have another name, such as password for mail programs.");
}

// The server may have been typed by the user.
TEST(Providers, WhatIsNotCertainIsNotSaidToBeTheUsersSettings) {
  const MailServer typed{MailProtocol::kSmtp, "smtp.tim.it", 587, Security::kStartTls, {}};
  EXPECT_TRUE(says(proposalAt(typed, "ann@firm.example"), "What is known here comes from an old"));
}

TEST(Providers, AnAppPasswordThatIsNotCertainIsNotPromisedBehindThePage) {
  const Proposal tim = proposalFor("ann@tim.it");
  EXPECT_EQ(tim.page, "https://www.tim.it/assistenza/assistenza-tecnica/mail/guida/casella-posta");
  EXPECT_EQ(
      tim.remarks.front(),
      "TIM may need an app password, or a password for mail programs, instead of the account's "
      "own. Look for it on the provider's web site, beginning here:");
  EXPECT_EQ(tim.signIn, ProviderSignIn::kAppPassword);
}

TEST(Providers, TheLetterCaseAndBlanksOfADomainDoNotMatter) {
  EXPECT_EQ(proposalFor(" Ann@GMail.Com ").provider, "Gmail");
  EXPECT_EQ(proposalFor(" Ann@GMail.Com ").imapUser, "Ann@GMail.Com");
  EXPECT_EQ(proposalFor("ann@gmail.com.").provider, "Gmail");
  EXPECT_EQ(proposalFor("\"odd@name\"@gmail.com").provider, "Gmail");
}

TEST(Providers, UserNamesOfTheTwoServersMayDiffer) {
  const Proposal icloud = proposalFor("ann@icloud.com");
  EXPECT_EQ(icloud.imapUser, "ann");
  EXPECT_EQ(icloud.smtpUser, "ann@icloud.com");
  EXPECT_EQ(icloud.smtp.security, Security::kStartTls);
  EXPECT_EQ(icloud.smtp.port, 587);
}

TEST(Providers, APatternStandsForAnyNameBeforeIt) {
  const Proposal tenant = proposalFor("ann@firm.onmicrosoft.com");
  EXPECT_EQ(tenant.provider, "Microsoft 365 (work or school)");
  EXPECT_EQ(proposalFor("ann@some.where.rr.com").provider, "Spectrum Road Runner (TWC)");
  EXPECT_EQ(proposalFor("ann@notrr.com").kind, Kind::kGuess);
  EXPECT_EQ(proposalFor("ann@mail.gmail.com").kind, Kind::kGuess);
}

TEST(Providers, AProviderWithoutPasswordsIsSaidBeforeOneIsAskedFor) {
  const Proposal outlook = proposalFor("ann@outlook.com");
  EXPECT_EQ(outlook.signIn, ProviderSignIn::kOauthOnly);
  EXPECT_NE(outlook.remarks.front().find("accepts no password from mail programs"),
            std::string::npos);
  EXPECT_NE(outlook.remarks.front().find("online accounts"), std::string::npos);
  EXPECT_TRUE(says(outlook, "(September 2026)"));
}

TEST(Providers, AMailboxThatNoProgramReadsIsSaid) {
  const Proposal tuta = proposalFor("ann@tutanota.com");
  EXPECT_EQ(tuta.kind, Kind::kNoImap);
  EXPECT_EQ(tuta.provider, "Tuta");
  EXPECT_EQ(tuta.imap.host, "");
  EXPECT_TRUE(says(tuta, "Tuta offers no IMAP"));
}

TEST(Providers, AnUnknownDomainGetsAGuessThatIsCalledOne) {
  const Proposal guess = proposalFor("ann@firm.example");
  EXPECT_EQ(guess.kind, Kind::kGuess);
  EXPECT_EQ(guess.provider, "");
  EXPECT_EQ(guess.imap.host, "imap.firm.example");
  EXPECT_EQ(guess.smtp.host, "smtp.firm.example");
  EXPECT_TRUE(says(guess, "The usual names are"));
}

TEST(Providers, WhatIsNoAddressYetGetsNothing) {
  for (const char* text : {"", "ann", "ann@", "@gmail.com", "ann@gmail", "ann@.com", "a@b c.com"}) {
    EXPECT_EQ(proposalFor(text).kind, Kind::kNoAddress) << text;
  }
}

TEST(Providers, AnOwnDomainIsSetUpFromTheProviderThatRunsIt) {
  const auto all = mailProviders();
  const auto fastmail = std::find_if(all.begin(), all.end(),
                                     [](const MailProvider& p) { return p.id == "fastmail"; });
  ASSERT_NE(fastmail, all.end());
  EXPECT_NE(fastmail->traits & kOwnDomains, 0);
  const Proposal proposal = proposalFrom(*fastmail, "ann@firm.example");
  EXPECT_EQ(proposal.imap.host, "imap.fastmail.com");
  EXPECT_EQ(proposal.imapUser, "ann@firm.example");
}

TEST(Providers, AccessThatIsOffIsSaid) {
  EXPECT_TRUE(says(proposalFor("a@gmx.de"), "Switch IMAP on first"));
  EXPECT_TRUE(says(proposalFor("a@gmx.de"), "With two-step sign-in switched on"));
  EXPECT_TRUE(says(proposalFor("a@inbox.lv"), "Allow access by mail programs first"));
  EXPECT_TRUE(says(proposalFor("a@centrum.cz"), "may be wrong"));
}

TEST(Providers, TheLengthOfAppPasswordsShownInGroupsIsKnown) {
  EXPECT_EQ(proposalFor("a@gmail.com").appPasswordLength, 16u);
  EXPECT_EQ(proposalFor("a@gmx.de").appPasswordLength, 0u);
}

TEST(Providers, BlanksStayInAPasswordForAnotherServerThanTheProviders) {
  MailServer server{MailProtocol::kSmtp, "SMTP.gmail.com", 465, Security::kTls, {}};
  EXPECT_EQ(appPasswordLengthAt(server, "ann@gmail.com"), 16u);
  server.host = "smtp.firm.example";
  EXPECT_EQ(appPasswordLengthAt(server, "ann@gmail.com"), 0u);
  server = {MailProtocol::kImap, "imap.gmail.com", 993, Security::kTls, {}};
  EXPECT_EQ(appPasswordLengthAt(server, "ann@gmail.com"), 16u);
  EXPECT_EQ(appPasswordLengthAt(server, "ann@firm.example"), 16u) << "an own domain";
  server = {MailProtocol::kSmtp, "imap.gmail.com", 465, Security::kTls, {}};
  EXPECT_EQ(appPasswordLengthAt(server, "ann@gmail.com"), 0u) << "not a server for sending";
}

TEST(Providers, AServerForSendingIsKnownWhateverTheAddressIs) {
  MailServer server{MailProtocol::kSmtp, "SMTP.gmail.com", 465, Security::kTls, {}};
  for (const char* address : {"ann@gmail.com", "ann@firm.example", ""}) {
    const Proposal known = proposalAt(server, address);
    EXPECT_EQ(known.provider, "Gmail") << address;
    EXPECT_EQ(known.page, "https://myaccount.google.com/apppasswords");
    EXPECT_TRUE(says(known, "needs an app password"));
  }
  server.host = "smtp.firm.example";
  EXPECT_EQ(proposalAt(server, "ann@gmail.com").kind, Kind::kNoAddress);
  EXPECT_EQ(proposalAt(server, "ann@gmail.com").remarks, std::vector<std::string>());
}

TEST(Providers, OfProvidersThatShareAServerItIsTheOneOfTheAddress) {
  const MailServer server{MailProtocol::kSmtp, "smtp.mail.yahoo.com", 465, Security::kTls, {}};
  EXPECT_EQ(proposalAt(server, "ann@yahoo.com").provider, "Yahoo Mail");
  EXPECT_EQ(proposalAt(server, "ann@cox.net").provider, "Cox (run by Yahoo)");
}

// The first row with that server was taken, which is that of Cox.
TEST(Providers, AnOwnDomainAtASharedServerIsNotTakenForACustomerOfAnotherBrand) {
  for (const char* address : {"ann@firm.example", ""}) {
    const auto at = [&](MailProtocol protocol, const char* host) {
      return proposalAt({protocol, host, 993, Security::kTls, {}}, address).provider;
    };
    EXPECT_EQ(at(MailProtocol::kSmtp, "smtp.mail.yahoo.com"), "Yahoo Mail");
    EXPECT_EQ(at(MailProtocol::kImap, "Imap.Mail.Yahoo.Com"), "Yahoo Mail");
    EXPECT_EQ(at(MailProtocol::kImap, "imap.aol.com"), "AOL Mail");
    EXPECT_EQ(at(MailProtocol::kImap, "imap.gmail.com"), "Gmail");
    EXPECT_EQ(at(MailProtocol::kImap, "outlook.office365.com"), "Microsoft 365 (work or school)");
  }
}

TEST(Providers, AServerOnThisComputerIsNotTakenForABridgeOfSomebodyElse) {
  for (const MailProtocol protocol : {MailProtocol::kImap, MailProtocol::kSmtp}) {
    const MailServer here{protocol, "127.0.0.1", 1025, Security::kStartTls, {}};
    EXPECT_EQ(proposalAt(here, "ann@firm.example").kind, Kind::kNoAddress);
    EXPECT_EQ(proposalAt(here, "").kind, Kind::kNoAddress);
    EXPECT_EQ(proposalAt(here, "ann@proton.me").provider, "Proton Mail");
  }
}

TEST(Providers, WhoeverOnlySendsThroughMicrosoftIsNotToldWhatHelpsForReadingAlone) {
  const MailServer work{MailProtocol::kSmtp, "smtp.office365.com", 587, Security::kStartTls, {}};
  const Proposal sending = proposalAt(work, "ann@firm.example");
  EXPECT_FALSE(says(sending, "accepts no password"));
  EXPECT_FALSE(says(sending, "online accounts"));
  EXPECT_TRUE(says(sending, "Choose a command that prints one"));
  EXPECT_TRUE(says(sending, "Sending with a password still works where"));
  const MailServer own{MailProtocol::kSmtp, "smtp-mail.outlook.com", 587, Security::kStartTls, {}};
  EXPECT_FALSE(says(proposalAt(own, "ann@outlook.com"), "IMAP"));
  EXPECT_TRUE(says(proposalFor("ann@outlook.com"), "Switch IMAP on first"));
}

TEST(Providers, WhoeverOnlySendsNeedsNoImap) {
  const MailServer reading{MailProtocol::kImap, "imap.gmx.net", 993, Security::kTls, {}};
  const MailServer sending{MailProtocol::kSmtp, "mail.gmx.net", 465, Security::kTls, {}};
  EXPECT_TRUE(says(proposalAt(reading, "a@gmx.de"), "Switch IMAP on first"));
  EXPECT_FALSE(says(proposalAt(sending, "a@gmx.de"), "Switch IMAP on first"));
  EXPECT_TRUE(says(proposalAt(sending, "a@gmx.de"), "With two-step sign-in switched on"));
}

// The table's own rules: a mistake here would be a wrong server for somebody.
TEST(ProviderTable, EveryRowIsWhole) {
  std::string before;
  for (const MailProvider& provider : mailProviders()) {
    const std::string id(provider.id);
    EXPECT_LT(before, id) << "not in order";
    before = id;
    EXPECT_FALSE(provider.name.empty()) << id;
    EXPECT_FALSE(words(provider.domains).empty()) << id;
    for (const ProviderServer& server : {provider.imap, provider.smtp}) {
      EXPECT_EQ(server.host, asciiLower(server.host)) << id;
      EXPECT_EQ(server.host.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-"),
                std::string_view::npos)
          << id;
      EXPECT_NE(server.host.find('.'), std::string_view::npos) << id;
      EXPECT_NE(server.security, Security::kNone) << id;
    }
    EXPECT_TRUE(provider.imap.port == 993 || provider.imap.port == 143 ||
                provider.imap.port == 1143)
        << id;
    EXPECT_EQ(provider.imap.port == 993, provider.imap.security == Security::kTls) << id;
    const ProviderNote& note = provider.note;
    EXPECT_TRUE(note.page.empty() || note.page.starts_with("http")) << id;
    if (provider.signIn == ProviderSignIn::kAppPassword || (provider.traits & kAppIfTwoStep) != 0) {
      EXPECT_FALSE(note.page.empty()) << id << " wants an app password and has no page about it";
    }
    EXPECT_TRUE(note.remark.empty() || note.remark.ends_with('.')) << id;
    EXPECT_TRUE(note.date.empty() || !note.remark.empty()) << id;
    EXPECT_TRUE(note.date.empty() || note.date.size() == 4 || note.date.size() == 7) << id;
  }
}

TEST(ProviderTable, ADomainBelongsToOneProvider) {
  std::map<std::string, std::string> owners;
  const auto take = [&](std::string_view domains, std::string_view owner) {
    for (const std::string& domain : words(domains)) {
      EXPECT_EQ(domain, asciiLower(domain));
      EXPECT_NE(domain.find('.'), std::string::npos) << domain;
      const auto [at, isNew] = owners.try_emplace(domain, owner);
      EXPECT_TRUE(isNew || at->second == owner)
          << domain << " is of " << owner << " and " << at->second;
    }
  };
  for (const MailProvider& provider : mailProviders()) {
    take(provider.domains, provider.id);
  }
  for (const UnusableProvider& provider : unusableProviders()) {
    take(provider.domains, provider.name);
  }
  EXPECT_GT(owners.size(), 1000u);
}

// No whole name is hidden behind a pattern of another provider.
TEST(ProviderTable, EveryDomainIsFoundAtItsOwnProvider) {
  for (const MailProvider& provider : mailProviders()) {
    for (std::string domain : words(provider.domains)) {
      if (domain.starts_with("*")) {
        domain.replace(0, 1, "any");
      }
      EXPECT_EQ(proposalFor("a@" + domain).provider, provider.name) << domain;
    }
  }
}

}  // namespace
}  // namespace relaybird
