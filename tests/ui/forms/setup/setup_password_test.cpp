// SPDX-License-Identifier: MIT
// Passwords in the set-up dialog.
#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(Setup, ThePasswordIsInNoFileAndNoControlAfterwards) {
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept({});
  for (const auto& [name, entry] : files_.entries) {
    EXPECT_EQ(entry.bytes.find("pass word"), std::string::npos) << name;
  }
  for (Form* form : program().forms()) {
    for (const Control* each : form->controls()) {
      EXPECT_EQ(each->text().find("pass word"), std::string::npos) << each->name();
    }
  }
  EXPECT_THAT(log(), testing::Not(testing::Contains(HasSubstr("pass word"))));
}

TEST_F(Setup, CancelForgetsThePasswordAndStoresNothing) {
  open();
  fillAccount();
  press("cmdCancel");
  EXPECT_FALSE(setup().visible());
  EXPECT_EQ(in("txtPassword"), "");
  EXPECT_FALSE(files_.has(kPrefFile));
  EXPECT_EQ(setup_.reopened, 0);
}

TEST_F(Setup, AKeyringThatRefusesKeepsTheDialogOpen) {
  open();
  fillAccount();
  press("cmdOK");
  setup_.onKept(Error{0, "this session has no keyring."});
  EXPECT_TRUE(setup().visible());
  EXPECT_THAT(lastBox(), HasSubstr("this session has no keyring."));
  EXPECT_FALSE(files_.has(kPrefFile));
  EXPECT_TRUE(at("cmdOK").enabled());
}

TEST_F(Setup, ABlankAtTheEndOfAPasswordIsAskedAbout) {
  open();
  fillAccount();
  type("txtPassword", "secret ");
  dialogs_.answer(BoxAnswer::kNo);
  press("cmdOK");
  EXPECT_THAT(setup_.kept, IsEmpty());
  dialogs_.answer(BoxAnswer::kYes);
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "secret ");
}

TEST_F(Setup, BlanksOfAnAppPasswordInGroupsAreLeftOut) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtPassword", "abcd efgh ijkl mnop");
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcdefghijklmnop");
}

// The test of the account was refused with a password that the delivery signs in with.
TEST_F(Setup, BlanksOfAnAppPasswordForSendingAreLeftOut) {
  for (const auto& [host, kept] : {std::pair("smtp.gmail.com", "abcdefghijklmnop"),
                                   std::pair("out.firm.example", "abcd efgh ijkl mnop")}) {
    open();
    type("txtMailAddress", "ann@gmail.com");
    type("txtPassword", "abcd efgh ijkl mnop");
    at("cmbDelivery").setValue(kByOtherServer);
    type("txtSmtpHost", host);
    type("txtSmtpUser", "ann@gmail.com");
    type("txtSmtpPassword", "abcd efgh ijkl mnop");
    press("cmdTestAccount");
    EXPECT_EQ(setup_.testedSmtpPassword, kept);
    press("cmdCancel");
  }
}

TEST_F(Setup, BlanksOfAPasswordForAnotherServerStay) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  type("txtImapHost", "mail.firm.example");
  type("txtPassword", "abcd efgh ijkl mnop");
  press("cmdOK");
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcd efgh ijkl mnop");
}

TEST_F(Setup, AKeptPasswordNeedNotBeTypedAgain) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "smtp_host=out.firm.example\n");
  open();
  type("txtMailName", "Another Name");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_THAT(setup_.kept, IsEmpty());
  EXPECT_EQ(setup_.reopened, 1);
  open();
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 1) << "nothing was changed, so a check under way goes on";
  open();
  type("txtImapHost", "other.firm.example");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password."));
}

// It would have been sent the password of another user.
TEST_F(Setup, AKeptPasswordIsThatOfItsUserAlone) {
  mail("store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n");
  open();
  type("txtImapUser", "bob@firm.example");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password."));
  EXPECT_TRUE(setup().visible());
}

TEST_F(Setup, AServerOfItsOwnForSendingWantsItsPassword) {
  open();
  fillAccount();
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpHost", "out.other.example");
  type("txtSmtpUser", "ann");
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("Enter the password of the server for sending."));
  EXPECT_EQ(at("tabSetup").value(), kSendingTab);
  EXPECT_THAT(setup_.kept, IsEmpty());
}

}  // namespace
}  // namespace relaybird
