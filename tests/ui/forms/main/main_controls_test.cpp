// SPDX-License-Identifier: MIT
// The main window's controls as they are at first: order, kinds, texts and states, which users'
// scripts rely on.
#include "ui/forms/main/main_controls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace relaybird {
namespace {

struct Row {
  const char* name;
  ControlKind kind;
  const char* text;
  bool enabled = true;
  bool visible = true;
  const char* parent = "";
};

using Kind = ControlKind;

const std::vector<Row>& rows() {
  static const std::vector<Row> kRows{
      {"cmdToSysTray", Kind::kPictureButton, ""},
      {"tmrSync", Kind::kTimer, ""},
      {"picTextToEmail", Kind::kPicture, ""},
      {"fraDiagnostics", Kind::kFrame, "Diagnostics"},
      {"cmdForwardNow", Kind::kButton, "Test (Forward Once)", true, true, "fraDiagnostics"},
      {"cmdViewLog", Kind::kButton, "View Log ", true, true, "fraDiagnostics"},
      {"picDestPc", Kind::kPicture, ""},
      {"tmrForLabel", Kind::kTimer, ""},
      {"dlgHelpFile", Kind::kFileDialog, ""},
      {"cmdPrefs", Kind::kPictureButton, ""},
      {"tmrMinute", Kind::kTimer, ""},
      {"frmStatus", Kind::kFrame, "Status"},
      {"picTextFwdToCell", Kind::kPicture, ""},
      {"picDestCellPhone", Kind::kPicture, ""},
      {"txtStatusFwdTo", Kind::kTextBox, "", true, true, "frmStatus"},
      {"txtRunningSince", Kind::kTextBox, "-", true, true, "frmStatus"},
      {"txtNumberForwarded", Kind::kTextBox, "0", true, true, "frmStatus"},
      {"txtMinToNextFwd", Kind::kTextBox, "--", true, true, "frmStatus"},
      {"txtStatus", Kind::kTextBox, "Stopped", true, true, "frmStatus"},
      {"lblStatusFwdTo", Kind::kLabel, "Forward to [0 addresses]:", true, true, "frmStatus"},
      {"lblCurrentActions", Kind::kLabel, "", true, true, "frmStatus"},
      {"lblOutbox", Kind::kLabel, "", true, false, "frmStatus"},
      {"Label1", Kind::kLabel, "Running Since:", true, true, "frmStatus"},
      {"lblNumberForwarded", Kind::kLabel, "Number Forwarded:", true, true, "frmStatus"},
      {"lblNextForward", Kind::kLabel, "Minutes to Next Check:", true, true, "frmStatus"},
      {"lblAutomationStatus", Kind::kLabel, "Automation Status:", true, true, "frmStatus"},
      {"cmdClose", Kind::kButton, "Exit"},
      {"cmdStop", Kind::kPictureButton, "", false},
      {"cmdStart", Kind::kPictureButton, ""},
      {"txtLog", Kind::kTextBox, "(Not Running)", true, false},
      {"mnuFile", Kind::kMenu, "&File"},
      {"mnuStart", Kind::kMenu, "&Start", true, true, "mnuFile"},
      {"mnuStop", Kind::kMenu, "S&top", false, true, "mnuFile"},
      {"mnuAutostart", Kind::kCheckBox, "Start with the &desktop", true, true, "mnuFile"},
      {"mnuExit", Kind::kMenu, "&Exit", true, true, "mnuFile"},
      {"mnuEdit", Kind::kMenu, "&Edit"},
      {"mnuPreferences", Kind::kMenu, "Se&ttings...", true, true, "mnuEdit"},
      {"mnuOutbox", Kind::kMenu, "&Outbox"},
      {"mnuTryAgain", Kind::kMenu, "&Try Again Now", true, true, "mnuOutbox"},
      {"mnuOpenWaiting", Kind::kMenu, "Open Folder of &Waiting Messages", true, true, "mnuOutbox"},
      {"mnuOpenRefused", Kind::kMenu, "Open Folder of &Refused Messages", true, true, "mnuOutbox"},
      {"mnuDiagnostics", Kind::kMenu, "&Diagnostics"},
      {"mnuTest", Kind::kMenu, "&Test (Forward Once)", true, true, "mnuDiagnostics"},
      {"mnuViewLog", Kind::kMenu, "&View Log", true, true, "mnuDiagnostics"},
      {"mnuHelp", Kind::kMenu, "&Help"},
      {"mnuIndex", Kind::kMenu, "&Help Index...", true, true, "mnuHelp"},
      {"mnuAbout", Kind::kMenu, "&About...", true, true, "mnuHelp"},
      {"RcPopup", Kind::kMenu, "RcPopup", true, false},
      {"mnuRestore", Kind::kMenu, "Restore", true, true, "RcPopup"},
      {"lblCheckFailure", Kind::kLabel, "", true, false, "frmStatus"},
      {"lblMailbox", Kind::kLabel, ""},
      {"cmdSetUpMail", Kind::kButton, "Set &up mail...", true, false},
      {"mnuSetUpMail", Kind::kMenu, "Set &Up Mail...", true, true, "mnuEdit"},
  };
  return kRows;
}

TEST(MainControls, StandInTheOrderOfDeclarationWithTheirKindsTextsAndStates) {
  const MainControls window;
  ASSERT_EQ(window.controls().size(), rows().size());
  for (std::size_t i = 0; i < rows().size(); ++i) {
    const Row& row = rows()[i];
    const Control& control = *window.controls()[i];
    SCOPED_TRACE(row.name);
    EXPECT_EQ(control.name(), row.name);
    EXPECT_EQ(control.kind(), row.kind);
    EXPECT_EQ(control.text(), row.text);
    EXPECT_EQ(control.enabled(), row.enabled);
    EXPECT_EQ(control.visible(), row.visible);
    EXPECT_EQ(control.parent() == nullptr ? "" : control.parent()->name(), row.parent);
  }
}

TEST(MainControls, WhatTheWindowTellsCannotBeEdited) {
  const MainControls window;
  for (const Control* control : window.controls()) {
    EXPECT_EQ(control->locked(), control->kind() == ControlKind::kTextBox) << control->name();
  }
}

TEST(MainControls, PictureButtonsHaveAPictureAndAToolTip) {
  const MainControls window;
  for (const Control* control : window.controls()) {
    if (control->kind() == ControlKind::kPictureButton) {
      EXPECT_NE(control->toolTip(), "") << control->name();
      EXPECT_NE(control->picture(), "") << control->name();
    }
  }
  EXPECT_EQ(window.cmdStop.toolTip(), "Stop Forwarding Email");
}

TEST(MainControls, AButtonThatCanBeDisabledSaysWhy) {
  MainControls window;
  for (Control* button : {&window.cmdStart, &window.cmdStop, &window.cmdForwardNow}) {
    button->setEnabled(true);
    const std::string use = button->toolTip();
    EXPECT_EQ(button->tip(), use) << button->name();
    button->setEnabled(false);
    EXPECT_NE(button->tip(), use) << button->name();
    EXPECT_NE(button->tip(), "") << button->name();
    EXPECT_EQ(button->toolTip(), use) << "names it still";
  }
}

TEST(MainControls, AStoppedProgramShowsRed) {
  const MainControls window;
  EXPECT_EQ(window.txtStatus.backColor(), rgb(255, 0, 0));
  EXPECT_EQ(window.lblCurrentActions.foreColor(), rgb(255, 0, 0));
}

}  // namespace
}  // namespace relaybird
