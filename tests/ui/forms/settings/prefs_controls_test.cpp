// SPDX-License-Identifier: MIT
// The settings dialog's controls as they are at first: tabs, kinds, texts, groups and lists, which
// users' scripts rely on.
#include "ui/forms/settings/prefs_controls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace relaybird {
namespace {

using testing::ElementsAre;
using Kind = ControlKind;

struct Row {
  int tab;  // -1: beside the tabs
  const char* name;
  Kind kind;
  const char* text = "";
};

const std::vector<Row>& rows() {
  static const std::vector<Row> kRows{
      {-1, "tabPrefs", Kind::kTabs},
      {0, "lblEmail", Kind::kLabel,
       "Forward to the following address(es) (separate with semicolons):"},
      {0, "txtAddress", Kind::kTextBox},
      {0, "cmdValidateAd", Kind::kButton, "Check validity of addresses"},
      {0, "lblMinutes", Kind::kLabel, "How often to forward mail (minutes):"},
      {0, "txtMinutes", Kind::kTextBox},
      {0, "lblHours", Kind::kLabel, "(1.00  hours)"},
      {0, "lblMaxToForward", Kind::kLabel, "Maximum number of emails to forward:"},
      {0, "txtMaxToForward", Kind::kTextBox},
      {0, "lblOtherPrefs", Kind::kLabel, "Other preferences:"},
      {0, "chkIgnoreExistingMsg", Kind::kCheckBox, "Ignore existing unread messages"},
      {0, "chkBcc", Kind::kCheckBox, "Address using \"BCC\" instead of \"To\""},
      {0, "Label1", Kind::kLabel, "Startup options:"},
      {0, "chkForwardingOnAtStartup", Kind::kCheckBox,
       "Automatically turn on Email Forwarding when program starts"},
      {0, "chkForwardStart", Kind::kCheckBox,
       "Forward Email once immediately upon turning on forwarding"},
      {1, "lblSize", Kind::kLabel, "Message size:"},
      {1, "chkLimitFileSize", Kind::kCheckBox, "Only forward items smaller than:"},
      {1, "txtMaxFileSize", Kind::kTextBox, "1.0"},
      {1, "lblMaxFileSize", Kind::kLabel, "(megabytes)"},
      {1, "chkIncludeAttachments", Kind::kCheckBox, "Include attachments when forward mail"},
      {2, "lblReceivedFrom", Kind::kLabel, "Received from:"},
      {2, "frmReceivedFrom", Kind::kFrame, "Filter By Sender:"},
      {2, "opbFwdAll", Kind::kOptionButton, "Forward Messages Received From Anyone"},
      {2, "opbFwdAllBut", Kind::kOptionButton, "Forward All Messages Except From ..."},
      {2, "opbFwdOnly", Kind::kOptionButton, "Only Forward Messages From ..."},
      {2, "lblAddresses", Kind::kLabel,
       "List of Email Addresses or Names (separated with semicolons):"},
      {2, "txtAddresses", Kind::kTextBox},
      {2, "cmdGetSenderName", Kind::kButton, "Get Name from Global Address List"},
      {3, "lblContentsFilter", Kind::kLabel, "Filter based on subject / message body text:"},
      {3, "chkContentFilter", Kind::kCheckBox, "Only forward Email containing the following text:"},
      {3, "lblTextToCheck", Kind::kLabel, "Text To Search:"},
      {3, "cmbTextToCheck", Kind::kComboBox},
      {3, "lblTypeOfMatch", Kind::kLabel, "Type of Match:"},
      {3, "cmbTypeOfMatch", Kind::kComboBox},
      {3, "Label3", Kind::kLabel,
       "Text/phrases to look for in emails (separate with semicolons): "},
      {3, "txtWordMatch", Kind::kTextBox},
      {4, "Label2", Kind::kLabel, "Format Messages for cell phone or standard email:"},
      {4, "opbFormatForCellPhone", Kind::kPictureOption},
      {4, "lblFormatForCellTitle", Kind::kLabel, "Cell phone format"},
      {4, "lblFormatForCellDesc", Kind::kLabel,
       "Use this setting if you are forwarding your emails to a cell phone.  This will not include "
       "some of the header information (CC addresses, etc.) so that as much of the actual message "
       "can be sent to you as possible.  "},
      {4, "opbFormatForEmail", Kind::kPictureOption},
      {4, "lblFormatForEmailTitle", Kind::kLabel, "Standard format"},
      {4, "lblFormatForEmailDesc", Kind::kLabel,
       "This will forward the entire message, including CC list of email, etc."},
      {4, "picStoreCellEnabled", Kind::kPicture},
      {4, "picStoreCellDisabled", Kind::kPicture},
      {4, "picStorePcEnabled", Kind::kPicture},
      {4, "picStorePcDisabled", Kind::kPicture},
      {4, "Label8", Kind::kLabel, "Selection:"},
      {4, "lblWhichCellOptionSelected", Kind::kLabel, "Standard formating (not for email)"},
      {4, "opbRegCellPhone", Kind::kOptionButton, "Cell phone format"},
      {4, "opbRegEmail", Kind::kOptionButton, "Standard format"},
      {-1, "cmdOK", Kind::kButton, "OK"},
      {-1, "cmdCancel", Kind::kButton, "Cancel"},
      {-1, "cmdApply", Kind::kButton, "Apply"},
  };
  return kRows;
}

TEST(PrefsControls, StandOnTheirTabsWithTheirKindsAndTexts) {
  const PrefsControls dialog;
  EXPECT_EQ(dialog.caption(), "Settings");
  ASSERT_EQ(dialog.controls().size(), rows().size());
  for (std::size_t i = 0; i < rows().size(); ++i) {
    const Row& row = rows()[i];
    const Control& control = *dialog.controls()[i];
    SCOPED_TRACE(row.name);
    EXPECT_EQ(control.name(), row.name);
    EXPECT_EQ(control.kind(), row.kind);
    EXPECT_EQ(control.text(), row.text);
    EXPECT_EQ(control.tab().value_or(-1), row.tab);
    EXPECT_TRUE(control.enabled());
    const bool isHolder = std::string(row.name).starts_with("picStore");
    EXPECT_EQ(control.visible(), !isHolder);
  }
}

TEST(PrefsControls, NothingIsChosenBeforeTheDialogIsFilled) {
  const PrefsControls dialog;
  for (const Control* control : dialog.controls()) {
    const bool isList = control->kind() == Kind::kComboBox;
    EXPECT_EQ(control->value(), isList ? -1 : 0) << control->name();
  }
}

TEST(PrefsControls, OptionsExcludeOneAnotherWithinTheirGroupsOnly) {
  PrefsControls dialog;
  dialog.opbRegEmail.click();
  for (Control* chosen : {&dialog.opbFwdAll, &dialog.opbFwdAllBut, &dialog.opbFwdOnly}) {
    chosen->click();
    for (const Control* option : {&dialog.opbFwdAll, &dialog.opbFwdAllBut, &dialog.opbFwdOnly}) {
      EXPECT_EQ(option->checked(), option == chosen) << option->name();
    }
  }
  EXPECT_TRUE(dialog.opbRegEmail.checked());
  dialog.opbRegCellPhone.click();
  EXPECT_FALSE(dialog.opbRegEmail.checked());
  EXPECT_TRUE(dialog.opbFwdOnly.checked());
}

TEST(PrefsControls, TheSenderRuleIsInItsFrame) {
  const PrefsControls dialog;
  std::vector<std::string> inFrame;
  for (const Control* control : dialog.controls()) {
    if (control->parent() != nullptr) {
      EXPECT_EQ(control->parent(), &dialog.frmReceivedFrom) << control->name();
      inFrame.push_back(control->name());
    }
  }
  EXPECT_THAT(inFrame, ElementsAre("opbFwdAll", "opbFwdAllBut", "opbFwdOnly", "lblAddresses",
                                   "txtAddresses", "cmdGetSenderName"));
}

TEST(PrefsControls, ListsHaveTheirEntriesInOrder) {
  const PrefsControls dialog;
  EXPECT_THAT(dialog.tabPrefs.list(),
              ElementsAre("General", "Size", "Sender", "Text", "Cell Phone"));
  EXPECT_THAT(dialog.cmbTextToCheck.list(),
              ElementsAre("Subject Text", "Message Body Text", "Subject and Message Text"));
  EXPECT_THAT(dialog.cmbTypeOfMatch.list(), ElementsAre("Contains All of:", "Contains Any of:"));
}

TEST(PrefsControls, WhatAnUncheckedBoxLeavesOutIsGrayAndStaysEnabled) {
  const PrefsControls dialog;
  for (const Control* field : {&dialog.txtMaxFileSize, &dialog.cmbTypeOfMatch,
                               &dialog.cmbTextToCheck, &dialog.txtWordMatch}) {
    EXPECT_EQ(field->foreColor(), kGrayText) << field->name();
    EXPECT_EQ(field->backColor(), kButtonFace) << field->name();
    EXPECT_TRUE(field->enabled()) << field->name();
  }
}

TEST(PrefsControls, TheFourHoldersShowFourPictures) {
  const PrefsControls dialog;
  std::vector<std::string> pictures;
  for (const Control* holder : {&dialog.picStoreCellEnabled, &dialog.picStoreCellDisabled,
                                &dialog.picStorePcEnabled, &dialog.picStorePcDisabled}) {
    pictures.push_back(holder->picture());
    EXPECT_NE(holder->picture(), "");
  }
  std::sort(pictures.begin(), pictures.end());
  EXPECT_EQ(std::unique(pictures.begin(), pictures.end()), pictures.end());
}

TEST(PrefsControls, EnterIsOk) {
  const PrefsControls dialog;
  EXPECT_EQ(dialog.defaultButton(), &dialog.cmdOK);
}

}  // namespace
}  // namespace relaybird
