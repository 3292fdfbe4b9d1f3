// SPDX-License-Identifier: MIT
// The settings dialog's controls, tab by tab, and how its three lists react while the user types:
// entries are separated by semicolons, but people also type commas and paste lines.
#pragma once

#include <string>

#include "ui/forms/model/control.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// The kind of a list, which decides what a comma means in it.
enum class ListOf {
  kAddresses,  ///< a comma ends an entry, unless it is in quotes
  kSenders,    ///< the same after an address; a name may contain one: Doe, John
  kPhrases,    ///< a comma is part of the phrase
};

/// `before` is the former text of the field, `typed` its text and caret after one change by the
/// user. In the inserted part, each line end and each comma that ends an entry becomes "; ". The
/// rest does not change, except for blanks beside a new separator. If a separator follows already,
/// the caret moves behind it instead.
TypedText withSemicolons(ListOf list, const std::string& before, const TypedText& typed);

/// Positions of the tabs.
enum PrefsTab : int { kGeneralTab, kSizeTab, kSenderTab, kTextTab, kCellPhoneTab };

/// The caption of the address check's button while no check is running.
inline constexpr const char* kValidateCaption = "Check validity of addresses";

class PrefsControls : public Form {
 public:
  PrefsControls();

  Control tabPrefs{*this, ControlKind::kTabs, "tabPrefs"};

  // General.
  Control lblEmail{*this, ControlKind::kLabel, "lblEmail",
                   "Forward to the following address(es) (separate with semicolons):"};
  Control txtAddress{*this, ControlKind::kTextBox, "txtAddress"};
  Control cmdValidateAd{*this, ControlKind::kButton, "cmdValidateAd", kValidateCaption};
  Control lblMinutes{*this, ControlKind::kLabel, "lblMinutes",
                     "How often to forward mail (minutes):"};
  Control txtMinutes{*this, ControlKind::kTextBox, "txtMinutes"};
  Control lblHours{*this, ControlKind::kLabel, "lblHours", "(1.00  hours)"};
  Control lblMaxToForward{*this, ControlKind::kLabel, "lblMaxToForward",
                          "Maximum number of emails to forward:"};
  Control txtMaxToForward{*this, ControlKind::kTextBox, "txtMaxToForward"};
  Control lblOtherPrefs{*this, ControlKind::kLabel, "lblOtherPrefs", "Other preferences:"};
  Control chkIgnoreExistingMsg{*this, ControlKind::kCheckBox, "chkIgnoreExistingMsg",
                               "Ignore existing unread messages"};
  Control chkBcc{*this, ControlKind::kCheckBox, "chkBcc",
                 "Address using \"BCC\" instead of \"To\""};
  Control Label1{*this, ControlKind::kLabel, "Label1", "Startup options:"};
  Control chkForwardingOnAtStartup{*this, ControlKind::kCheckBox, "chkForwardingOnAtStartup",
                                   "Automatically turn on Email Forwarding when program starts"};
  Control chkForwardStart{*this, ControlKind::kCheckBox, "chkForwardStart",
                          "Forward Email once immediately upon turning on forwarding"};

  // Size.
  Control lblSize{*this, ControlKind::kLabel, "lblSize", "Message size:"};
  Control chkLimitFileSize{*this, ControlKind::kCheckBox, "chkLimitFileSize",
                           "Only forward items smaller than:"};
  Control txtMaxFileSize{*this, ControlKind::kTextBox, "txtMaxFileSize", "1.0"};
  Control lblMaxFileSize{*this, ControlKind::kLabel, "lblMaxFileSize", "(megabytes)"};
  Control chkIncludeAttachments{*this, ControlKind::kCheckBox, "chkIncludeAttachments",
                                "Include attachments when forward mail"};

  // Sender.
  Control lblReceivedFrom{*this, ControlKind::kLabel, "lblReceivedFrom", "Received from:"};
  Control frmReceivedFrom{*this, ControlKind::kFrame, "frmReceivedFrom", "Filter By Sender:"};
  Control opbFwdAll{*this, ControlKind::kOptionButton, "opbFwdAll",
                    "Forward Messages Received From Anyone"};
  Control opbFwdAllBut{*this, ControlKind::kOptionButton, "opbFwdAllBut",
                       "Forward All Messages Except From ..."};
  Control opbFwdOnly{*this, ControlKind::kOptionButton, "opbFwdOnly",
                     "Only Forward Messages From ..."};
  Control lblAddresses{*this, ControlKind::kLabel, "lblAddresses",
                       "List of Email Addresses or Names (separated with semicolons):"};
  Control txtAddresses{*this, ControlKind::kTextBox, "txtAddresses"};
  /// Has no action.
  Control cmdGetSenderName{*this, ControlKind::kButton, "cmdGetSenderName",
                           "Get Name from Global Address List"};

  // Text.
  Control lblContentsFilter{*this, ControlKind::kLabel, "lblContentsFilter",
                            "Filter based on subject / message body text:"};
  Control chkContentFilter{*this, ControlKind::kCheckBox, "chkContentFilter",
                           "Only forward Email containing the following text:"};
  Control lblTextToCheck{*this, ControlKind::kLabel, "lblTextToCheck", "Text To Search:"};
  Control cmbTextToCheck{*this, ControlKind::kComboBox, "cmbTextToCheck"};
  Control lblTypeOfMatch{*this, ControlKind::kLabel, "lblTypeOfMatch", "Type of Match:"};
  Control cmbTypeOfMatch{*this, ControlKind::kComboBox, "cmbTypeOfMatch"};
  Control Label3{*this, ControlKind::kLabel, "Label3",
                 "Text/phrases to look for in emails (separate with semicolons): "};
  Control txtWordMatch{*this, ControlKind::kTextBox, "txtWordMatch"};

  // Cell phone.
  Control Label2{*this, ControlKind::kLabel, "Label2",
                 "Format Messages for cell phone or standard email:"};
  Control opbFormatForCellPhone{*this, ControlKind::kPictureOption, "opbFormatForCellPhone"};
  Control lblFormatForCellTitle{*this, ControlKind::kLabel, "lblFormatForCellTitle",
                                "Cell phone format"};
  Control lblFormatForCellDesc{
      *this, ControlKind::kLabel, "lblFormatForCellDesc",
      "Use this setting if you are forwarding your emails to a cell phone.  This will not include "
      "some of the header information (CC addresses, etc.) so that as much of the actual message "
      "can be sent to you as possible.  "};
  Control opbFormatForEmail{*this, ControlKind::kPictureOption, "opbFormatForEmail"};
  Control lblFormatForEmailTitle{*this, ControlKind::kLabel, "lblFormatForEmailTitle",
                                 "Standard format"};
  Control lblFormatForEmailDesc{
      *this, ControlKind::kLabel, "lblFormatForEmailDesc",
      "This will forward the entire message, including CC list of email, etc."};
  // Hidden; they hold the images that the picture buttons show.
  Control picStoreCellEnabled{*this, ControlKind::kPicture, "picStoreCellEnabled"};
  Control picStoreCellDisabled{*this, ControlKind::kPicture, "picStoreCellDisabled"};
  Control picStorePcEnabled{*this, ControlKind::kPicture, "picStorePcEnabled"};
  Control picStorePcDisabled{*this, ControlKind::kPicture, "picStorePcDisabled"};
  Control Label8{*this, ControlKind::kLabel, "Label8", "Selection:"};
  Control lblWhichCellOptionSelected{*this, ControlKind::kLabel, "lblWhichCellOptionSelected",
                                     "Standard formating (not for email)"};
  // These two hold the chosen format.
  Control opbRegCellPhone{*this, ControlKind::kOptionButton, "opbRegCellPhone",
                          "Cell phone format"};
  Control opbRegEmail{*this, ControlKind::kOptionButton, "opbRegEmail", "Standard format"};

  Control cmdOK{*this, ControlKind::kButton, "cmdOK", "OK"};
  Control cmdCancel{*this, ControlKind::kButton, "cmdCancel", "Cancel"};
  Control cmdApply{*this, ControlKind::kButton, "cmdApply", "Apply"};

 private:
  void placeOnTabs();
  void fillLists();
};

/// Sets the colours of a field that is in use or not. An unused field is greyed but not disabled,
/// so that it can still be edited.
void showAsApplying(Control& field, bool applies);

}  // namespace relaybird
