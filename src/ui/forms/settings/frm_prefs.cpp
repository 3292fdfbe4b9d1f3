// SPDX-License-Identifier: MIT
// Reactions of the settings dialog. clsPref reads and fills the controls by their names; the
// buttons here call it and report in boxes what it refuses. Filling the controls triggers the same
// reactions as typing: mayShowRule_ switches off the one that would open a box.
#include "ui/forms/settings/frm_prefs.h"

#include <array>
#include <utility>

#include "platform/text/number_text.h"
#include "ui/forms/settings/address_check.h"
#include "ui/forms/settings/prefs_controls.h"

namespace relaybird {
namespace {

void showAsActive(Control& title, Control& description, bool active) {
  for (Control* label : {&title, &description}) {
    label->setForeColor(active ? kButtonText : kGrayText);
  }
}

}  // namespace

frmPrefs::frmPrefs(const ProgramWorld& world, clsPref& prf, MailSession& session, ActivityLog& log)
    : world_(world), prf_(prf), session_(session), log_(log) {
  wireGeneral();
  wireFilters();
  wireFormat();
  cmdApply.onClick([this] { apply(); });
  cmdOK.onClick([this] { acceptAndClose(); });
  cmdCancel.onClick([this] { cancel(); });
  cmdCancel.setShortcut("Ctrl+W");
}

// The page about the current tab.
std::string frmPrefs::helpTopic() const {
  static constexpr std::array<const char*, 5> kTopics{"settings-general", "settings-size",
                                                      "settings-sender", "settings-text",
                                                      "settings-cell-phone"};
  const auto tab = static_cast<std::size_t>(tabPrefs.value());
  return tab < kTopics.size() ? kTopics[tab] : kTopics.front();
}

void frmPrefs::prepare() {
  tabPrefs.setValue(kGeneralTab);
  cmdValidateAd.setText(kValidateCaption);
}

// A failed address check has left its caption on the button.
int frmPrefs::fill() {
  cmdValidateAd.setText(kValidateCaption);
  return prf_.ClassToForm();
}

int frmPrefs::fillSilently() {
  mayShowRule_ = false;
  const int result = fill();
  mayShowRule_ = true;
  return result;
}

void frmPrefs::wireGeneral() {
  txtMinutes.onChange([this] { showHours(); });
  txtAddress.onChange([this] {
    prf_.mbolChangedFwdAd = true;
    prf_.mbolHaveCheckedAd = false;
    prf_.mbolAdAreOk = true;
  });
  for (Control* option : {&chkForwardingOnAtStartup, &chkForwardStart}) {
    option->onClick([this, option] { checkStartUpRule(*option); });
  }
  cmdValidateAd.onClick([this] { validateAddresses(); });
}

void frmPrefs::wireFilters() {
  chkContentFilter.onClick([this] {
    for (Control* field : {&cmbTypeOfMatch, &cmbTextToCheck, &txtWordMatch}) {
      showAsApplying(*field, chkContentFilter.checked());
    }
  });
  chkLimitFileSize.onClick([this] { showAsApplying(txtMaxFileSize, chkLimitFileSize.checked()); });
  opbFwdAll.onClick([this] { showAsApplying(txtAddresses, false); });
  for (Control* option : {&opbFwdAllBut, &opbFwdOnly}) {
    option->onClick([this] { showAsApplying(txtAddresses, true); });
  }
}

void frmPrefs::wireFormat() {
  for (Control* part :
       {&opbFormatForCellPhone, &lblFormatForCellTitle, &lblFormatForCellDesc, &opbRegCellPhone}) {
    part->onClick([this] { SetCellPrefs(true); });
  }
  for (Control* part :
       {&opbFormatForEmail, &lblFormatForEmailTitle, &lblFormatForEmailDesc, &opbRegEmail}) {
    part->onClick([this] { SetCellPrefs(false); });
  }
}

// Sets everything that shows the format: pictures, titles, the text and the option that the
// transfer reads.
void frmPrefs::SetCellPrefs(bool cell) {
  showAsActive(lblFormatForCellTitle, lblFormatForCellDesc, cell);
  opbFormatForCellPhone.setPicture((cell ? picStoreCellEnabled : picStoreCellDisabled).picture());
  opbFormatForEmail.setPicture((cell ? picStorePcDisabled : picStorePcEnabled).picture());
  showAsActive(lblFormatForEmailTitle, lblFormatForEmailDesc, !cell);
  lblWhichCellOptionSelected.setText(cell ? "Emails to be formatted to be received by cell phones"
                                          : "Emails to be forwarded using standard formatting");
  (cell ? opbRegCellPhone : opbRegEmail).setValue(1);
}

// Reads the number as the transfer does, with the user's decimal separator, and rounds half to
// even.
void frmPrefs::showHours() {
  constexpr double kMinutesPerHour = 60;
  const double minutes = numericPrefix(withPoint(txtMinutes.text(), world_.decimalSeparator));
  const double hours = minutes / kMinutesPerHour;
  lblHours.setText("(" + shortestText(roundHalfEven(hours * 100) / 100) + " hours)");
}

bool frmPrefs::startUpOptionsClash() const {
  return chkForwardingOnAtStartup.checked() && chkForwardStart.checked();
}

// The option that was clicked last gives way, after the user has read why.
void frmPrefs::checkStartUpRule(Control& justClicked) {
  if (mayShowRule_ && startUpOptionsClash()) {
    showStartUpRule();
    justClicked.setValue(0);
  }
}

void frmPrefs::showStartUpRule() {
  world_.dialogs.messageBox(
      {"You are not allowed to simultaneously have selected the '" +
           chkForwardingOnAtStartup.text() + "' and '" + chkForwardStart.text() +
           "' options.  \r\n\r\nThis rule is just to ensure that you will always have time to turn "
           "off Email Forwarding before the program starts processing any emails.",
       "Invalid Option Combination"});
}

void frmPrefs::fail(const std::string& text) {
  world_.dialogs.messageBox({text});
}

// Reading back and filling the dialog after the save shows accepted values as they were stored. A
// user who declined at the address warning gets the old values back this way.
void frmPrefs::apply() {
  stored_ = false;
  const int result = prf_.FormToClass();
  if (result <= kUnexpectedTransferFailure) {
    fail("Error occurred - Prefs not saved.");
  } else if (result < 0) {
    fail("Problem - " + prf_.mstrErrDesc);
  } else if (prf_.WriteTofile() < 0) {
    fail("Error writing preferences to file");
  } else if (prf_.ReadIniPref() < 0) {
    fail("Error reading back preferences from file");
  } else if (fill() < 0) {
    fail("Error populating form with new preferences");
  } else {
    stored_ = result > 0;
    prf_.UpdateEmailAddrOnMainForm();
  }
}

// The dialog also closes when a value was refused; only a declined address warning keeps it open.
void frmPrefs::acceptAndClose() {
  apply();
  if (!prf_.mbolDontExit) {
    hide();
  }
}

// Switching forwarding on reads the dialog, so cancelled edits must not stay in it. A dialog
// without edits is not filled, because that would discard the result of an address check. OK does
// not need this: its values are stored, or the user was told that they were refused. A closed
// dialog must not open boxes.
void frmPrefs::cancel() {
  hide();
  if (!prf_.formShowsStored()) {
    fillSilently();
  }
}

void frmPrefs::validateAddresses() {
  AddressCheck check(world_, prf_, session_, log_, cmdValidateAd);
  check.run(txtAddress.text());
}

}  // namespace relaybird
