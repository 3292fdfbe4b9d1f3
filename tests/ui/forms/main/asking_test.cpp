// SPDX-License-Identifier: MIT
// Which controls may open a box. A front end that runs events while a check pauses delays clicks on
// these controls until the pause is over, because the check would wait for the answer. A control
// that is not marked would block every later check until somebody answers.
#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class AskingTest : public ProgramTest {
 protected:
  // A program whose desktop services all fail and whose stored settings contradict each other.
  void makeBrokenProgram() {
    program_.reset();
    oneAddress("mbolTurnOnFwdOnStartup=1\nmbolFwdUponStart=1\n");
    clipboard_.broken = true;
    systemInformation_.broken = true;
    folderViewer_.broken = true;
    autostart_.broken = true;
    outgoing_.now.outbox = "/nowhere";
    outgoing_.now.delivers = true;
    outgoing_.broken = true;
    outgoing_.waits = 1;
    makeProgram();
    (void)program().main().load();
    program().main().show();
    timers_.advance(std::chrono::seconds{1});
    events_.runUntilIdle();
    dialogs_.boxes.clear();
    dialogs_.inputs.clear();
    dialogs_.files.clear();
  }
  std::vector<std::string> namesWhere(bool (*wanted)(const Control&)) {
    std::vector<std::string> names;
    for (Form* form : program().forms()) {
      for (const Control* each : form->controls()) {
        if (wanted(*each)) {
          names.push_back(form->name() + "." + each->name());
        }
      }
    }
    return names;
  }
  bool hasAsked() const {
    return !dialogs_.boxes.empty() || !dialogs_.inputs.empty() || !dialogs_.files.empty();
  }
  // Clicks while all windows are open and all fields are filled in.
  bool asksWhenClicked(const std::string& name) {
    makeBrokenProgram();
    const std::size_t point = name.find('.');
    Control& part = control(name.substr(0, point), name.substr(point + 1));
    (void)program().settings().fillSilently();
    program().settings().txtMinutes.setText("1");
    if (part.kind() == ControlKind::kCheckBox) {
      part.setValue(0);
    }
    dialogs_.boxes.clear();
    part.setEnabled(true);
    part.click();
    return hasAsked();
  }
};

TEST_F(AskingTest, TheControlsThatMayAskAreThese) {
  makeBrokenProgram();
  EXPECT_THAT(
      namesWhere([](const Control& each) { return each.asks(); }),
      ElementsAre("frmRelaybird.cmdToSysTray", "frmRelaybird.picTextToEmail",
                  "frmRelaybird.cmdForwardNow", "frmRelaybird.picDestPc", "frmRelaybird.cmdPrefs",
                  "frmRelaybird.picTextFwdToCell", "frmRelaybird.picDestCellPhone",
                  "frmRelaybird.txtStatusFwdTo", "frmRelaybird.cmdStart", "frmRelaybird.mnuStart",
                  "frmRelaybird.mnuAutostart", "frmRelaybird.mnuPreferences",
                  "frmRelaybird.mnuTryAgain", "frmRelaybird.mnuOpenWaiting",
                  "frmRelaybird.mnuOpenRefused", "frmRelaybird.mnuTest", "frmRelaybird.mnuIndex",
                  "frmPrefs.cmdValidateAd", "frmPrefs.chkForwardingOnAtStartup",
                  "frmPrefs.chkForwardStart", "frmPrefs.cmdGetSenderName", "frmPrefs.cmdOK",
                  "frmPrefs.cmdApply", "frmLog.cmdCopyToClip", "frmLog.cmdSaveAs", "frmLog.mnuCopy",
                  "frmLog.mnuCopyAll", "frmLog.mnuSaveAs", "frmAbout.cmdSysInfo",
                  "frmAbout.lnkHomepage", "frmSetup.lnkProviderPage", "frmSetup.cmdTestAccount",
                  "frmSetup.cmdSendTest", "frmSetup.cmdOK"));
}

TEST_F(AskingTest, TheSettingsOpenDuringAPauseWhereNothingContradicts) {
  oneAddress();
  EXPECT_FALSE(main().cmdPrefs.asks());
  EXPECT_FALSE(main().mnuPreferences.asks());
  EXPECT_FALSE(main().txtStatusFwdTo.asks());
}

TEST_F(AskingTest, ACopyThatFailedAskedInsideThePauseOfACheck) {
  EXPECT_TRUE(program().log().cmdCopyToClip.asks());
  EXPECT_TRUE(program().about().cmdSysInfo.asks());
}

// Clicks every control once, each in a new program.
TEST_F(AskingTest, NothingElseAsksWhateverFails) {
  makeBrokenProgram();
  const auto clickable = namesWhere([](const Control& each) { return each.takesClicks(); });
  const auto marked = namesWhere([](const Control& each) { return each.asks(); });
  std::vector<std::string> asked;
  for (const std::string& name : clickable) {
    if (asksWhenClicked(name)) {
      asked.push_back(name);
      EXPECT_THAT(marked, Contains(name));
    }
  }
  // Without a failure no box opens, and the test would find nothing: check that boxes did open.
  EXPECT_THAT(asked, Contains("frmLog.cmdCopyToClip"));
  EXPECT_THAT(asked, Contains("frmAbout.cmdSysInfo"));
  EXPECT_THAT(asked, Contains("frmAbout.lnkHomepage"));
  EXPECT_THAT(asked, Contains("frmRelaybird.cmdPrefs"));
  EXPECT_THAT(asked, Contains("frmPrefs.chkForwardStart"));
}

}  // namespace
}  // namespace relaybird
