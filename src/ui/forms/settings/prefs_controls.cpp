// SPDX-License-Identifier: MIT
#include "ui/forms/settings/prefs_controls.h"

#include <initializer_list>

namespace relaybird {
namespace {

void putOnTab(PrefsTab tab, std::initializer_list<Control*> controls) {
  for (Control* control : controls) {
    control->setTab(tab);
  }
}

}  // namespace

PrefsControls::PrefsControls() : Form("frmPrefs", "Settings") {
  placeOnTabs();
  fillLists();
  for (Control* part :
       {&opbFwdAll, &opbFwdAllBut, &opbFwdOnly, &lblAddresses, &txtAddresses, &cmdGetSenderName}) {
    part->setParent(frmReceivedFrom);
  }
  for (Control* option : {&opbFwdAll, &opbFwdAllBut, &opbFwdOnly}) {
    option->setGroup("sender");
  }
  for (Control* option : {&opbRegCellPhone, &opbRegEmail}) {
    option->setGroup("format");
  }
  for (Control* holder :
       {&picStoreCellEnabled, &picStoreCellDisabled, &picStorePcEnabled, &picStorePcDisabled}) {
    holder->setPicture(holder->name());
    holder->setVisible(false);
  }
  // As the unchecked boxes have it.
  for (Control* field : {&txtMaxFileSize, &cmbTypeOfMatch, &cmbTextToCheck, &txtWordMatch}) {
    showAsApplying(*field, false);
  }
  for (Control* asking : {&cmdOK, &cmdApply, &cmdValidateAd, &cmdGetSenderName,
                          &chkForwardingOnAtStartup, &chkForwardStart}) {
    asking->setAsks();
  }
  // A button without an action owes its user a word.
  cmdGetSenderName.setToolTip(
      "There is no Global Address List here to take names from. Type addresses or names into the "
      "list.");
  setDefaultButton(cmdOK);
  setCancelButton(cmdCancel);
}

void PrefsControls::placeOnTabs() {
  putOnTab(kGeneralTab,
           {&lblEmail, &txtAddress, &cmdValidateAd, &lblMinutes, &txtMinutes, &lblHours,
            &lblMaxToForward, &txtMaxToForward, &lblOtherPrefs, &chkIgnoreExistingMsg, &chkBcc,
            &Label1, &chkForwardingOnAtStartup, &chkForwardStart});
  putOnTab(kSizeTab,
           {&lblSize, &chkLimitFileSize, &txtMaxFileSize, &lblMaxFileSize, &chkIncludeAttachments});
  putOnTab(kSenderTab, {&lblReceivedFrom, &frmReceivedFrom, &opbFwdAll, &opbFwdAllBut, &opbFwdOnly,
                        &lblAddresses, &txtAddresses, &cmdGetSenderName});
  putOnTab(kTextTab, {&lblContentsFilter, &chkContentFilter, &lblTextToCheck, &cmbTextToCheck,
                      &lblTypeOfMatch, &cmbTypeOfMatch, &Label3, &txtWordMatch});
  putOnTab(kCellPhoneTab,
           {&Label2, &opbFormatForCellPhone, &lblFormatForCellTitle, &lblFormatForCellDesc,
            &opbFormatForEmail, &lblFormatForEmailTitle, &lblFormatForEmailDesc,
            &picStoreCellEnabled, &picStoreCellDisabled, &picStorePcEnabled, &picStorePcDisabled,
            &Label8, &lblWhichCellOptionSelected, &opbRegCellPhone, &opbRegEmail});
}

void PrefsControls::fillLists() {
  for (const char* tab : {"General", "Size", "Sender", "Text", "Cell Phone"}) {
    tabPrefs.addItem(tab);
  }
  for (const char* place : {"Subject Text", "Message Body Text", "Subject and Message Text"}) {
    cmbTextToCheck.addItem(place);
  }
  for (const char* match : {"Contains All of:", "Contains Any of:"}) {
    cmbTypeOfMatch.addItem(match);
  }
}

void showAsApplying(Control& field, bool applies) {
  field.setBackColor(applies ? kWindowBackground : kButtonFace);
  field.setForeColor(applies ? kWindowText : kGrayText);
}

}  // namespace relaybird
