// SPDX-License-Identifier: MIT
// The reader of addresses that mail is sent to: whatever is not exactly one address is refused. A
// long table of texts that other readers repair or misread, and random texts in which every
// accepted address must be read back as the same one.
#include "message/address/strict_mailbox.h"

#include <gtest/gtest.h>

#include <random>

namespace relaybird {

void PrintTo(const Mailbox& mailbox, std::ostream* out);  // in mail_address_test.cpp

namespace {

using namespace std::string_view_literals;

TEST(StrictMailbox, MailToWhatIsNotWhollyOneAddressGoesNowhere) {
  for (const auto typed :
       {// Once taken for joe@my, joe@example.com25, joe@gmail.com, //joe@example.com, $@x.example.
        "joe@my company.com"sv, "joe@example.com:25"sv, "joe@gmail.com@work.example"sv,
        "http://joe@example.com"sv, "$(id)@x.example"sv,
        // Comments.
        "joe(work)@example.com"sv, "joe@example.com (Joe)"sv, "(Joe) joe@example.com"sv,
        "joe@(x)example.com"sv, "Joe <joe@example.com> (work)"sv, "Joe (work) <joe@example.com>"sv,
        // Text before or behind the address.
        "joe@example.com."sv, "joe@example.com,"sv, "joe@example.com;"sv, "joe@example.com>"sv,
        "<joe@example.com"sv, "joe@example.com x"sv, "x joe@example.com"sv, "Joe joe@example.com"sv,
        "<joe@example.com> x"sv, "Joe <joe@example.com>."sv, "mailto:joe@example.com"sv,
        "Joe <mailto:joe@example.com>"sv, "<<joe@example.com>>"sv, "Joe <joe@example.com"sv,
        "joe@example.com/path"sv, "joe@example.com?subject=x"sv, "joe@example.com#x"sv,
        "joe@example.com'"sv, "\"joe@example.com\""sv, " joe@example.com"sv, "joe@example.com "sv,
        "Joe < joe@example.com>"sv, "Joe <joe@example.com >"sv, "joe @example.com"sv,
        "joe@ example.com"sv, "joe@@example.com"sv,
        // Lists, routes and groups.
        "joe@example.com, ann@example.com"sv, "joe@example.com ann@example.com"sv,
        "joe@example.com;ann@example.com"sv, "joe@example.com <ann@example.com>"sv,
        "Doe, Joe <joe@example.com>"sv, "<joe@example.com>,<ann@example.com>"sv,
        "<joe@example.com> <ann@example.com>"sv, "<@a.org,@b.org:joe@example.com>"sv,
        "@a.org:joe@example.com"sv, "Team: joe@example.com;"sv, "Team:joe@example.com"sv,
        "undisclosed-recipients:;"sv,
        // Unclosed quotes and invalid names.
        "\"joe@example.com"sv, "\"Joe <joe@example.com>"sv, "Joe\" <joe@example.com>"sv,
        "jo\"e\"@example.com"sv, "\"joe\"x@example.com"sv, "[List] Joe <joe@example.com>"sv,
        "Joe \\ <joe@example.com>"sv, "=?utf-8?Q?Joe?= <joe@example.com>"sv,
        "\"=?utf-8?Q?Joe?=\" <joe@example.com>"sv,
        // Control characters and invisible characters.
        "joe@example.com\n"sv, "joe@exam\nple.com"sv, "joe@example.com\r\nBcc: ann@example.com"sv,
        "joe\t@example.com"sv, "joe@example.com\0"sv, "jo\0e@example.com"sv,
        "joe\x7F@example.com"sv, "J\x1Boe <joe@example.com>"sv, "jo\u200Be@example.com"sv,
        "joe@exam\u00ADple.com"sv, "\u202Ejoe@example.com"sv, "joe@example.com\uFEFF"sv,
        "jo\u034Fe@example.com"sv, "jo\u3164e@example.com"sv, "joe\u00A0@example.com"sv,
        "jo\xFF\x65@example.com"sv, "Jo\u202Ee <joe@example.com>"sv,
        // Dots, hyphens and options.
        "joe.@example.com"sv, ".joe@example.com"sv, "jo..e@example.com"sv, "joe@.example.com"sv,
        "joe@example..com"sv, "joe@-example.com"sv, "joe@example-.com"sv, "-f@example.com"sv,
        "<-f@example.com>"sv, "--@example.com"sv,
        // Not an address.
        ""sv, "joe"sv, "@"sv, "@example.com"sv, "joe@"sv, "<>"sv, "Joe <>"sv, "joe example.com"sv,
        "joe at example.com"sv, "joe\\@example.com"sv, "joe@[192.0.2]"sv, "joe@[192.0.2.1"sv,
        "joe@192.0.2.1]"sv, "joe@[2001:db8::1]"sv, "joe@exa mple.com"sv, "joe@exam_ple.c om"sv}) {
    EXPECT_EQ(readRecipient(typed), std::nullopt) << typed;
  }
}

TEST(StrictMailbox, AnAddressIsReadByteForByte) {
  for (const std::string typed :
       {"joe@example.com", "Joe.Blow+tag@Example.COM", "\"joe  blow\"@example.com",
        "\"a,b;c\"@example.com", "\"a@b\"@example.com", "\"a\\\"b\"@example.com",
        "\"\"@example.com", "\"-f\"@example.com", "joe@[192.0.2.1]", "joe@[IPv6:2001:db8::1]",
        "joe@localhost", "joe@my_host.example", "o'neil@example.com", "a!b%c@example.com",
        "j\u00F6rg@example.com", "\u7528\u6237@example.com", "joe@xn--mnchen-3ya.example",
        "joe@XN--MNCHEN-3YA.example", "=?utf-8?Q?joe?=@example.com"}) {
    EXPECT_EQ(readRecipient(typed), (Mailbox{"", typed}));
    EXPECT_EQ(readRecipient("<" + typed + ">"), (Mailbox{"", typed}));
    EXPECT_EQ(readRecipient("Joe <" + typed + ">"), (Mailbox{"Joe", typed}));
    EXPECT_EQ(readRecipient("\"Doe, Joe <x@y>\"<" + typed + ">"),
              (Mailbox{"Doe, Joe <x@y>", typed}));
  }
}

TEST(StrictMailbox, ADomainBeyondAsciiLeavesInItsWireForm) {
  EXPECT_EQ(readRecipient("info@m\u00FCnchen.example")->address, "info@xn--mnchen-3ya.example");
  EXPECT_EQ(readRecipient("info@MU\u0308NCHEN.example")->address, "info@xn--mnchen-3ya.example");
  EXPECT_EQ(readRecipient("J <j\u00F6@\u4F8B\u5B50.\u4E2D\u56FD>")->address,
            "j\u00F6@xn--fsqu00a.xn--fiqs8s");
  EXPECT_EQ(
      readRecipient("\u0430\u043D\u044F@\u043F\u043E\u0447\u0442\u0430.\u0440\u0444")->address,
      "\u0430\u043D\u044F@xn--80a1acny.xn--p1ai");
}

TEST(StrictMailbox, ADomainIsNotTakenForAnotherThatMeansTheSameToOlderRules) {
  EXPECT_EQ(readRecipient("joe@stra\u00DFe.example")->address, "joe@xn--strae-oqa.example");
  for (const auto typed :
       {"joe@\uFF45xample.com"sv, "joe@exam\uFB01le.com"sv, "joe@\u2460.example"sv,
        "joe@ex\u3002example"sv, "joe@\u2603.example"sv, "joe@\u00FC\u200D.example"sv}) {
    EXPECT_EQ(readRecipient(typed), std::nullopt) << typed;
  }
}

TEST(StrictMailbox, ADomainThatMixesScriptsLooksLikeAnotherAndIsRefused) {
  for (const auto typed : {"joe@p\u0430ypal.com"sv, "Joe <joe@p\u0430ypal.com>"sv,
                           "joe@\u03BFk.example"sv, "j\u043Ee@example.com"sv}) {
    EXPECT_EQ(readRecipient(typed), std::nullopt) << typed;
  }
  EXPECT_NE(readRecipient("joe@xn--pypal-4ve.com"), std::nullopt);
  EXPECT_NE(readRecipient("joe@abc\u65E5\u672C\u306E.example"), std::nullopt);
}

TEST(StrictMailbox, AFieldThatWasWrittenIsReadWithItsFolds) {
  const auto addresses = readWrittenField(
      " =?utf-8?Q?Jos=C3=A9?= <\"q  l\"@x.org>,\n \"Doe, J\" "
      "<b@m\u00FCnchen.example>,\r\n\tc@x.org\n");
  ASSERT_TRUE(addresses);
  EXPECT_EQ(*addresses,
            (std::vector<std::string>{"\"q  l\"@x.org", "b@xn--mnchen-3ya.example", "c@x.org"}));
  EXPECT_EQ(readWrittenField(" \n")->size(), 0U);
}

TEST(StrictMailbox, AFieldWithAnythingOddInItIsReadAsNothing) {
  for (const auto& [value, entry] : std::vector<std::pair<std::string, std::string>>{
           {"a@x.org, joe@my company.com", "joe@my company.com"},
           {"a@x.org,", ""},
           {"a@x.org,,b@x.org", ""},
           {"a@x.org; b@x.org", "a@x.org; b@x.org"},
           {"a@x.org\nb@x.org", "a@x.org\nb@x.org"},
           {"Team: a@x.org;", "Team: a@x.org;"},
           {"a@x.org (b), c@x.org", "a@x.org (b)"},
           {"\"a@x.org, b@x.org", "\"a@x.org, b@x.org"}}) {
    const auto read = readWrittenField(value);
    ASSERT_FALSE(read) << value;
    EXPECT_EQ(read.error().text, entry);
  }
}

// Texts composed of pieces that matter to readers of addresses, the same in every run.
std::string oddText(std::mt19937& random) {
  static const std::vector<std::string> kPieces = {
      "joe",      "@",      "example.com", ".",       " ",      "<",   ">", "\"",     "\\",
      ",",        ";",      ":",           "(",       ")",      "[",   "]", "\u00FC", "-",
      "_",        "xn--",   "=?",          "?=",      "\t",     "\n",  "'", "%",      "Joe <",
      "\"a b\"@", "\u0430", "@x.org",      "@x.org>", "\u200B", "\xFF"};
  std::string text;
  for (auto left = random() % 6 + 1; left > 0; --left) {
    text += kPieces[random() % kPieces.size()];
  }
  return text + (random() % 2 == 0   ? "@m\u00FCnchen.example"
                 : random() % 2 == 0 ? " <joe@x.org>"
                                     : "");
}

TEST(StrictMailbox, WhatIsReadAndWrittenIsReadAgainAsTheSame) {
  std::mt19937 random(20);  // NOLINT: the same texts in every run
  int read = 0;
  for (int i = 0; i < 60'000; ++i) {
    const std::string typed = oddText(random);
    const auto mailbox = readRecipient(typed);
    if (!mailbox) {
      continue;
    }
    ++read;
    const auto at = mailbox->address.rfind('@');
    EXPECT_NE(typed.find(mailbox->address.substr(0, at + 1)), std::string::npos) << typed;
    const std::string written = formatMailbox(*mailbox);
    EXPECT_EQ(readRecipient(written), mailbox) << typed;
    EXPECT_EQ(parseAddressList(written), std::vector<Mailbox>{*mailbox}) << typed;
    const auto field = readWrittenField(written);
    ASSERT_TRUE(field) << typed;
    EXPECT_EQ(*field, std::vector<std::string>{mailbox->address}) << typed;
  }
  EXPECT_GT(read, 2'000) << "too few of the texts are addresses to tell anything";
}

}  // namespace
}  // namespace relaybird
