// SPDX-License-Identifier: MIT
// The reader of address fields that strangers wrote: tables of field values and the mailboxes in
// them, in all the forms that mail has, and values made to exhaust the reader.
#include "message/address/mail_address.h"

#include <gtest/gtest.h>

#include "message/address/address_check.h"
#include "message/text/charset.h"
#include "message/text/repeated.h"
#include "platform/text/ascii_text.h"

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
             {"J <jos\xC3\xA9@ex\xC3\xA4mple.org>", {{"J", "josé@xn--exmple-cua.org"}}},
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

TEST(MailAddress, AnInternationalDomainReadsTheSameWhateverNameStandsBesideIt) {
  for (const std::string domain : {"xn--exmple-cua.org", "exämple.org", "EXA\u0308MPLE.org"}) {
    for (const std::string name :
         {"", "Ann", "\"Ann\"", "\"Doe, Ann\"", "=?utf-8?Q?Ann?=", "[List] Ann", "Ann (work)",
          "Ann \f`", "Ann <", "a@b \"Doe", "Doe, Ann"}) {
      const Mailboxes read = parseAddressList(name + " <ann@" + domain + ">");
      ASSERT_FALSE(read.empty()) << name;
      EXPECT_EQ(asciiLower(read.back().address), "ann@xn--exmple-cua.org") << name << domain;
    }
    for (const std::string& form :
         std::vector<std::string>{"ann@" + domain, "ann@" + domain + " (Ann)", "Ann ann@" + domain,
                                  "mailto:ann@" + domain, "Team: ann@" + domain + ";"}) {
      const Mailboxes read = parseAddressList(form);
      ASSERT_EQ(read.size(), 1U) << form;
      EXPECT_EQ(asciiLower(read.front().address), "ann@xn--exmple-cua.org") << form;
    }
  }
}

TEST(MailAddress, ADomainWithAnUnderscoreIsFound) {
  expectAll({{"bb@big_bug.com", {{"", "bb@big_bug.com"}}},
             {"Big Bug <bb@big_bug.com>", {{"Big Bug", "bb@big_bug.com"}}},
             {"[List] Big Bug <bb@big_bug.com>", {{"[List] Big Bug", "bb@big_bug.com"}}},
             {"bb@big_bug.com (Big Bug)", {{"Big Bug", "bb@big_bug.com"}}},
             {"Big Bug bb@_big_bug_.com", {{"Big Bug", "bb@_big_bug_.com"}}}});
}

TEST(MailAddress, ABareAddressBehindANameIsFound) {
  expectAll({{"Big Bug bb@bug.com", {{"Big Bug", "bb@bug.com"}}},
             {"\"Bug, Big\" bb@bug.com", {{"Bug, Big", "bb@bug.com"}}},
             {"=?utf-8?Q?Jos=C3=A9?= j@bug.com, Big Bug bb@bug.com",
              {{"José", "j@bug.com"}, {"Big Bug", "bb@bug.com"}}},
             {"a@x b@y", {{"", "a@x"}, {"", "b@y"}}}});
}

TEST(MailAddress, ColonsAreNeitherDroppedNorGlued) {
  expectAll({{"joe@[IPv6:2001:db8::1], k@x", {{"", "joe@[IPv6:2001:db8::1]"}, {"", "k@x"}}}});
  EXPECT_NE(parseAddress("joe@example.com:25").address, "joe@example.com25");
}

TEST(MailAddress, BlanksWithinAQuotedLocalPartStayAsTheyAre) {
  expectAll({{"\"a  b\"@x.org (c)", {{"c", "\"a  b\"@x.org"}}},
             {"<\"a  b\"@x.org>", {{"", "\"a  b\"@x.org"}}}});
}

TEST(MailAddress, AnEntryWithoutAnAtIsLeftToTheCaller) {
  expectAll({{"Ann; b@x; =?utf-8?Q?Jos=C3=A9?=", {{"", "Ann"}, {"", "b@x"}, {"", "José"}}}});
}

TEST(MailAddress, AWritersPrivateCharactersStandForNothing) {
  expectAll({{"\uE0000\uE001 =?utf-8?Q?b?= <j@x>", {{"0 b", "j@x"}}},
             {"\uE00099999999999999999999\uE001x <j@x>", {{"99999999999999999999x", "j@x"}}},
             {"\uE000 <j@xn\uE002--x>", {{"", "j@xn--x"}}},
             {"\uE003 <j@x>", {{"\uE003", "j@x"}}}});
}

TEST(MailAddress, AWordThatWouldReachFromANameIntoAnAddressIsNone) {
  EXPECT_EQ(parseAddress("=?utf-8?Q?a <\"b,?=\"@x.org>").address, "\"b,?=\"@x.org");
  EXPECT_EQ(parseAddressList(formatMailbox({"=?x?q?a", "\"x?=,b\"@x.org"})).size(), 1U);
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

// The address was shown with the domain as typed, which was another address when read again.
TEST(MailAddress, AnAddressThatAnEncodedWordTurnsOutToBeHasItsWireForm) {
  const auto read = parseAddressList("=?utf-8?Q?jos=C3=A9=40ex=C3=A4mple=2Eorg?=");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read.front().address, "josé@xn--exmple-cua.org");
  EXPECT_EQ(parseAddressList(formatMailbox(read.front())), read);
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

TEST(MailAddress, AnEndlessDomainIsLeftAsItIs) {
  for (const auto piece : {"\u00FC"sv, "\u00FC."sv}) {
    const std::string address = "a@" + repeated(piece, 200'000) + "x";
    EXPECT_EQ(parseAddress("<" + address + ">").address, address) << piece;
    EXPECT_FALSE(isRfc5322Address(address));
  }
}

TEST(MailAddress, ACommentThatStrayQuotesHideLeaksNothing) {
  // The build with AddressSanitizer finds the leak.
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
