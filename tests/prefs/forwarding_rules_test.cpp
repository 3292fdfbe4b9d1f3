// SPDX-License-Identifier: MIT
// The text rule and the sender rule, and what is decided when an item cannot be read. A scripted
// reader stands for the items; its record shows that nothing is read without need.
#include "prefs/forwarding_rules.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mail/shared_components.h"
#include "platform/text/matching_text.h"
#include "prefs/pref_bench.h"

namespace relaybird {
namespace {

// The texts that a scripted reader returns for every item, and how it fails.
struct Script {
  std::string subject;
  std::string body;
  std::string name;
  std::string address;
  bool takesPrefs = true;
  bool wraps = true;
  std::string errorText;
  std::string fault;  // thrown by every read when not empty
  std::vector<std::string> reads;
  int readersMade = 0;
  const clsPref* prefs = nullptr;
};

class ScriptedReader : public ItemReader {
 public:
  explicit ScriptedReader(Script& script) : script_(script) { ++script_.readersMade; }
  bool SetPref(const clsPref& prefs) override {
    script_.prefs = &prefs;
    return script_.takesPrefs;
  }
  bool MakeSafeInboxItem(const std::shared_ptr<MailItem>&) override { return script_.wraps; }
  std::string errorText() const override { return script_.errorText; }
  std::string inboxSubject() override { return read("subject", script_.subject); }
  std::string inboxBody() override { return read("body", script_.body); }
  std::string senderName() override { return read("name", script_.name); }
  std::string senderAddress() override { return read("address", script_.address); }

 private:
  std::string read(const char* what, const std::string& value) {
    script_.reads.emplace_back(what);
    if (!script_.fault.empty()) {
      throw MailStoreError(script_.fault);
    }
    return value;
  }
  Script& script_;
};

// An item that has only a kind: every other access throws.
std::shared_ptr<MailItem> itemOf(const std::string& kind) {
  return std::make_shared<PassThroughSafeItem>(kind);
}

class ForwardingRules : public testing::Test {
 protected:
  ForwardingRules() { bench.prefs.ReadIniPref(); }

  void useTextRule(std::int16_t place, std::int16_t type, StringList words) {
    fields().mbolFilterText = true;
    fields().mintTextToCheck = place;
    fields().mintMatchType = type;
    fields().mstrTextToMatch = std::move(words);
  }
  void useSenderRule(std::int16_t rule, StringList senders) {
    fields().mintSenderFilter = rule;
    fields().mcolSenderList = std::move(senders);
  }
  PreferenceFields& fields() { return bench.prefs.fields(); }

  // "yes", the reason of a rejection, or "status " and its number when nothing was decided.
  std::string decide(const std::string& kind = "MailItem") {
    bool forward = true;
    std::string reason = "old reason";
    const int status = bench.prefs.intShouldForward(itemOf(kind), forward, reason);
    if (status != 1) {
      EXPECT_TRUE(forward);
      EXPECT_EQ(reason, "old reason");
      return "status " + std::to_string(status);
    }
    if (!forward) {
      return reason;
    }
    EXPECT_EQ(reason, "old reason");
    return "yes";
  }

  Script script;
  PrefBench bench{[this] { return std::make_unique<ScriptedReader>(script); }};
  const std::string noText =
      "Email did not contain mandatory text string(s) that you specified in  the Settings dialog";
  const std::string excluded =
      "Email was sent by one of the senders that you instructed to exclude in the Settings dialog";
  const std::string notListed =
      "Email was not sent by the  sender(s) that you specified in the Settings dialog";
};

TEST_F(ForwardingRules, LetEverythingPassAtFirstWithoutReadingIt) {
  EXPECT_EQ(decide(), "yes");
  EXPECT_EQ(script.readersMade, 0);
}

TEST_F(ForwardingRules, TextMustHoldAllWords) {
  useTextRule(kCheckSubject, kMatchAll, {"invoice", "urgent"});
  script.subject = "URGENT: Invoice 7";
  EXPECT_EQ(decide(), "yes");
  script.subject = "Invoice 7";
  EXPECT_EQ(decide(), noText);
  script.subject = "urgent";
  EXPECT_EQ(decide(), noText);
  EXPECT_EQ(script.prefs, &bench.prefs);
}

TEST_F(ForwardingRules, TextMayHoldAnyWord) {
  for (const std::int16_t type : {kMatchAny, std::int16_t{0}, std::int16_t{199}}) {
    useTextRule(kCheckSubject, type, {"invoice", "urgent"});
    script.subject = "re: uRgEnT";
    EXPECT_EQ(decide(), "yes") << type;
    script.subject = "lunch";
    EXPECT_EQ(decide(), noText) << type;
  }
}

TEST_F(ForwardingRules, WordsMatchInsideOthersAndUntrimmed) {
  useTextRule(kCheckSubject, kMatchAll, {"voice"});
  script.subject = "invoices";
  EXPECT_EQ(decide(), "yes");
  useTextRule(kCheckSubject, kMatchAll, {" voice"});
  EXPECT_EQ(decide(), noText);
}

TEST_F(ForwardingRules, WordsMatchWithoutRegardToCaseInOtherAlphabets) {
  useTextRule(kCheckSubject, kMatchAll, {"gr\xC3\xBC\xC3\x9F"});
  script.subject = "GR\xC3\x9C\xC3\x9F IHR";
  EXPECT_EQ(decide(), "yes");
}

TEST_F(ForwardingRules, CapitalsOfEveryScriptMatchTheirSmallLetters) {
  const std::pair<const char*, const char*> cases[] = {
      {"бюджет", "СРОЧНО: БЮДЖЕТ"},
      {"ՀԱՇԻՎ", "հաշիվ 7"},
      {"ⴀⴁ", "ႠႡ"},
      {"ＩＮＶＯＩＣＥ", "ｉｎｖｏｉｃｅ"},
      {"ngọc diệp", "NGỌC DIỆP"},
      {"ὈΔΥΣΣΕΎΣ", "ὀδυσσεύς"},
      {"strasse ẞ", "STRASSE ß"},
      {"𐐀", "a𐐨b"},
      {"ısparta", "ISPARTA"},
  };
  for (const auto& [word, subject] : cases) {
    useTextRule(kCheckSubject, kMatchAll, {word});
    script.subject = subject;
    EXPECT_EQ(decide(), "yes") << word;
    script.subject = "something else";
    EXPECT_EQ(decide(), noText) << word;
    useTextRule(kCheckSubject, kMatchAll, {""});
    script.subject = "x";
    script.name = subject;
    useSenderRule(kForwardAllButListed, {word});
    EXPECT_EQ(decide(), excluded) << word;
    useSenderRule(kForwardFromAnyone, {""});
  }
}

TEST_F(ForwardingRules, TextIsTakenFromWhereTheRuleSays) {
  script.subject = "alpha";
  script.body = "beta";
  useTextRule(kCheckSubject, kMatchAll, {"beta"});
  EXPECT_EQ(decide(), noText);
  EXPECT_EQ(script.reads, std::vector<std::string>{"subject"});
  script.reads.clear();
  useTextRule(kCheckBody, kMatchAll, {"beta"});
  EXPECT_EQ(decide(), "yes");
  EXPECT_EQ(script.reads, std::vector<std::string>{"body"});
  useTextRule(kCheckSubjectAndBody, kMatchAll, {"alphabeta"});
  EXPECT_EQ(decide(), "yes");
}

TEST_F(ForwardingRules, AnyOtherPlaceForTheTextDecidesNothing) {
  useTextRule(103, kMatchAll, {"alpha"});
  script.subject = "alpha";
  EXPECT_EQ(decide(), "status -1");
  EXPECT_EQ(bench.prefs.lastReason(), "Could not apply the text filter");
}

TEST_F(ForwardingRules, OneEmptyWordLetsEveryTextPassButTheEmptyOne) {
  for (const std::int16_t type : {kMatchAll, kMatchAny}) {
    useTextRule(kCheckSubject, type, {""});
    script.subject = "anything";
    EXPECT_EQ(decide(), "yes");
    script.subject = "";
    EXPECT_EQ(decide(), noText);
  }
}

TEST_F(ForwardingRules, WordsThatWereNeverFilledMatchNothing) {
  for (const std::int16_t type : {kMatchAll, kMatchAny}) {
    useTextRule(kCheckSubject, type, {});
    script.subject = "anything";
    EXPECT_EQ(decide(), noText);
  }
}

TEST_F(ForwardingRules, AnItemThatCannotBeWrappedIsNotDecidedAndSaysWhy) {
  useTextRule(kCheckSubject, kMatchAll, {"alpha"});
  script.errorText = "the wrapper is missing";
  script.wraps = false;
  EXPECT_EQ(decide(), "status -1");
  EXPECT_EQ(bench.prefs.lastReason(), "the wrapper is missing");
  script.wraps = true;
  script.takesPrefs = false;
  script.errorText = "";
  EXPECT_EQ(decide(), "status -1");
  EXPECT_EQ(bench.prefs.lastReason(), "Could not apply the text filter");
}

TEST_F(ForwardingRules, ATextThatCannotBeReadIsNotDecidedAndSaysWhy) {
  useTextRule(kCheckSubject, kMatchAll, {"alpha"});
  script.fault = "the store is gone";
  EXPECT_EQ(decide(), "status -1");
  EXPECT_EQ(bench.prefs.lastReason(), "the store is gone");
}

TEST_F(ForwardingRules, ARejectedTextEndsTheDecision) {
  useTextRule(kCheckSubject, kMatchAll, {"alpha"});
  useSenderRule(kForwardOnlyListed, {"boss"});
  EXPECT_EQ(decide(), noText);
  EXPECT_EQ(script.reads, std::vector<std::string>{"subject"});
  script.subject = "alpha";
  EXPECT_EQ(decide(), notListed);
  EXPECT_EQ(script.readersMade, 3);
}

TEST_F(ForwardingRules, OnlyListedSendersPass) {
  useSenderRule(kForwardOnlyListed, {"nobody", "@Work.example"});
  script.address = "ann@work.EXAMPLE";
  script.name = "Ann";
  EXPECT_EQ(decide(), "yes");
  EXPECT_EQ(decide("meetingitem"), "yes");
  script.address = "ann@home.example";
  EXPECT_EQ(decide(), notListed);
}

TEST_F(ForwardingRules, ListedSendersAreExcluded) {
  useSenderRule(kForwardAllButListed, {"accounts"});
  script.address = "ACCOUNTS@shop.example";
  EXPECT_EQ(decide(), excluded);
  script.address = "ann@shop.example";
  EXPECT_EQ(decide(), "yes");
  script.name = "The Accounts Office";
  EXPECT_EQ(decide(), excluded);
}

TEST_F(ForwardingRules, ADomainBeyondAsciiIsFoundByItsLettersAndByItsWireForm) {
  script.address = "ann@xn--mnchen-3ya.example";
  for (const char* entry : {"@M\u00DCNCHEN.example", "m\u00FCnch", "@XN--mnchen-3ya.example"}) {
    useSenderRule(kForwardOnlyListed, {entry});
    EXPECT_EQ(decide(), "yes") << entry;
    useSenderRule(kForwardAllButListed, {entry});
    EXPECT_EQ(decide(), excluded) << entry;
  }
  useSenderRule(kForwardOnlyListed, {"@munchen.example", "@muenchen.example"});
  EXPECT_EQ(decide(), notListed);
}

TEST_F(ForwardingRules, AnAddressWithoutAnAtSignDoesNotCount) {
  useSenderRule(kForwardOnlyListed, {"ann"});
  script.address = "/O=WORK/CN=ANN";
  EXPECT_EQ(decide(), notListed);
  script.name = "Ann";
  EXPECT_EQ(decide(), "yes");
}

TEST_F(ForwardingRules, OneEmptySenderListsEverybodyWithANameOrAddress) {
  useSenderRule(kForwardOnlyListed, {""});
  EXPECT_EQ(decide(), notListed);
  script.name = "Ann";
  EXPECT_EQ(decide(), "yes");
  script.name = "";
  script.address = "a@x.org";
  EXPECT_EQ(decide(), "yes");
  script.address = "no address";
  EXPECT_EQ(decide(), notListed);
}

TEST_F(ForwardingRules, AListThatWasNeverFilledListsNobody) {
  script.address = "a@x.org";
  useSenderRule(kForwardOnlyListed, {});
  EXPECT_EQ(decide(), notListed);
  useSenderRule(kForwardAllButListed, {});
  EXPECT_EQ(decide(), "yes");
}

TEST_F(ForwardingRules, AReportComesFromTheAdministrator) {
  for (const char* kind : {"ReportItem", "REPORTITEM"}) {
    useSenderRule(kForwardOnlyListed, {"admin"});
    EXPECT_EQ(decide(kind), "yes");
    useSenderRule(kForwardOnlyListed, {"postmaster"});
    EXPECT_EQ(decide(kind), notListed);
    useSenderRule(kForwardAllButListed, {"ADMINISTRATOR"});
    EXPECT_EQ(decide(kind), excluded);
  }
}

TEST_F(ForwardingRules, AnotherKindHasNoSender) {
  script.address = "a@x.org";
  script.name = "Ann";
  useSenderRule(kForwardOnlyListed, {""});
  EXPECT_EQ(decide("ContactItem"), notListed);
  EXPECT_TRUE(script.reads.empty());
}

TEST_F(ForwardingRules, AnUnknownSenderPassesUnlessOnlyListedOnesMay) {
  script.wraps = false;
  useSenderRule(kForwardOnlyListed, {"ann"});
  EXPECT_EQ(decide(), "Problem determining sender");
  useSenderRule(kForwardAllButListed, {"ann"});
  EXPECT_EQ(decide(), "yes");
  script.wraps = true;
  script.fault = "the store is gone";
  EXPECT_EQ(decide(), "yes");
  useSenderRule(kForwardOnlyListed, {"ann"});
  EXPECT_EQ(decide(), "Problem determining sender");
}

TEST_F(ForwardingRules, ATaskRequestWithoutItsTaskHasAnUnknownSender) {
  useSenderRule(kForwardOnlyListed, {"ann"});
  EXPECT_EQ(decide("TaskRequestItem"), "Problem determining sender");
}

TEST_F(ForwardingRules, AnyOtherSenderRuleRejectsNobody) {
  for (const std::int16_t rule : {std::int16_t{0}, std::int16_t{503}, std::int16_t{-1}}) {
    useSenderRule(rule, {""});
    script.name = "Ann";
    EXPECT_EQ(decide(), "yes");
  }
}

TEST_F(ForwardingRules, FollowTheListsAsTheyChange) {
  useTextRule(kCheckSubject, kMatchAll, {"one"});
  script.subject = "two";
  EXPECT_EQ(decide(), noText);
  fields().mstrTextToMatch.front() = "two";
  EXPECT_EQ(decide(), "yes");
}

TEST_F(ForwardingRules, AMissingItemIsNotDecidedOrUnknown) {
  useSenderRule(kForwardOnlyListed, {"ann"});
  bool forward = true;
  std::string reason;
  EXPECT_EQ(bench.prefs.intShouldForward(nullptr, forward, reason), 1);
  EXPECT_FALSE(forward);
  EXPECT_EQ(reason, "Problem determining sender");
}

TEST(FoldedList, ConvertsAListOnceUntilItChanges) {
  FoldedList cache;
  StringList list{"A", "b"};
  const StringList& converted = cache.of(list);
  const std::string* const data = converted.data();
  EXPECT_EQ(converted, (StringList{"a", "b"}));
  EXPECT_EQ(cache.of(list).data(), data);
  list.push_back("C");
  EXPECT_EQ(cache.of(list), (StringList{"a", "b", "c"}));
  EXPECT_EQ(cache.of({}), StringList{});
}

}  // namespace
}  // namespace relaybird
