// SPDX-License-Identifier: MIT
// The console's commands for windows and controls, over the two windows of console_fixture.h.
#include "ui/console/form_commands.h"

#include <gtest/gtest.h>

#include "ui/console/console_fixture.h"

namespace relaybird {
namespace {

class FormCommandsTest : public testing::Test {
 protected:
  // Empty on success, otherwise the error.
  static std::string why(const Result<void>& outcome) {
    return outcome ? "" : outcome.error().text;
  }

  Transcript transcript;
  ScriptOutput out{transcript};
  SmallProgram program;
  MainWindow& window = program.window;
  FormCommands commands{program.forms(), out};
};

TEST_F(FormCommandsTest, ListsTheForms) {
  EXPECT_EQ(why(commands.forms("")), "");
  EXPECT_EQ(transcript.take(),
            "listed: frmMain open \"Main \\\"window\\\"\"\nlisted: frmDialog closed \"Dialog\"\n");
  EXPECT_EQ(why(commands.forms("x")), "this command takes nothing");
}

TEST_F(FormCommandsTest, ShowsAFormAControlToALine) {
  window.cmdGo.setEnabled(false);
  window.chkLoud.setValue(1);
  window.lstLog.setVisible(false);
  EXPECT_EQ(why(commands.show("FRMMAIN")), "");
  EXPECT_EQ(transcript.take(),
            "listed: frmMain open \"Main \\\"window\\\"\"\n"
            "control: lblAction label visible,enabled 0 \"ready\"\n"
            "control: txtState text-box visible,enabled,locked 0 \"Stopped\"\n"
            "control: txtName text-box visible,enabled 0 \"Ann\"\n"
            "control: chkLoud check-box visible,enabled 1 \"&Loud\"\n"
            "control: opbRed option-button visible,enabled 0 \"Red\"\n"
            "control: opbBlue option-button visible,enabled 0 \"Blue\"\n"
            "control: cmbPlace combo-box visible,enabled 0 \"\"\n"
            "control: lstLog list-box hidden,enabled -1 \"\"\n"
            "control: cmdGo button visible,disabled 0 \"&Go\"\n"
            "control: mnuPopup menu visible,enabled 0 \"Popup\"\n"
            "control: mnuRestore menu visible,enabled 0 \"&Restore\"\n"
            "control: tmrTick timer visible,enabled 0 \"\"\n");
}

TEST_F(FormCommandsTest, APasswordIsSetButNotShown) {
  window.txtName.hideText();
  EXPECT_EQ(why(commands.set("frmMain.txtName \"my secret\"")), "");
  EXPECT_EQ(window.txtName.text(), "my secret");
  EXPECT_EQ(why(commands.show("frmMain")), "");
  EXPECT_EQ(why(commands.show("frmMain.txtName")), "");
  EXPECT_EQ(transcript.text.find("my secret"), std::string::npos);
  EXPECT_NE(transcript.text.find("(hidden)"), std::string::npos);
}

TEST_F(FormCommandsTest, ShowsAControlAPropertyToALine) {
  window.lstLog.addItem("one\r\ntwo");
  window.lstLog.addItem("three");
  window.lstLog.setSelection({0, 1});
  window.lstLog.setHorizontalExtent(120);
  window.lstLog.setForeColor(rgb(255, 0, 16));
  window.hide();
  EXPECT_EQ(why(commands.show("frmmain.lstlog")), "");
  EXPECT_EQ(transcript.take(),
            "property: name lstLog\nproperty: kind list-box\nproperty: text \"\"\n"
            "property: value -1\nproperty: visible yes\nproperty: enabled yes\n"
            "property: locked no\nproperty: input no, frmMain is not open\n"
            "property: clicks no\nproperty: fore-color #ff0010\n"
            "property: back-color window-background\nproperty: tool-tip \"\"\n"
            "property: selection 0,1\nproperty: extent 120\nproperty: entries 2\n"
            "property: entry 0 \"one\\r\\ntwo\"\nproperty: entry 1 \"three\"\n");
}

TEST_F(FormCommandsTest, UnknownNamesAreErrors) {
  EXPECT_EQ(why(commands.show("")), "this command takes FORM or FORM.CONTROL");
  EXPECT_EQ(why(commands.show("frmNone")),
            "there is no form \"frmNone\"; there are frmMain, frmDialog");
  EXPECT_EQ(why(commands.show("frmMain.txtNone")), "frmMain has no control \"txtNone\"");
  EXPECT_EQ(why(commands.set("frmMain 1")),
            "\"frmMain\" names no control; one is written FORM.CONTROL");
  EXPECT_EQ(why(commands.click("frmMain.")), "frmMain has no control \"\"");
  EXPECT_EQ(why(commands.click("frmMain.cmdGo twice")), "this command takes FORM.CONTROL");
  EXPECT_EQ(transcript.take(), "");
}

TEST_F(FormCommandsTest, TypesIntoATextBoxAndItsReactionRuns) {
  int changes = 0;
  window.txtName.onChange([&] { ++changes; });
  EXPECT_EQ(why(commands.set("frmMain.TXTNAME  Ann  and Bob ")), "");
  EXPECT_EQ(window.txtName.text(), "Ann  and Bob");
  EXPECT_EQ(why(commands.set("frmMain.txtName \" a\\\\b \"")), "");
  EXPECT_EQ(window.txtName.text(), " a\\b ");
  EXPECT_EQ(why(commands.set("frmMain.txtName")), "");
  EXPECT_EQ(window.txtName.text(), "");
  EXPECT_EQ(changes, 3);
}

TEST_F(FormCommandsTest, ChecksUnchecksAndSelects) {
  EXPECT_EQ(why(commands.set("frmMain.chkLoud ON")), "");
  EXPECT_EQ(window.chkLoud.value(), 1);
  EXPECT_EQ(why(commands.set("frmMain.chkLoud 0")), "");
  EXPECT_EQ(window.chkLoud.value(), 0);
  EXPECT_EQ(why(commands.set("frmMain.chkLoud 2")),
            "frmMain.chkLoud takes 0 or off, 1 or on, not \"2\"");
  EXPECT_EQ(why(commands.set("frmMain.opbRed 1")), "");
  EXPECT_EQ(why(commands.set("frmMain.opbBlue on")), "");
  EXPECT_EQ(window.opbRed.value(), 0);
  EXPECT_EQ(why(commands.set("frmMain.opbBlue 0")),
            "frmMain.opbBlue takes 1 or on; another option of its group switches it off");
  EXPECT_EQ(window.opbBlue.value(), 1);
}

TEST_F(FormCommandsTest, ChoosesAnEntryByItsTextElseByItsPosition) {
  EXPECT_EQ(why(commands.set("frmMain.cmbPlace message body text")), "");
  EXPECT_EQ(window.cmbPlace.value(), 1);
  EXPECT_EQ(why(commands.set("frmMain.cmbPlace 0")), "");
  EXPECT_EQ(window.cmbPlace.value(), 0);
  EXPECT_EQ(why(commands.set("frmMain.cmbPlace 2")), "");
  EXPECT_EQ(window.cmbPlace.value(), 2) << "an entry's text goes before a position";
  for (const char* wrong : {"3", "-1", "99999999999999999999", "Subject"}) {
    EXPECT_NE(why(commands.set(std::string("frmMain.cmbPlace ") + wrong)), "") << wrong;
  }
  EXPECT_EQ(window.cmbPlace.value(), 2);
}

TEST_F(FormCommandsTest, SelectsEntriesOfAList) {
  for (const char* line : {"a", "b", "c"}) {
    window.lstLog.addItem(line);
  }
  EXPECT_EQ(why(commands.set("frmMain.lstLog 2, 0")), "");
  EXPECT_EQ(window.lstLog.selection(), (std::set<std::size_t>{0, 2}));
  EXPECT_EQ(why(commands.set("frmMain.lstLog all")), "");
  EXPECT_EQ(window.lstLog.selection().size(), 3U);
  EXPECT_EQ(why(commands.set("frmMain.lstLog 3")),
            "frmMain.lstLog has no entry \"3\"; it has 3, counted from 0");
  EXPECT_NE(why(commands.set("frmMain.lstLog")), "");
  EXPECT_EQ(window.lstLog.selection().size(), 3U);
  EXPECT_EQ(why(commands.set("frmMain.lstLog none")), "");
  EXPECT_TRUE(window.lstLog.selection().empty());
}

TEST_F(FormCommandsTest, RefusesWhatAUserCouldNotDo) {
  EXPECT_EQ(why(commands.set("frmMain.txtState Running")), "frmMain.txtState cannot be edited");
  EXPECT_EQ(why(commands.set("frmMain.txtName \"a\\nb\"")),
            "frmMain.txtName takes one line of text without control characters");
  EXPECT_EQ(why(commands.set("frmMain.lblAction x")),
            "frmMain.lblAction is a label, which cannot be set");
  EXPECT_EQ(why(commands.set("frmMain.tmrTick 1")),
            "frmMain.tmrTick is a timer, which cannot be set");
  EXPECT_EQ(why(commands.click("frmMain.lblAction")),
            "frmMain.lblAction is a label that does nothing when clicked");
  window.txtName.setEnabled(false);
  EXPECT_EQ(why(commands.set("frmMain.txtName x")), "frmMain.txtName is disabled");
  window.chkLoud.setVisible(false);
  EXPECT_EQ(why(commands.click("frmMain.chkLoud")), "frmMain.chkLoud is hidden");
  EXPECT_EQ(why(commands.click("frmDialog.cmdOk")), "frmDialog is not open");
  program.dialog.showModal(window);
  EXPECT_EQ(why(commands.click("frmMain.cmdGo")), "frmDialog is open in front of frmMain");
  EXPECT_EQ(why(commands.key("frmMain.lstLog V")), "frmDialog is open in front of frmMain");
  EXPECT_EQ(window.txtName.text(), "Ann");
  EXPECT_EQ(window.txtState.text(), "Stopped");
}

TEST_F(FormCommandsTest, ClicksWhatTakesClicks) {
  int clicks = 0;
  window.cmdGo.onClick([&] { ++clicks; });
  window.lblAction.onClick([&] { ++clicks; });
  EXPECT_EQ(why(commands.click("frmMain.cmdGo")), "");
  EXPECT_EQ(why(commands.click("frmMain.lblAction")), "");
  EXPECT_EQ(why(commands.click("frmMain.chkLoud")), "");
  EXPECT_EQ(clicks, 2);
  EXPECT_TRUE(window.chkLoud.checked());
}

TEST_F(FormCommandsTest, PressesKeysWithTheirModifiers) {
  std::vector<std::pair<int, int>> keys;
  window.lstLog.onKeyDown([&](int code, int shift) { keys.emplace_back(code, shift); });
  for (const char* chord : {"Ctrl+Shift+Alt+V", "v", "ALT+9", "F1", "F24", "Shift+Enter"}) {
    EXPECT_EQ(why(commands.key(std::string("frmMain.lstLog ") + chord)), "") << chord;
  }
  EXPECT_EQ(keys, (std::vector<std::pair<int, int>>{
                      {86, 7}, {86, 0}, {57, 4}, {0x70, 0}, {0x87, 0}, {13, 1}}));
  for (const char* wrong : {"Super+V", "F0", "F25", "Ctrl+", "", "Vv", "V V", "+"}) {
    EXPECT_NE(why(commands.key(std::string("frmMain.lstLog ") + wrong)), "") << wrong;
  }
  EXPECT_EQ(keys.size(), 6U);
}

TEST_F(FormCommandsTest, ClosesAWindowByItsFrame) {
  EXPECT_EQ(why(commands.close("frmDialog")), "frmDialog is not open");
  program.dialog.showModal(window);
  EXPECT_EQ(why(commands.close("frmMain")), "frmDialog is open in front of frmMain");
  EXPECT_EQ(why(commands.close("frmdialog")), "");
  EXPECT_FALSE(program.dialog.visible());
}

}  // namespace
}  // namespace relaybird
