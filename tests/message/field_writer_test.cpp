// SPDX-License-Identifier: MIT
// The address fields of a forward. Each field that is written is read back with the program's
// strict reader, and its lines keep the limits of RFC 5322 and RFC 2047.
#include "message/writing/field_writer.h"

#include <gtest/gtest.h>

#include <sstream>

#include "message/address/strict_mailbox.h"

namespace relaybird {
namespace {

// The field's value as a reader of the message sees it.
std::string valueOf(const std::string& field) {
  return field.substr(field.find(':') + 1);
}

TEST(AddressField, IsWrittenOnOneLineWhereItFits) {
  EXPECT_EQ(addressField("To", {}), "");
  EXPECT_EQ(addressField("To", {{"", "joe@example.com"}, {"Ann Example", "ann@example.org"}}),
            "To: joe@example.com, Ann Example <ann@example.org>\n");
  EXPECT_EQ(addressField("From", {{"Doe, \"J\\D\"", "joe@example.com"}}),
            "From: \"Doe, \\\"J\\\\D\\\"\" <joe@example.com>\n");
  EXPECT_EQ(addressField("From", {{"J\u00F6rg", "joe@m\u00FCnchen.example"}}),
            "From: =?utf-8?B?SsO2cmc=?= <joe@xn--mnchen-3ya.example>\n");
}

// GMime's writer turned this into "joe@\u0080.example".
TEST(AddressField, AWireFormThatDecodesToNothingGoodStaysAsItIs) {
  EXPECT_EQ(addressField("To", {{"", "joe@xn--a.example"}, {"A", "joe@XN--MNCHEN-3YA.example"}}),
            "To: joe@xn--a.example, A <joe@XN--MNCHEN-3YA.example>\n");
}

TEST(AddressField, NamesAndAddressesOfAnyKindAreReadAgain) {
  std::vector<std::string> names = {"",
                                    "Joe",
                                    "J. R. Doe",
                                    "Doe, Joe <x@y>",
                                    "a \"b\" \\c",
                                    "J\u00F6rg \u65E5\u672C",
                                    "=?utf-8?Q?Joe?=",
                                    "mr. =?x",
                                    "(c)",
                                    "[List] Joe",
                                    "'Joe'",
                                    "a@b",
                                    "Team: Joe;"};
  std::string words;
  for (int i = 0; i < 60; ++i) {
    words += (i == 0 ? "" : " ") + std::string("word") + std::to_string(i);
  }
  std::string wide;
  for (int i = 0; i < 100; ++i) {
    wide += "\u65E5\u00E9x";
  }
  names.insert(names.end(),
               {words, wide, std::string(500, 'n'), "\"" + std::string(200, '"') + "\""});
  const std::vector<std::string> addresses = {
      "joe@example.com",          "\"a  b\"@example.com",  "\"a,b\"@example.com",
      "joe@[IPv6:2001:db8::1]",   "\"=?utf-8?Q?a\"@x.org", "x?=@example.com",
      "j\u00F6@xn--a.example",    "=?utf-8?Q?joe?=@x.org", "\"" + std::string(62, ' ') + "\"@x.org",
      std::string(64, 'l') + "@x"};
  std::vector<Mailbox> all;
  std::vector<std::string> sent;
  for (const std::string& name : names) {
    for (const std::string& address : addresses) {
      const std::string field = addressField("Bcc", {{name, address}});
      const auto strict = readWrittenField(valueOf(field));
      ASSERT_TRUE(strict) << field;
      EXPECT_EQ(*strict, std::vector<std::string>{address}) << field;
      EXPECT_EQ(parseAddress(valueOf(field)), (Mailbox{name, address})) << field;
      all.push_back({name, address});
      sent.push_back(address);
    }
  }
  const auto strict = readWrittenField(valueOf(addressField("To", all)));
  ASSERT_TRUE(strict);
  EXPECT_EQ(*strict, sent);
}

TEST(AddressField, LinesAndEncodedWordsKeepTheirLimits) {
  std::string wide;
  for (int i = 0; i < 300; ++i) {
    wide += "\u65E5\u672C x";
  }
  std::vector<Mailbox> all(100, {"Ann Example", "ann@example.org"});
  all.push_back({wide, "joe@example.com"});
  all.push_back({std::string(2000, 'n'), "joe@example.com"});
  std::istringstream lines(addressField("To", all));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_LE(line.size(), 78U) << line;
    EXPECT_EQ(line.front() == ' ', count > 0) << line;
    EXPECT_NE(line.find_first_not_of(' '), std::string::npos);
    for (std::size_t at = line.find("=?"); at != std::string::npos;
         at = line.find("=?utf", at + 1)) {
      EXPECT_LE(line.find("?=", at + 10) + 2 - at, 75U) << line;
    }
  }
  EXPECT_GT(count, 60);
}

TEST(AddressField, ANameCannotLeaveItsLine) {
  EXPECT_EQ(addressField("From", {{"Ann\r\nBcc: x@y\u2028\t", "ann@example.org"}}),
            "From: \"Ann Bcc: x@y\" <ann@example.org>\n");
}

}  // namespace
}  // namespace relaybird
