// SPDX-License-Identifier: MIT
#include "stores/address/mail_address.h"

#include <gtest/gtest.h>

#include "repeated.h"
#include "stores/text/charset.h"

namespace relaybird {

void PrintTo(const Mailbox& mailbox, std::ostream* out) {
  *out << '{' << mailbox.name << '|' << mailbox.address << '}';
}

namespace {

using namespace std::string_view_literals;
using Mailboxes = std::vector<Mailbox>;

struct Sample {
  std::string_view raw;
  Mailboxes mailboxes;
};

void expectAll(std::initializer_list<Sample> samples) {
  for (const Sample& sample : samples) {
    EXPECT_EQ(parseAddressList(sample.raw), sample.mailboxes) << sample.raw;
  }
}

TEST(MailAddress, NamesAndAddressesAreTakenApart) {
  expectAll({{"john@x.org", {{"", "john@x.org"}}},
             {"<john@x.org>", {{"", "john@x.org"}}},
             {"John Doe <john@x.org>", {{"John Doe", "john@x.org"}}},
             {"\"Doe, \\\"JD\\\" John\" <john@x.org>", {{"Doe, \"JD\" John", "john@x.org"}}},
             {"john@x.org (John Doe)", {{"John Doe", "john@x.org"}}},
             {"J. R. Doe <j@x.org>", {{"J. R. Doe", "j@x.org"}}},
             {"\"q l\"@x.org", {{"", "\"q l\"@x.org"}}},
             {"u@[192.0.2.1]", {{"", "u@[192.0.2.1]"}}},
             {"<@a.org,@b.org:u@x.org>", {{"", "u@x.org"}}}});
}

TEST(MailAddress, ListsKeepTheirOrder) {
  expectAll({{"a@x, B <b@x>,\r\n\tc@x", {{"", "a@x"}, {"B", "b@x"}, {"", "c@x"}}},
             {"a@x; b@x;", {{"", "a@x"}, {"", "b@x"}}},
             {" , ,a@x,,", {{"", "a@x"}}},
             {"", {}},
             {" \r\n ", {}}});
}

TEST(MailAddress, GroupsAreFlattened) {
  expectAll({{"Team: a@x, B <b@x>;, c@x", {{"", "a@x"}, {"B", "b@x"}, {"", "c@x"}}},
             {"undisclosed-recipients:;", {}},
             {"mailto:a@x", {{"", "a@x"}}}});
}

TEST(MailAddress, EncodedWordsAreDecodedAfterTheListIsSplit) {
  expectAll({{"=?utf-8?Q?Jos=C3=A9?= <j@x>", {{"José", "j@x"}}},
             {"=?utf-8?Q?Doe,_John?= <j@x>, k@x", {{"Doe, John", "j@x"}, {"", "k@x"}}},
             {"=?utf-8?B?RG9lLCBKIDxldmlsQHk+?= <j@x>", {{"Doe, J <evil@y>", "j@x"}}},
             {"=?utf-8?Q?=C3?= =?utf-8?Q?=A9?= <j@x>", {{"é", "j@x"}}},
             {"\"=?iso-8859-1?Q?=93A=94?=\" <j@x>", {{"“A”", "j@x"}}},
             {"=?utf-8?Q?a=0D=0Ab?= <j@x>", {{"a b", "j@x"}}},
             {"j@x (=?utf-8?Q?Jos=C3=A9?=)", {{"José", "j@x"}}}});
}

TEST(MailAddress, RawBytesAreReadAsText) {
  expectAll({{"Jos\xC3\xA9 <j@x>", {{"José", "j@x"}}},
             {"Jos\xE9 <j@x>", {{"José", "j@x"}}},
             {"J <jos\xC3\xA9@ex\xC3\xA4mple.org>", {{"J", "josé@exämple.org"}}},
             {"a@x\0b"sv, {{"", "a@x"}}}});
}

TEST(MailAddress, WhatPeopleWriteWithoutQuotesIsUnderstood) {
  expectAll({{"Doe, John <j@x>", {{"Doe, John", "j@x"}}},
             {"[List] Name <l@x>", {{"[List] Name", "l@x"}}},
             {"J <mailto:j@x>", {{"J", "j@x"}}},
             {"J <j@x", {{"J", "j@x"}}},
             {"Doe <<j@x>>", {{"Doe", "j@x"}}},
             {"docomo..user@x.org", {{"", "docomo..user@x.org"}}}});
}

TEST(MailAddress, AnInternationalDomainReadsTheSameBehindANameThatIsNone) {
  for (const std::string name : {"Ann", "[List] Ann", "Ann \f`", "Ann <", "a@b \"Doe"}) {
    const Mailboxes read = parseAddressList(name + " <ann@xn--exmple-cua.org>");
    ASSERT_FALSE(read.empty()) << name;
    EXPECT_EQ(read.back().address, "ann@exämple.org") << name;
  }
}

TEST(MailAddress, AnEntryWithoutAnAtIsLeftToTheCaller) {
  expectAll({{"Ann; b@x; =?utf-8?Q?Jos=C3=A9?=", {{"", "Ann"}, {"", "b@x"}, {"", "José"}}}});
}

TEST(MailAddress, AWritersPrivateCharactersStandForNoWord) {
  expectAll({{"\uE0000\uE001 =?utf-8?Q?b?= <j@x>", {{"bb", "j@x"}}},
             {"\uE00099999999999999999999\uE001x <j@x>", {{"x", "j@x"}}},
             {"\uE000 <j@x>", {{"\uE000", "j@x"}}}});
}

TEST(MailAddress, OneAddressIsTheFirst) {
  EXPECT_EQ(parseAddress("A <a@x>, b@x"), (Mailbox{"A", "a@x"}));
  EXPECT_EQ(parseAddress(""), Mailbox{});
}

TEST(MailAddress, FormattingQuotesWhatNeedsIt) {
  EXPECT_EQ(formatMailbox({"", "a@x"}), "a@x");
  EXPECT_EQ(formatMailbox({"John Doe", "a@x"}), "John Doe <a@x>");
  EXPECT_EQ(formatMailbox({"Doe, \"J\\D\"", "a@x"}), "\"Doe, \\\"J\\\\D\\\"\" <a@x>");
  EXPECT_EQ(formatMailbox({"José", "a@x"}), "José <a@x>");
  EXPECT_EQ(formatMailbox({"a\r\nBcc: b", "a@x"}), "\"a Bcc: b\" <a@x>");
}

TEST(MailAddress, WhatIsFormattedIsReadAgain) {
  for (const auto name :
       {"", "John", "Doe, John", "a \"b\" \\c", "x@y", "J. D.", "[L] <z>", "é(c)"}) {
    const Mailbox mailbox{name, "a@x.org"};
    EXPECT_EQ(parseAddressList(formatMailbox(mailbox)), Mailboxes{mailbox}) << name;
  }
}

TEST(MailAddress, HostileListsAreCutAndOverflowNoStack) {
  for (const auto piece : {"a:"sv,
                           "a@b:"sv,
                           "<a:"sv,
                           "\\(a:"sv,
                           "\"a:"sv,
                           "("sv,
                           "()"sv,
                           "<"sv,
                           "\""sv,
                           "\\"sv,
                           "@"sv,
                           "a."sv,
                           "a@b,"sv,
                           "a@b "sv,
                           "<@a,"sv,
                           "[:"sv,
                           ";"sv,
                           "=?utf-8?q?a?= "sv,
                           "=?utf-8?q?"sv,
                           "a <"sv,
                           "a, b <c@d"sv,
                           "\xEE\x80\x80"sv,
                           "\xEE\x80\x80"
                           "1\xEE\x80\x81"sv,
                           "<a@b>:"sv}) {
    EXPECT_LE(parseAddressList(repeated(piece, 200'000) + " x <a@b>").size(), kMaxMailboxes)
        << piece;
  }
}

TEST(MailAddress, ACommentThatStrayQuotesHideLeaksNothing) {
  // The sanitizer build looks for the leak.
  EXPECT_LE(parseAddressList("q l\"@x,\"u@3 \"open <x@y>,a@b\"a \\\" b\"@c ( (c (d)) e@f").size(),
            1u);
  const auto smiling = parseAddress("\"Smith :(\" <smith@example.org>");
  EXPECT_EQ(smiling.name, "Smith :(");
  EXPECT_EQ(smiling.address, "smith@example.org");
  EXPECT_EQ(parseAddress("\"a(b\"@example.org").address, "\"a(b\"@example.org");
}

TEST(MailAddress, AListIsLimited) {
  EXPECT_EQ(parseAddressList(repeated("a@b,", 20'000)).size(), kMaxMailboxes);
}

}  // namespace
}  // namespace relaybird
