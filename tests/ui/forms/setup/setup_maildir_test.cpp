// SPDX-License-Identifier: MIT
// A local Maildir in the set-up dialog, and the ways by which forwards leave.
#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;

// The test of the account gets what the file would say.
TEST_F(Setup, AFolderThatIsTypedWithATildeIsTestedByItsWholePath) {
  open();
  at("opbMaildir").click();
  type("txtMaildir", "~/Mail/");
  type("txtAddressBook", "~/people.vcf");
  at("cmbDelivery").setValue(kByLocalCommand);
  type("txtSendmail", "~/bin/send --now");
  press("cmdTestAccount");
  EXPECT_EQ(setup_.tested.maildir, "/home/ann/Mail");
  EXPECT_EQ(setup_.tested.addressBook, "/home/ann/people.vcf");
  EXPECT_EQ(setup_.tested.sendmail, "/home/ann/bin/send --now");
  EXPECT_THAT(in("lblTest"),
              HasSubstr("the Maildir ~/Mail; forwards leave by the command ~/bin/send"));
}

TEST_F(Setup, PathsInTheHomeFolderAreShownShort) {
  mail("maildir=/home/ann/Mail\nsendmail=~/bin/send\naddress_book=/home/anna/people.vcf\n");
  main();
  EXPECT_THAT(text("lblMailbox"),
              HasSubstr("Watches the Maildir ~/Mail. Forwards leave by the command ~/bin/send"));
  open();
  EXPECT_EQ(in("txtMaildir"), "~/Mail");
  EXPECT_EQ(in("txtSendmail"), "~/bin/send");
  EXPECT_EQ(in("txtAddressBook"), "/home/anna/people.vcf") << "another user's home folder";
  press("cmdOK");
  EXPECT_EQ(setup_.reopened, 0) << "nothing has changed";
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("maildir=/home/ann/Mail\nsendmail=~/bin/send\n"));
}

TEST_F(Setup, AMaildirThatWasFoundIsOffered) {
  setup_.maildirs = {"/home/ann/Mail/INBOX", "/home/ann/Maildir"};
  open();
  at("opbMaildir").click();
  EXPECT_FALSE(at("txtPassword").visible());
  EXPECT_EQ(in("txtMaildir"), "~/Mail/INBOX");
  at("cmbFoundMaildir").setValue(1);
  EXPECT_EQ(in("txtMaildir"), "~/Maildir");
  type("txtMaildir", "~/Other");
  EXPECT_EQ(at("cmbFoundMaildir").list().back(), "Another folder");
  EXPECT_EQ(at("cmbFoundMaildir").value(), 2);
  type("txtMaildir", "~/Maildir");
  EXPECT_EQ(at("cmbFoundMaildir").value(), 1);
  at("cmbDelivery").setValue(kByLocalCommand);
  EXPECT_EQ(in("txtSendmail"), "/usr/sbin/sendmail");
  press("cmdOK");
  EXPECT_FALSE(setup().visible()) << lastBox();
  EXPECT_EQ(stored().mailbox, MailboxKind::kMaildir);
  EXPECT_EQ(stored().maildir, "/home/ann/Maildir");
  EXPECT_EQ(stored().delivery, DeliveryKind::kSendmail);
  EXPECT_EQ(stored().address, "ann@host");
}

TEST_F(Setup, AMaildirHasNoServerOfItsOwnToSendBy) {
  open();
  at("opbMaildir").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByLocalCommand);
  at("opbAccount").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByAccount);
  at("opbMaildir").click();
  at("cmbDelivery").setValue(kByAccount);
  press("cmdOK");
  EXPECT_THAT(lastBox(), HasSubstr("A Maildir has no server of its own"));
}

TEST_F(Setup, ACommandThatWasOnlyFoundIsNotStored) {
  open();
  EXPECT_EQ(in("txtSendmail"), "/usr/sbin/sendmail");
  fillAccount();
  press("cmdOK");
  setup_.onKept({});
  EXPECT_THAT(files_.bytes(kPrefFile), HasSubstr("smtp_host=out.firm.example"));
  EXPECT_THAT(files_.bytes(kPrefFile), testing::Not(HasSubstr("sendmail")));
  EXPECT_EQ(setup_.reopened, 1);
}

TEST_F(Setup, TheWayOutThatWasChosenStays) {
  open();
  at("cmbDelivery").setValue(kByNothing);
  at("opbMaildir").click();
  at("opbAccount").click();
  EXPECT_EQ(at("cmbDelivery").value(), kByNothing);
}

TEST_F(Setup, AMaildirThatSendsThroughAProviderIsToldOfTheAppPassword) {
  open();
  at("opbMaildir").click();
  type("txtMaildir", "~/Maildir");
  type("txtMailAddress", "ann@firm.example");
  at("cmbDelivery").setValue(kByOtherServer);
  EXPECT_EQ(in("lblProvider"), "");
  EXPECT_EQ(in("lblSmtpPassword"), "Password:");
  type("txtSmtpHost", "smtp.gmail.com");
  EXPECT_EQ(in("lblProvider"),
            "Gmail needs an app password, not the account's own. Make one here:");
  EXPECT_TRUE(at("lblProvider").visible());
  EXPECT_EQ(in("lnkProviderPage"), "https://myaccount.google.com/apppasswords");
  EXPECT_TRUE(at("lnkProviderPage").visible());
  EXPECT_THAT(in("lblProviderMore"), testing::Not(HasSubstr("built-in list")));
  EXPECT_EQ(in("lblSmtpPassword"), "App password:");
  type("txtSmtpPort", "465");
  type("txtSmtpUser", "ann@gmail.com");
  type("txtSmtpPassword", "abcd efgh ijkl mnop");
  press("cmdTestAccount");
  EXPECT_EQ(setup_.testedSmtpPassword, "abcdefghijklmnop");
  at("cmbDelivery").setValue(kByLocalCommand);
  EXPECT_FALSE(at("lblProvider").visible()) << "Gmail's servers are not asked";
}

TEST_F(Setup, AServerWithoutSignInNeedsNoAppPassword) {
  open();
  at("opbMaildir").click();
  type("txtMailAddress", "ann@gmail.com");
  at("cmbDelivery").setValue(kByOtherServer);
  EXPECT_EQ(in("txtSmtpHost"), "smtp.gmail.com");
  EXPECT_EQ(in("lnkProviderPage"), "https://myaccount.google.com/apppasswords");
  at("cmbSmtpSignIn").setValue(3);
  EXPECT_EQ(in("lblProvider"), "");
  EXPECT_FALSE(at("lnkProviderPage").visible());
}

TEST_F(Setup, AMaildirThatSendsThroughAProviderWithoutAnAddressIsToldBoth) {
  open();
  at("opbMaildir").click();
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpHost", "smtp.gmail.com");
  EXPECT_THAT(in("lblProvider"), testing::EndsWith("Make one here:"));
  EXPECT_THAT(in("lblProviderMore"), HasSubstr("forwards come from ann@host"));
}

TEST_F(Setup, AnAccountThatSendsThroughAnotherProviderIsAskedForItsAppPassword) {
  open();
  fillAccount();
  at("cmbDelivery").setValue(kByOtherServer);
  type("txtSmtpHost", "smtp.gmail.com");
  EXPECT_EQ(in("lblSmtpPassword"), "App password:");
  EXPECT_EQ(in("lblPassword"), "Password:");
}

TEST_F(Setup, AMaildirWithoutAnAddressIsToldWhereForwardsComeFrom) {
  open();
  type("txtMailAddress", "ann@gmail.com");
  at("opbMaildir").click();
  EXPECT_FALSE(at("lblProvider").visible()) << "Gmail's servers are not asked";
  EXPECT_FALSE(at("lnkProviderPage").visible());
  type("txtMailAddress", "");
  EXPECT_TRUE(at("lblProvider").visible());
  EXPECT_THAT(in("lblProvider"), HasSubstr("forwards come from ann@host"));
  at("opbAccount").click();
  EXPECT_FALSE(at("lblProvider").visible());
}

}  // namespace
}  // namespace relaybird
