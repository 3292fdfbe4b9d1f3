// SPDX-License-Identifier: MIT
// Which texts are addresses that mail may be sent to: tables of good and bad ones, by the rules of
// RFC 5321, RFC 5322 and IDNA.
#include <gtest/gtest.h>

#include "message/address/address_check.h"

namespace relaybird {
namespace {

using namespace std::string_view_literals;

TEST(AddressCheck, AcceptsWhatMailSystemsUse) {
  for (const auto address :
       {"a@b", "john.doe@example.org", "o'neil+tag=x@mail.example.co.uk", "a-b_c@x-y.example",
        "!#$%&'*+-/=?^_`{|}~@example.org", "\"john doe\"@example.org", "\"a\\\"b\"@example.org",
        "\"a@b\"@example.org", "root@localhost", "u@[192.0.2.1]", "u@[IPv6:2001:db8::1]",
        "u@xn--exmple-cua.org", "1@2.org", "a@b_c", "a@_b.example"}) {
    EXPECT_TRUE(isRfc5322Address(address)) << address;
  }
}

TEST(AddressCheck, AcceptsInternationalAddresses) {
  for (const auto address :
       {"andré@example.org", "a@exämple.org", "用户@例子.中国", "\"jö é\"@x.org"}) {
    EXPECT_TRUE(isRfc5322Address(address)) << address;
  }
}

TEST(AddressCheck, RefusesWhatWouldBreakACommandLineOrAnEnvelope) {
  for (const auto address : {"-f@example.org"sv, "--@x"sv,      "a@b\r\nRCPT TO:<c@d>"sv,
                             "a\n@b"sv,          "a@b\n"sv,     "a@b\0"sv,
                             "a\0b@c"sv,         "a\tb@c"sv,    "\"a\tb\"@c"sv,
                             "\"a\r\nb\"@c"sv,   "a b@c"sv,     "a@b c"sv,
                             " a@b"sv,           "a@b "sv,      "<a@b>"sv,
                             "a@b>"sv,           "a@b,c@d"sv,   "a@b;c@d"sv,
                             "a@b\x7F"sv,        "a@b\x1B[2J"sv}) {
    EXPECT_FALSE(isRfc5322Address(address)) << address;
  }
}

TEST(AddressCheck, RefusesWhatIsNoAddress) {
  for (const auto address : {"",
                             "@",
                             "a",
                             "a@",
                             "@b",
                             "a@@b",
                             "a@b@c",
                             ".a@b",
                             "a.@b",
                             "a..b@c",
                             "a@.b",
                             "a@b.",
                             "a@b..c",
                             "a@-b",
                             "a@b-",
                             "a(c)@b",
                             "a@b(c)",
                             "a:b@c",
                             "\"a@b",
                             "a\"@b",
                             "\"a\"b@c",
                             "\"@b",
                             "\"a\\\"@b",
                             "\"a\"\"@b",
                             "u@[1.2.3]",
                             "u@[300.1.1.1]",
                             "u@[IPv6:x]",
                             "u@[2001:db8::1]",
                             "u@[IPv6:192.0.2.1]",
                             "u@[]",
                             "u@[1.2.3.4",
                             "u@[tag:x]",
                             "\\a@b",
                             "a@b/c"}) {
    EXPECT_FALSE(isRfc5322Address(address)) << address;
  }
}

TEST(AddressCheck, RefusesBadUtf8AndCharactersThatNobodySees) {
  for (const auto address : {"a\xFF@b", "a\xC3@b", "a\xED\xA0\x80@b", "a\u200B@b", "a\u202E@b",
                             "a\u00A0b@c", "a\u2028@b", "a@b\uFEFF", "a\uFFFD@b", "a\u0085@b"}) {
    EXPECT_FALSE(isRfc5322Address(address)) << address;
  }
}

TEST(AddressCheck, KeepsTheLimitsOfSmtp) {
  const std::string local(64, 'l');
  const std::string label(63, 'd');
  EXPECT_TRUE(isRfc5322Address(local + "@b"));
  EXPECT_FALSE(isRfc5322Address(local + "l@b"));
  EXPECT_TRUE(isRfc5322Address("a@" + label));
  EXPECT_FALSE(isRfc5322Address("a@" + label + "d"));
  const std::string domain = label + "." + label + "." + label + ".";  // 192 bytes
  EXPECT_TRUE(isRfc5322Address("a@" + domain + std::string(60, 'e')));
  std::string wide;
  for (int i = 0; i < 20; ++i) {
    wide += "\u4F8B\u5B50.";  // 11 bytes each in the wire form
  }
  EXPECT_TRUE(isRfc5322Address("a@" + wide + "example"));
  EXPECT_FALSE(isRfc5322Address("a@" + wide + "example.example.example.example.example"));
  EXPECT_FALSE(isRfc5322Address("a@" + domain + std::string(61, 'e')));
}

TEST(AddressCheck, ADotAtTheEndOfAnInternationalDomainIsNoMoreAllowedThanOfAnother) {
  EXPECT_TRUE(isRfc5322Address("k@x\u00FC.example"));
  for (const char* address : {"k@x.", "k@x\u00FC.", "k@x\u00FC\u3002example", "k@x\u00FC\uFF61"}) {
    EXPECT_FALSE(isRfc5322Address(address)) << address;
  }
}

}  // namespace
}  // namespace relaybird
