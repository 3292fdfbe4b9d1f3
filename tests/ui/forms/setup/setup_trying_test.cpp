// SPDX-License-Identifier: MIT
// The tab Test: the test of an account, and the test message.
#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(Setup, NothingIsReportedToADialogThatWasCancelled) {
  open();
  fillAccount();
  press("cmdTestAccount");
  press("cmdCancel");
  EXPECT_EQ(setup_.stops, 1);
  EXPECT_FALSE(setup_.onLine) << "the reports of the test were not taken back";
}

TEST_F(Setup, TheTestShowsEachStepAndCanBeStopped) {
  open();
  fillAccount();
  press("cmdTestAccount");
  EXPECT_EQ(setup_.tests, 1);
  EXPECT_EQ(setup_.tested.imap.server.host, "mail.firm.example");
  EXPECT_EQ(setup_.testedPassword, "pass word");
  EXPECT_FALSE(files_.has(kPrefFile)) << "a test stores nothing";
  EXPECT_FALSE(at("cmdOK").enabled());
  setup_.onLine({TestLine::Kind::kGood, "connected"});
  setup_.onLine({TestLine::Kind::kProblem, "wrong password"});
  setup_.onLine({TestLine::Kind::kAdvice, "type it again"});
  press("cmdStopTest");
  EXPECT_EQ(setup_.stops, 1);
  setup_.onEnd(false);
  EXPECT_THAT(in("txtTest"), HasSubstr("OK: connected\r\nProblem: wrong password\r\n"
                                       "What to do: type it again\r\nProblem: The test is over"));
  EXPECT_TRUE(at("cmdOK").enabled());
}

TEST_F(Setup, ATestMessageGoesToTheForwardAddressesAfterAQuestion) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  open();
  dialogs_.answer(BoxAnswer::kNo);
  press("cmdSendTest");
  EXPECT_THAT(sentSubjects(), IsEmpty());
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdSendTest");
  EXPECT_THAT(lastBox(), HasSubstr("5550100@sms.example.net"));
  ASSERT_EQ(store_.outbox().size(), 1u);
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"Test message from Relaybird"});
  outgoing_.now.left = 1;
  ASSERT_TRUE(outgoing_.tried);
  outgoing_.tried();
  EXPECT_THAT(in("txtTest"), HasSubstr("OK: 1 message has left this computer"));
}

// As when the console's command `setup message` finds a mailbox that could not be opened before.
TEST_F(Setup, ATestMessageForACommandWaitsUntilTheFormerMailboxIsClosed) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  main();
  setup_.closed = "Another Relaybird has this mailbox.";
  setup_.saysGoodbye = true;
  setup().openFor(main(), setup().cmdSendTest);
  EXPECT_TRUE(setup().visible());
  EXPECT_THAT(sentSubjects(), IsEmpty());
  dialogs_.answer(BoxAnswer::kYes);
  setup_.onClosed();
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"Test message from Relaybird"});
  EXPECT_TRUE(setup().visible()) << "it is on its way";
  outgoing_.tried();
  EXPECT_FALSE(setup().visible());
}

TEST_F(Setup, ADialogForACommandClosesIfTheTestMessageIsDeclinedAfterAll) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  main();
  setup_.closed = "Another Relaybird has this mailbox.";
  setup_.saysGoodbye = true;
  setup().openFor(main(), setup().cmdSendTest);
  dialogs_.answer(BoxAnswer::kNo);
  setup_.onClosed();
  EXPECT_THAT(sentSubjects(), IsEmpty());
  EXPECT_FALSE(setup().visible());
}

TEST_F(Setup, ATestMessageNeedsAnAddress) {
  main();
  open();
  fillAccount();
  press("cmdSendTest");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("There is no address to forward to yet."));
  EXPECT_TRUE(at("cmdSendTest").enabled());
}

TEST_F(Setup, ATestMessageAsksForTheFirstAddressInsteadOfSendingTheUserAway) {
  main();
  open();
  fillAccount();
  dialogs_.enter("5550100@sms.example.net");
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdSendTest");
  setup_.onKept({});
  EXPECT_THAT(lastBox(), HasSubstr("5550100@sms.example.net"));
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"Test message from Relaybird"});
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("mstrFwdToAddress_1=5550100@sms.example.net"));
}

}  // namespace
}  // namespace relaybird
