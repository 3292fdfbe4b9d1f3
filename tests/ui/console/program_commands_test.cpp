// SPDX-License-Identifier: MIT
// The console's commands over the whole program: each replies with its real result. The forms run
// over the world in memory; its queue of answers plays the user at the boxes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/console/console_desktop.h"
#include "ui/console/console_fixture.h"
#include "ui/console/program_commands.h"
#include "ui/forms/main/program_fixture.h"
#include "ui/forms/settings/prefs_controls.h"

namespace relaybird {
namespace {

using testing::IsEmpty;

class ProgramCommandsTest : public ProgramTest {
 protected:
  ProgramCommands& commands() {
    if (!commands_) {
      commands_ = std::make_unique<ProgramCommands>(
          program(), outgoing_, [] { return std::vector<Fact>{}; }, Manual{}, decimalSeparator_,
          [this](const std::function<bool()>& done) {
            if (!done()) {
              ++waits_;
              whileWaiting_();
            }
          });
    }
    return *commands_;
  }
  // "ok", or the text of the error.
  static std::string said(const Result<void>& outcome) {
    return outcome ? "ok" : outcome.error().text;
  }
  std::string start() {
    dialogs_.answer(BoxAnswer::kYes);
    return said(commands().start());
  }
  std::string test() {
    dialogs_.answer(BoxAnswer::kOk);
    dialogs_.answer(BoxAnswer::kYes);
    return said(commands().test());
  }
  // Starts a synchronisation that ends only when the test ends it.
  void synchronise() {
    store_.setSyncEndsByItself(false);
    main().engine().schedule().SyncStart();
    ASSERT_TRUE(state().syncBusy);
  }
  // Runs `event` once, while a check is at its first item.
  void inACheck(std::function<void()> event) {
    screen_.onProcessPendingEvents = [this, event = std::move(event)] {
      if (status().starts_with("Checking unread") && !std::exchange(inside_, true)) {
        event();
      }
    };
    deliver("lunch");
    main().engine().pass().ForwardMail();
    ASSERT_TRUE(inside_);
    screen_.onProcessPendingEvents = {};
  }

  std::unique_ptr<ProgramCommands> commands_;
  int waits_ = 0;
  std::function<void()> whileWaiting_ = [] {};
  bool inside_ = false;
};

TEST_F(ProgramCommandsTest, StartIsNotRefusedByASynchronisation) {
  oneAddress();
  (void)program();
  synchronise();
  EXPECT_EQ(start(), "ok");
  EXPECT_TRUE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, SetupOfAMailboxOfAnotherProgramIsRefused) {
  setup_.given = "Outlook";
  (void)program();
  const std::string refused = "there is nothing to set up here: Watches the inbox of Outlook.";
  EXPECT_EQ(said(commands().setUp()), refused);
  EXPECT_EQ(said(commands().testSetup()), refused);
  EXPECT_EQ(said(commands().sendTestMessage()), refused);
  EXPECT_FALSE(program().setup().visible());
}

// The next line of a script may be `start`.
TEST_F(ProgramCommandsTest, SetupEndsWhenTheFormerMailboxIsClosed) {
  oneAddress();
  main();
  setup_.saysGoodbye = true;
  whileWaiting_ = [this] {
    EXPECT_EQ(start(), "frmSetup is open in front of frmRelaybird");
    setup_.onClosed();
  };
  for (const char* answer : {"2", "1", "ann@firm.example", "", "", "", "", "1"}) {
    dialogs_.enter(answer);
  }
  EXPECT_EQ(said(commands().setUp()), "ok");
  EXPECT_EQ(waits_, 1);
  EXPECT_FALSE(program().setup().visible());
}

TEST_F(ProgramCommandsTest, StartDuringACheckIsRefused) {
  oneAddress();
  (void)program();
  inACheck([this] { EXPECT_EQ(start(), "a check is under way"); });
  EXPECT_FALSE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, StartWhileAStoppedCheckFinishesWaitsForItsEnd) {
  oneAddress();
  (void)program();
  EXPECT_EQ(start(), "ok");
  inACheck([this] {
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(start(), "ok");
    EXPECT_FALSE(state().forwardingOn);
  });
  EXPECT_FALSE(commands().idle());
  letPass(std::chrono::seconds{1});
  EXPECT_TRUE(state().forwardingOn);
}

TEST_F(ProgramCommandsTest, StopForgetsAStartThatWaits) {
  oneAddress();
  (void)program();
  EXPECT_EQ(start(), "ok");
  inACheck([this] {
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(start(), "ok");
    EXPECT_EQ(said(commands().stop()), "ok");
    EXPECT_EQ(said(commands().stop()), "forwarding is off");
  });
  letPass(std::chrono::seconds{1});
  EXPECT_FALSE(state().forwardingOn);
}

// The reply was "ok" although a box had reported a failure.
TEST_F(ProgramCommandsTest, AStartThatTheUserDidNotConfirmIsAnError) {
  oneAddress();
  (void)program();
  dialogs_.answer(BoxAnswer::kNo);
  EXPECT_EQ(said(commands().start()), "forwarding was not switched on");
}

TEST_F(ProgramCommandsTest, AStartThatOpensNoMailboxIsAnError) {
  oneAddress();
  (void)program();
  store_.removeComponent(prog_id::kApplication);
  EXPECT_EQ(start(), "forwarding was not switched on");
}

TEST_F(ProgramCommandsTest, ATestThatTheUserDoesNotWantIsAnError) {
  oneAddress();
  (void)program();
  dialogs_.answer(BoxAnswer::kCancel);
  EXPECT_EQ(said(commands().test()), "the test was not run");
}

TEST_F(ProgramCommandsTest, ATestWhileForwardingIsOnIsAnError) {
  oneAddress();
  (void)program();
  EXPECT_EQ(start(), "ok");
  EXPECT_EQ(said(commands().test()), "the test was not run");
}

TEST_F(ProgramCommandsTest, ATestWhoseCheckHadAProblemIsAnError) {
  oneAddress();
  (void)program();
  deliver("lunch");
  EXPECT_EQ(test(), "ok");
  for (const char* failing : {"ItemCollection.Restrict", "SafeItem.send"}) {
    SCOPED_TRACE(failing);
    letPass(std::chrono::minutes{1});
    deliver("supper");
    store_.setHook([failing](std::string_view call) {
      if (call == failing) {
        throw MailStoreError("the disk is full");
      }
    });
    EXPECT_EQ(test(), "there was a problem; see the log");
    store_.setHook({});
    events_.runUntilIdle();
  }
}

// The reply depended only on the check, while the closing box reported a problem of the same test.
TEST_F(ProgramCommandsTest, ATestWhoseForwardsAreHeldBackIsAnErrorThatCountsThem) {
  oneAddress();
  outgoing_.now.outbox = "/state/outbox";
  outgoing_.now.refused = 2;
  outgoing_.now.left = 4;
  (void)program();
  deliver("lunch");
  store_.setHook([this](std::string_view call) {
    if (call == "SafeItem.send") {
      outgoing_.now.refused = 3;
      outgoing_.now.left = 5;
      outgoing_.now.kept = 1;
      outgoing_.waits = 1;
    }
  });
  EXPECT_EQ(test(),
            "1 message has left this computer, 1 was refused for good, and 1 waits in the outbox "
            "/state/outbox. 1 message was refused for now and kept for a later try.");
}

TEST_F(ProgramCommandsTest, ATestWhoseForwardsOnlyWaitForTheirTurnIsNoError) {
  oneAddress();
  outgoing_.now.outbox = "/state/outbox";
  outgoing_.now.refused = 2;
  outgoing_.waits = 1;
  (void)program();
  deliver("lunch");
  EXPECT_EQ(test(), "ok");
}

// "7,5" was stored as 7.5, but reported as an error.
TEST_F(ProgramCommandsTest, ANumberWithTheUsersDecimalCommaIsStoredAndNoError) {
  decimalSeparator_ = ",";
  oneAddress();
  (void)program();
  for (const char* value : {"7,5", "7.5", "30"}) {
    EXPECT_EQ(said(commands().changeSetting("txtMinutes", value)), "ok") << value;
  }
  EXPECT_EQ(said(commands().changeSetting("txtMinutes", "7,5")), "ok");
  EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "7.5");
}

// When both options had been stored by hand, the box about them blocked a script.
TEST_F(ProgramCommandsTest, ListingTheSettingsOpensNoBox) {
  oneAddress("mbolFwdUponStart=1\nmbolTurnOnFwdOnStartup=1\n");
  (void)program();
  dialogs_.boxes.clear();
  (void)commands().settings();
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

TEST_F(ProgramCommandsTest, ASettingIsStoredHoweverItsValueIsWritten) {
  oneAddress();
  (void)program();
  for (const auto& [name, value] :
       std::vector<std::pair<const char*, const char*>>{{"txtMinutes", "30"},
                                                        {"txtMinutes", "2.50"},
                                                        {"txtAddress", "a@b.example;c@d.example"},
                                                        {"txtAddresses", "bob"},
                                                        {"chkBcc", "ON"},
                                                        {"chkBcc", "0"},
                                                        {"opbFwdOnly", "1"},
                                                        {"cmbTextToCheck", "message body text"},
                                                        {"cmbTextToCheck", "0"},
                                                        {"chkForwardStart", "on"}}) {
    EXPECT_EQ(said(commands().changeSetting(name, value)), "ok") << name << " " << value;
  }
  EXPECT_THAT(dialogs_.boxes, IsEmpty());
}

// The reply was "ok" although a box had refused the value.
TEST_F(ProgramCommandsTest, ASettingThatABoxRefusesIsAnErrorAndLeavesNothingBehind) {
  oneAddress();
  (void)program();
  EXPECT_EQ(said(commands().changeSetting("txtMinutes", "1.9")),
            "the settings were not stored: the box that came up says why");
  EXPECT_EQ(control("frmPrefs", "txtMinutes").text(), "15");
  EXPECT_FALSE(program().settings().visible());
  EXPECT_EQ(start(), "ok");
}

TEST_F(ProgramCommandsTest, ASettingThatARuleTakesBackIsAnError) {
  oneAddress("mbolFwdUponStart=1\n");
  (void)program();
  EXPECT_EQ(said(commands().changeSetting("chkForwardingOnAtStartup", "on")),
            "chkForwardingOnAtStartup was not changed: the box that came up says why");
  EXPECT_FALSE(program().settings().visible());
  EXPECT_TRUE(main().prf().bolFwdOnActivateForwarding());
}

TEST_F(ProgramCommandsTest, ASettingThatIsStoredAsAnotherIsAnErrorThatNamesIt) {
  oneAddress();
  (void)program();
  EXPECT_EQ(said(commands().changeSetting("txtMaxToForward", "10.6")),
            "txtMaxToForward is now \"11\", not \"10.6\"");
}

TEST_F(ProgramCommandsTest, ASettingThatTheDiskRefusesIsAnError) {
  oneAddress();
  (void)program();
  files_.failCallsWith("create", ENOSPC);
  EXPECT_EQ(said(commands().changeSetting("txtMinutes", "30")),
            "the settings were not stored: the box that came up says why");
}

TEST_F(ProgramCommandsTest, TheLineAboutTheMailboxIsThatOfTheMainWindow) {
  (void)program();
  EXPECT_THAT(commands().mailboxLine(), testing::Not(testing::IsEmpty()));
  EXPECT_EQ(commands().mailboxLine(), main().lblMailbox.text());
}

TEST_F(ProgramCommandsTest, StatusTellsSinceWhenChecksHaveFailedAndWhy) {
  oneAddress();
  (void)program();
  store_.setHook([](std::string_view call) {
    if (call == "ItemCollection.Restrict") {
      throw MailStoreError("the disk is full");
    }
  });
  main().engine().pass().ForwardMail();
  EXPECT_THAT(commands().status(),
              testing::AllOf(testing::Contains(Fact{"checks-fail-since", "2026-11-20 09:00:00"}),
                             testing::Contains(Fact{"last-failure", "the disk is full"})));
  store_.setHook({});
  main().engine().pass().ForwardMail();
  for (const Fact& fact : commands().status()) {
    EXPECT_NE(fact.first, "checks-fail-since");
  }
}

}  // namespace

namespace {

const Setting* find(const std::vector<Setting>& settings, const std::string& name) {
  for (const Setting& setting : settings) {
    if (setting.name == name) {
      return &setting;
    }
  }
  return nullptr;
}

TEST(SettingsList, HoldsEveryFieldOfTheDialogWithItsTabAndMeaning) {
  PrefsControls dialog;
  dialog.txtMinutes.setText("15");
  dialog.chkBcc.setValue(1);
  dialog.cmbTextToCheck.setValue(1);
  const auto settings = settingsOf(dialog, dialog.tabPrefs);
  EXPECT_EQ(settings.size(), 20U);
  const Setting* minutes = find(settings, "txtMinutes");
  ASSERT_NE(minutes, nullptr);
  EXPECT_EQ(minutes->tab, "General");
  EXPECT_EQ(minutes->value, "15");
  EXPECT_EQ(minutes->meaning, "How often to forward mail (minutes):");
  EXPECT_EQ(find(settings, "chkBcc")->value, "on");
  EXPECT_EQ(find(settings, "opbFwdOnly")->value, "off");
  EXPECT_EQ(find(settings, "txtMaxFileSize")->meaning, "Only forward items smaller than:");
  EXPECT_EQ(find(settings, "cmbTextToCheck")->value, "Message Body Text");
  EXPECT_EQ(find(settings, "cmbTypeOfMatch")->value, "") << "nothing is chosen";
  EXPECT_EQ(find(settings, "cmdOK"), nullptr);
}

TEST(ConsoleClipboard, GivesTheTextToTheTerminalInBase64) {
  Transcript terminal;
  Transcript notes;
  ScriptOutput out(notes);
  ConsoleClipboard clipboard(&terminal, out);
  for (const auto& [text, digits] :
       std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                        {"f", "Zg=="},
                                                        {"fo", "Zm8="},
                                                        {"foo", "Zm9v"},
                                                        {"foob", "Zm9vYg=="},
                                                        {"\xff\xfe\x00", "//4="}}) {
    EXPECT_TRUE(clipboard.setText(text));
    EXPECT_EQ(terminal.take(), "\x1b]52;c;" + digits + "\x07");
  }
}

TEST(ConsoleClipboard, SaysWhereThereIsNoneAndWhenTheTextIsTooLong) {
  Transcript terminal;
  ScriptOutput out(terminal);
  EXPECT_FALSE(ConsoleClipboard(nullptr, out).setText("x"));
  EXPECT_FALSE(ConsoleClipboard(&terminal, out).setText(std::string(80000, 'x')));
  EXPECT_EQ(terminal.take(), "");
}

TEST(ConsoleHelpViewer, PointsToTheTopicsThatCanBeReadHere) {
  Transcript transcript;
  ScriptOutput out(transcript);
  EXPECT_TRUE(ConsoleHelpViewer(out, {"rules  The rules"}).show("/usr/share/rbx.chm", ""));
  EXPECT_EQ(transcript.take(),
            "note: the manual is in /usr/share/rbx.chm; help TOPIC shows a topic of it here\n"
            "topic: rules  The rules\n");
}

}  // namespace

}  // namespace relaybird
