// SPDX-License-Identifier: MIT
// The check of the forward-to addresses. The whole program over the world in memory; the mailbox
// decides which names it can resolve, and may fail on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/recording_reports.h"
#include "ui/forms/main/program_fixture.h"
#include "ui/forms/settings/address_check.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

constexpr const char* kCaption = "Check validity of addresses";
constexpr const char* kWaiting = "(Please wait -  Outlook is validatiting these addresses)";

class AddressCheckTest : public ProgramTest {
 protected:
  AddressCheckTest() { click("frmRelaybird", "cmdPrefs"); }
  ~AddressCheckTest() override { program().settings().setObserver(nullptr); }
  Control& button() { return program().settings().cmdValidateAd; }
  clsPref& prf() { return main().prf(); }
  void check(const std::string& addresses) {
    control("frmPrefs", "txtAddress").setText(addresses);
    click("frmPrefs", "cmdValidateAd");
  }
  // Until the dialog is filled again.
  void expectWaiting() {
    EXPECT_EQ(button().text(), kWaiting);
    click("frmPrefs", "cmdCancel");
    click("frmRelaybird", "cmdPrefs");
    EXPECT_EQ(button().text(), kCaption);
  }
  void expectOneBox(const std::string& line) {
    ASSERT_EQ(dialogs_.boxes.size(), 1U);
    EXPECT_EQ(boxLine(dialogs_.boxes[0]), line);
  }
  void expectOutcome(bool checked, bool good) {
    EXPECT_EQ(prf().mbolHaveCheckedAd, checked);
    EXPECT_EQ(prf().mbolAdAreOk, good);
  }
};

constexpr const char* kAllGood =
    "Emails all OK|Outlook successfully resolved each of the email addresses that you "
    "listed.|none|OK";

TEST_F(AddressCheckTest, AnEmptyFieldIsAProblem) {
  check("");
  expectOneBox(
      "Problem with your address list:|You haven't yet entered any addresses to check.  Please "
      "enter at least one recipient to forward your email to.|exclamation|OK");
  expectOutcome(true, false);
  dialogs_.answer(BoxAnswer::kNo);
  click("frmPrefs", "cmdOK");
  EXPECT_EQ(dialogs_.boxes.back().title, "Warning: ");
}

TEST_F(AddressCheckTest, WhatLooksLikeAnAddressIsNotAskedFor) {
  std::vector<std::string> asked;
  store_.setHook([&](std::string_view operation) {
    if (operation.ends_with("Recipients.Add")) {
      asked.emplace_back(operation);
    }
  });
  check("a@b.example; c@d.example");
  expectOneBox(kAllGood);
  expectOutcome(true, true);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(AddressCheckTest, TheStatusLineIsLeftAlone) {
  check("Dave");
  EXPECT_EQ(status(), "Current Status - Automatic forwarding turned off");
}

TEST_F(AddressCheckTest, NamesAreResolvedByTheMailApplication) {
  store_.setKnownName("Carol", "carol@work.example");
  check("Carol; a@b.example");
  expectOneBox(kAllGood);
  expectOutcome(true, true);
}

TEST_F(AddressCheckTest, UnknownNamesAreListedInTheirOrder) {
  store_.setKnownName("Carol", "carol@work.example");
  check("Dave; Carol; a@b.example; Erin");
  expectOneBox(
      "Relaybird|Outlook could not resolve the following email addresses that you entered: "
      "\r\n\r\n(1) Dave\r\n(2) Erin\r\n\r\nOutook will generate an error if you try to send "
      "messages to the address(es) listed above.|none|OK");
  expectOutcome(true, false);
}

TEST_F(AddressCheckTest, TheCheckLeavesNothingBehindInTheMailApplication) {
  check("Dave; Erin");
  EXPECT_EQ(store_.outboxCount(), 0U);
  EXPECT_THAT(store_.drafts(), IsEmpty());
}

// The captions of the button over time.
class CaptionRecorder : public FormObserver {
 public:
  void controlChanged(const Control& control, Change what) override {
    if (control.name() == "cmdValidateAd" && what == Change::kText) {
      captions.push_back(control.text());
    }
  }
  void formChanged(const Form&, FormChange) override {}
  std::vector<std::string> captions;
};

TEST_F(AddressCheckTest, TheButtonSaysThatTheCheckRuns) {
  CaptionRecorder recorder;
  program().settings().setObserver(&recorder);
  check("Dave");
  program().settings().setObserver(nullptr);
  EXPECT_THAT(recorder.captions, ElementsAre(kWaiting, kCaption));
}

TEST_F(AddressCheckTest, TheCaptionIsSetBeforeAnythingElse) {
  std::string captionAtTheBox;
  dialogs_.onBox = [&](const AnswerBox&) { captionAtTheBox = button().text(); };
  check("");
  EXPECT_EQ(captionAtTheBox, kWaiting);
  expectWaiting();
  CaptionRecorder recorder;
  program().settings().setObserver(&recorder);
  check(std::string(80000, ';') + "x");
  std::string many;
  for (int i = 0; i < 40000; ++i) {
    many += "x;";
  }
  check(many);
  program().settings().setObserver(nullptr);
  EXPECT_THAT(recorder.captions, ElementsAre(kWaiting, kCaption, kWaiting, kCaption));
  EXPECT_EQ(captionAtTheBox, kCaption);
}

TEST_F(AddressCheckTest, AFailureKeepsTheCaptionUntilTheDialogIsFilledAgain) {
  store_.setHook([](std::string_view operation) {
    if (operation.ends_with("ResolveAll")) {
      throw MailStoreError("the address book is locked");
    }
  });
  check("Dave");
  EXPECT_EQ(button().text(), kWaiting);
  store_.setHook({});
  check("Dave");
  EXPECT_EQ(button().text(), kCaption);
  store_.setHook([](std::string_view operation) {
    if (operation == "Application.CreateItem") {
      throw MailStoreError("no items today");
    }
  });
  check("Dave");
  expectWaiting();
}

TEST_F(AddressCheckTest, AMailApplicationThatCannotBeReachedIsTold) {
  control("frmPrefs", "txtAddress").setText("Dave");
  prf().mbolHaveCheckedAd = true;
  prf().mbolAdAreOk = true;
  store_.setHook([](std::string_view operation) {
    if (operation == "Namespace.GetDefaultInbox") {
      throw MailStoreError("the folder does not exist");
    }
  });
  click("frmPrefs", "cmdValidateAd");
  expectOneBox("Relaybird|Error: Could not retrieve Outlook inbox|none|OK");
  expectOutcome(true, true);
  EXPECT_THAT(log(), ElementsAre("2026-11-20 09:00:00--> Could not activate Outlook",
                                 "2026-11-20 09:00:00--> the folder does not exist"));
  expectWaiting();
}

TEST_F(AddressCheckTest, AFailureOnTheWayEndsTheWholeCheck) {
  store_.setHook([](std::string_view operation) {
    if (operation == "SafeItem.Recipients") {
      throw MailStoreError("no recipients today");
    }
  });
  check("Dave; Erin");
  expectOneBox("Relaybird|Error: no recipients today|none|OK");
  expectOutcome(false, true);
}

TEST_F(AddressCheckTest, WithoutTheSafeItemLibraryTheFailureIsTold) {
  store_.removeComponent(prog_id::kSafeMailItem);
  check("Dave");
  ASSERT_EQ(dialogs_.boxes.size(), 1U);
  EXPECT_EQ(dialogs_.boxes[0].text.substr(0, 7), "Error: ");
}

// It would be resolved again with each later entry and make that entry fail.
TEST_F(AddressCheckTest, ARecipientThatCannotBeTakenOffEndsTheWholeCheck) {
  store_.setKnownName("Carol", "carol@work.example");
  store_.setHook([](std::string_view operation) {
    if (operation.ends_with("Recipients.Remove")) {
      throw MailStoreError("stuck");
    }
  });
  check("Dave; Carol");
  expectOneBox("Relaybird|Error: stuck|none|OK");
  expectOutcome(false, true);
}

TEST_F(AddressCheckTest, AnEntryThatFailsLeavesTheItemWithoutRecipients) {
  std::vector<std::string> operations;
  store_.setHook([&](std::string_view operation) {
    operations.emplace_back(operation);
    if (operation.ends_with("ResolveAll")) {
      throw MailStoreError("the address book is locked");
    }
  });
  check("Dave; Erin");
  expectOneBox("Relaybird|Error: the address book is locked|none|OK");
  const auto resolved = std::find_if(operations.begin(), operations.end(),
                                     [](const auto& name) { return name.ends_with("ResolveAll"); });
  EXPECT_THAT(std::vector<std::string>(resolved + 1, operations.end()),
              Contains(EndsWith("Recipients.Remove")));
  EXPECT_EQ(std::count_if(operations.begin(), operations.end(),
                          [](const auto& name) { return name.ends_with("Recipients.Add"); }),
            1);
}

// The user is told why the check failed, not that the clean-up failed too.
TEST_F(AddressCheckTest, TheFirstOfTwoFailuresIsTold) {
  store_.setHook([](std::string_view operation) {
    if (operation.ends_with("ResolveAll")) {
      throw MailStoreError("the address book is locked");
    }
    if (operation.ends_with("Recipients.Count")) {
      throw std::runtime_error("gone");
    }
  });
  check("Dave");
  expectOneBox("Relaybird|Error: the address book is locked|none|OK");
}

TEST_F(AddressCheckTest, AFailureThatIsNotTheMailApplicationsIsToldToo) {
  store_.setHook([](std::string_view operation) {
    if (operation == "Application.CreateItem") {
      throw std::runtime_error("out of handles");
    }
  });
  check("Dave");
  expectOneBox("Relaybird|Error: out of handles|none|OK");
}

TEST_F(AddressCheckTest, OneItemServesEveryEntryInASafeItemOfItsOwn) {
  int items = 0;
  int safeItems = 0;
  store_.setHook([&](std::string_view operation) {
    items += operation == "Application.CreateItem" ? 1 : 0;
    safeItems += operation == "SafeItem.Recipients" ? 1 : 0;
  });
  check("Dave; Erin; Frank");
  EXPECT_EQ(items, 1);
  EXPECT_EQ(safeItems, 3);
}

TEST_F(AddressCheckTest, EditingAfterAGoodCheckAppliesWithoutAWarning) {
  check("a@b.example");
  control("frmPrefs", "txtAddress").setText("nobody");
  click("frmPrefs", "cmdOK");
  EXPECT_EQ(dialogs_.boxes.size(), 1U);
}

TEST_F(AddressCheckTest, AListTooLongToCountIsTold) {
  std::string many;
  for (int i = 0; i < 40000; ++i) {
    many += "x;";
  }
  check(many);
  expectOneBox("Relaybird|Error occured parsing out address(es) string|none|OK");
  expectOutcome(false, true);
}

}  // namespace

namespace {

TEST(EmailAddress, NeedsSomethingBeforeTheAtSignAndAPointBehindItThatIsNotLast) {
  RecordingLog log;
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@b.c"));
  EXPECT_TRUE(bolCheckEmailAddress(log, "a b@c@d..e"));
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@.c"));
  for (const char* bad :
       {"", "a", "ab", "@bc.d", "abc@", "a@bc", "a@b.", "a.b@c", "abc.d", "@.c"}) {
    EXPECT_FALSE(bolCheckEmailAddress(log, bad)) << bad;
  }
}

// Only the first point after the at sign is examined.
TEST(EmailAddress, APointAtTheEndIsMissedWhenAnotherComesBeforeIt) {
  RecordingLog log;
  EXPECT_TRUE(bolCheckEmailAddress(log, "a@b.c."));
}

TEST(EmailAddress, TheVerboseLogTellsOfEveryCheck) {
  RecordingLog log;
  log.verboseOn = true;
  bolCheckEmailAddress(log, "a@b.c");
  EXPECT_THAT(log.lines, testing::ElementsAre(" [v]-->bolCheckEmailAddress - (Entered)"));
}

}  // namespace

}  // namespace relaybird
