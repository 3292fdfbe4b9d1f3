// SPDX-License-Identifier: MIT
#include "stores/maildir/disk/maildir_name.h"

#include <gtest/gtest.h>

#include <limits>

namespace relaybird {
namespace {

std::string_view base(std::string_view name) {
  return name.substr(0, maildirBaseLength(name));
}

TEST(MaildirName, TheUniqueNameEndsBeforeTheFlags) {
  EXPECT_EQ(base("1700000000.M1P2.host:2,RS"), "1700000000.M1P2.host");
  EXPECT_EQ(base("1700000000.M1P2.host:2,"), "1700000000.M1P2.host");
  EXPECT_EQ(maildirFlags("1700000000.M1P2.host:2,RS"), "RS");
  EXPECT_EQ(maildirFlags("1700000000.M1P2.host:2,"), "");
}

TEST(MaildirName, WithoutFlagsTheWholeNameIsUnique) {
  EXPECT_EQ(base("1700000000.M1P2.host"), "1700000000.M1P2.host");
  EXPECT_EQ(base("name:1,S"), "name:1,S");
  EXPECT_EQ(base("S:S"), "S:S");
  EXPECT_EQ(base(""), "");
  EXPECT_EQ(maildirFlags("1700000000.S.hoSt"), "");
  EXPECT_FALSE(hasMaildirFlag("S:1,S", 'S'));
}

TEST(MaildirName, ANameOfFlagsAloneStaysAName) {
  EXPECT_EQ(base(":2,S"), ":2,S");
  EXPECT_EQ(withMaildirFlag(":2,S", 'S', true), ":2,S:2,S");
  EXPECT_EQ(base(":2,S:2,S"), ":2,S");
}

TEST(MaildirName, TheLastMarkCounts) {
  EXPECT_EQ(base("a:2,b:2,S"), "a:2,b");
  EXPECT_EQ(maildirFlags("a:2,b:2,S"), "S");
  EXPECT_EQ(base("a:2,S:x"), "a");
}

TEST(MaildirName, SettingAFlagSortsAndKeepsTheOthers) {
  EXPECT_EQ(withMaildirFlag("x", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,TF", 'S', true), "x:2,FST");
  EXPECT_EQ(withMaildirFlag("x:2,zRa", 'S', true), "x:2,RSaz");
  EXPECT_EQ(withMaildirFlag("x:2,S", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,RR", 'S', true), "x:2,RS");
}

TEST(MaildirName, ClearingAFlagKeepsTheOthers) {
  EXPECT_EQ(withMaildirFlag("x:2,FS", 'S', false), "x:2,F");
  EXPECT_EQ(withMaildirFlag("x:2,S", 'S', false), "x:2,");
  EXPECT_EQ(withMaildirFlag("x:2,SaS", 'S', false), "x:2,a");
  EXPECT_EQ(withMaildirFlag("x", 'S', false), "x:2,");
}

TEST(MaildirName, TheTimeStampIsTheLeadingNumber) {
  EXPECT_EQ(maildirTimeStamp("1700000000.M1P2.host"), 1700000000U);
  EXPECT_EQ(maildirTimeStamp("00012x"), 12U);
  EXPECT_EQ(maildirTimeStamp("msg.1"), 0U);
  EXPECT_EQ(maildirTimeStamp(""), 0U);
  EXPECT_EQ(maildirTimeStamp("99999999999999999999999"), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
}  // namespace relaybird
