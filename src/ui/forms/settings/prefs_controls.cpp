// SPDX-License-Identifier: MIT
#include "ui/forms/settings/prefs_controls.h"

#include <algorithm>

namespace relaybird {

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

// A tab holds the controls from one to another in the order of their declaration, so that a new
// control needs no line here.
void PrefsControls::placeOnTabs() {
  const auto place = [this](PrefsTab tab, const Control& first, const Control& last) {
    const auto begin = std::find(controls().begin(), controls().end(), &first);
    const auto end = std::find(begin, controls().end(), &last);
    std::for_each(begin, end + 1, [&](Control* control) { control->setTab(tab); });
  };
  place(kGeneralTab, lblEmail, chkForwardStart);
  place(kSizeTab, lblSize, chkIncludeAttachments);
  place(kSenderTab, lblReceivedFrom, cmdGetSenderName);
  place(kTextTab, lblContentsFilter, txtWordMatch);
  place(kCellPhoneTab, Label2, opbRegEmail);
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
