// SPDX-License-Identifier: MIT
// What the main window says at its top of the mailbox, and where it leads.
#include "ui/forms/setup/setup_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(Setup, TheFirstStartLeadsHere) {
  setup_.maildirs = {};
  outgoing_.now.outbox = "/outbox";
  outgoing_.now.delivers = false;
  store_.removeComponent(prog_id::kApplication);
  main();
  EXPECT_EQ(text("lblMailbox"), "No mailbox yet.");
  EXPECT_TRUE(control("frmRelaybird", "cmdSetUpMail").visible());
  EXPECT_FALSE(control("frmRelaybird", "lblOutbox").visible()) << "there is no mail to wait";
  dialogs_.answer(BoxAnswer::kYes);
  click("frmRelaybird", "cmdStart");
  EXPECT_THAT(lastBox(), HasSubstr("No mailbox has been set up yet"));
  EXPECT_TRUE(setup().visible());
}

TEST_F(Setup, TheLineSaysWhatWaitsAndHasLeft) {
  mail("maildir=/mail\nsendmail=msmtp\n");
  outgoing_.now.outbox = "/outbox";
  outgoing_.now.left = 3;
  outgoing_.waits = 1;
  main();
  EXPECT_THAT(text("lblMailbox"), HasSubstr("Watches the Maildir /mail. Forwards leave by the "
                                            "command msmtp: 1 waits, 3 have left since "));
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
}

TEST_F(Setup, TheMailboxOfAnotherProgramOffersNothingToSetUp) {
  setup_.maildirs = {};
  setup_.given = "Outlook";
  main();
  EXPECT_EQ(text("lblMailbox"), "Watches the inbox of Outlook. Forwards leave by Outlook.");
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
  EXPECT_FALSE(control("frmRelaybird", "mnuSetUpMail").visible());
  EXPECT_FALSE(control("frmRelaybird", "mnuOutbox").visible()) << "its outbox is not ours";
}

TEST_F(Setup, TheMailboxOfAnotherProgramThatIsNotOpenSaysWhyAndOffersNothingToSetUp) {
  setup_.given = "Outlook";
  setup_.closed = "The mail store \"account\" is not known; there is outlook";
  main();
  EXPECT_EQ(text("lblMailbox"), "The mail store \"account\" is not known; there is outlook");
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
}

// The store was not opened: it has no components at all.
TEST_F(Setup, AMistakeInTheFileLeadsToTheDialogInsteadOfEndingTheProgram) {
  mail(
      "store=account\naddress=ann@firm.example\nimap_host=mail.firm.example\n"
      "imap_port=many\nimap_secret=command\nimap_secret_command=/usr/bin/pass\n");
  setup_.closed = "Section [mail] cannot be used: imap_port=many is not known";
  for (const auto component : {prog_id::kApplication, prog_id::kUtility, prog_id::kDictionary}) {
    store_.removeComponent(component);
  }
  main();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
  EXPECT_THAT(text("lblMailbox"), HasSubstr("imap_port=many is not known"));
  EXPECT_TRUE(control("frmRelaybird", "cmdSetUpMail").visible());
  click("frmRelaybird", "cmdSetUpMail");
  EXPECT_TRUE(setup().visible());
  EXPECT_EQ(in("txtImapHost"), "mail.firm.example");
  EXPECT_EQ(in("txtImapPort"), "993");
  press("cmdOK");
  EXPECT_EQ(lastBox(), "");
  EXPECT_EQ(setup_.reopened, 1) << "OK stores and opens, even if nothing was changed";
  EXPECT_TRUE(readMailSettings(*profiles_.read(kPrefFile), setup_.user()).errors.empty());
  EXPECT_THAT(text("lblMailbox"), HasSubstr("Watches the inbox of ann@firm.example"));
  EXPECT_FALSE(control("frmRelaybird", "cmdSetUpMail").visible());
}

TEST_F(Setup, WhyTheMailboxIsNotOpenIsSaidAtTheTop) {
  mail("maildir=/mail\n");
  setup_.closed = "The command cannot be read.";
  main();
  EXPECT_EQ(text("lblMailbox"), "The command cannot be read.");
}

TEST_F(Setup, AMistakeInTheFileIsSaidAtTheTop) {
  mail("store=account\n");
  main();
  EXPECT_THAT(text("lblMailbox"), HasSubstr("imap_host is missing"));
}

}  // namespace
}  // namespace relaybird
