// SPDX-License-Identifier: MIT
// Lists as users type them and as they are stored, and the question that confirms the addresses.
#include "prefs/address_lists.h"

#include <gtest/gtest.h>

#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

StringList split(std::string_view text) {
  StringList list{"what stood here before"};
  const int count = FormTextToArray(text, list);
  EXPECT_EQ(count, static_cast<int>(list.size()));
  return list;
}

TEST(CleanStringEnds, TurnsEveryWhiteCharacterIntoABlankAndTrims) {
  EXPECT_EQ(cleanStringEnds(std::string_view("\t\r\n;\0 a\tb\rc\nd;e\0f g ;\0", 23)),
            "a b c d e f g");
}

TEST(CleanStringEnds, KeepsInnerBlanksAsManyAsThereAre) {
  EXPECT_EQ(cleanStringEnds("a\r\nb"), "a  b");
  EXPECT_EQ(cleanStringEnds("one   two"), "one   two");
}

TEST(CleanStringEnds, LeavesNothingOfATextOfSeparators) {
  EXPECT_EQ(cleanStringEnds(" ; \t\r\n"), "");
  EXPECT_EQ(cleanStringEnds(""), "");
}

TEST(CleanStringEnds, LeavesOtherControlCharactersAndLettersAlone) {
  EXPECT_EQ(cleanStringEnds(" \x0B\xC3\xA4\x0C "), "\x0B\xC3\xA4\x0C");
}

TEST(CleanStringEnds, TakesTheSemicolonOffAnAddress) {
  EXPECT_EQ(cleanStringEnds("ann@example.org;"), "ann@example.org");
}

TEST(FormTextToArray, AnEmptyTextIsOneEmptyEntry) {
  EXPECT_EQ(split(""), StringList{""});
}

TEST(FormTextToArray, BlanksAndSemicolonsAloneAreOneEmptyEntry) {
  EXPECT_EQ(split(" ;; \t; ;"), StringList{""});
}

TEST(FormTextToArray, TwoAddressesWithASemicolonEachAreTwoEntries) {
  EXPECT_EQ(split("a@x.org; b@x.org;"), (StringList{"a@x.org", "b@x.org"}));
}

TEST(FormTextToArray, SplitsAtSemicolonsOnlyAndKeepsDuplicates) {
  EXPECT_EQ(split("a,b;c\r\nd;a,b"), (StringList{"a,b", "c  d", "a,b"}));
}

TEST(MakeStringFromArray, EndsEveryEntryWithSemicolonAndBlank) {
  EXPECT_EQ(MakeStringFromArray({"a@x.org", "b@x.org"}), "a@x.org; b@x.org; ");
}

TEST(MakeStringFromArray, CleansEveryEntry) {
  EXPECT_EQ(MakeStringFromArray({" a;", "", "b"}), "a; ; b; ");
}

TEST(MakeStringFromArray, AListThatHoldsNothingIsEmpty) {
  EXPECT_EQ(MakeStringFromArray({""}), "");
  EXPECT_EQ(MakeStringFromArray({}), "");
}

TEST(MakeStringFromArray, IsUndoneByFormTextToArray) {
  const StringList list{"a@x.org", "Ann Onymous", "b@x.org"};
  EXPECT_EQ(split(MakeStringFromArray(list)), list);
}

TEST(ForwardAddresses, AreHandedOutAsACopyWithTheirCount) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "b@x.org"};
  StringList list{"old"};
  EXPECT_EQ(bench.prefs.GetFwdAddresses(list), 2);
  EXPECT_EQ(list, (StringList{"a@x.org", "b@x.org"}));
  EXPECT_EQ(bench.prefs.GetForwardAddress(), "a@x.org; b@x.org; ");
}

TEST(ForwardAddresses, OneEmptyEntryCountsAsItStands) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {""};
  StringList list;
  EXPECT_EQ(bench.prefs.GetFwdAddresses(list), 1);
  EXPECT_EQ(list, StringList{""});
  EXPECT_EQ(bench.prefs.GetForwardAddress(), "");
}

TEST(ConfirmMessage, AsksForOneAddressBeforeForwardingStarts) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"5551234@cell.example"};
  std::string message;
  EXPECT_EQ(bench.prefs.GetFwdConfirmMessage(message), 1);
  EXPECT_EQ(
      message,
      "Please confirm that you would like Relaybird to forward your messages to the following "
      " 1 address : \r\n\r\n"
      "( 1) 5551234@cell.example\r\n"
      "\r\n"
      "Please click the YES button to start automatically forwarding your messages.");
}

TEST(ConfirmMessage, AsksForSeveralAddressesBeforeATestCycle) {
  PrefBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "b@x.org", "c@x.org"};
  std::string message = "old";
  EXPECT_EQ(bench.prefs.GetFwdConfirmMessage(message, true), 3);
  EXPECT_EQ(
      message,
      "Please confirm that you would like Relaybird to forward your messages to the following "
      " 3 addresses : \r\n\r\n"
      "( 1) a@x.org\r\n"
      "( 2) b@x.org\r\n"
      "( 3) c@x.org\r\n"
      "\r\n"
      "Please click the YES button to forward your messages once.");
}

TEST(ConfirmMessage, IsEmptyWithNobodyToForwardTo) {
  PrefBench bench;
  std::string message = "old";
  EXPECT_EQ(bench.prefs.GetFwdConfirmMessage(message), 0);
  EXPECT_EQ(message, "");
  bench.prefs.fields().mstrFwdToAddress = {""};
  message = "old";
  EXPECT_EQ(bench.prefs.GetFwdConfirmMessage(message, true), 0);
  EXPECT_EQ(message, "");
}

TEST(ClsPref, OffersTheListOperationsToo) {
  StringList list;
  EXPECT_EQ(clsPref::FormTextToArray("a;b", list), 2);
  EXPECT_EQ(clsPref::MakeStringFromArray(list), "a; b; ");
  EXPECT_EQ(clsPref::cleanStringEnds(" x;"), "x");
}

}  // namespace
}  // namespace relaybird
