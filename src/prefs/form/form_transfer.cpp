// SPDX-License-Identifier: MIT
// clsPref's way to and from the settings dialog.
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/text/number_text.h"
#include "prefs/cls_pref.h"
#include "prefs/form/form_check.h"
#include "prefs/form/form_comparison.h"
#include "prefs/form/pref_forms.h"

namespace relaybird {

namespace {

constexpr int kStored = 1;
constexpr int kDeclined = 0;
constexpr int kRefused = -1;
constexpr int kUnexpectedFailure = -1000;
constexpr int kNotFilled = -1;

bool isSet(const PrefForms& forms, std::string_view control) {
  return forms.value(control) == 1;
}

bool hasOption(std::int16_t senderFilter) {
  return senderFilter == kForwardFromAnyone || senderFilter == kForwardOnlyListed ||
         senderFilter == kForwardAllButListed;
}

// A stored code that no option shows leaves them all unselected, and stays until the user selects
// one.
std::int16_t senderFilter(const PrefForms& forms, std::int16_t stored) {
  if (isSet(forms, "opbFwdAll")) {
    return kForwardFromAnyone;
  }
  if (isSet(forms, "opbFwdOnly")) {
    return kForwardOnlyListed;
  }
  return isSet(forms, "opbFwdAllBut") || hasOption(stored) ? kForwardAllButListed : stored;
}

std::int16_t textToCheck(const PrefForms& forms) {
  switch (forms.value("cmbTextToCheck")) {
    case 0:
      return kCheckSubject;
    case 1:
      return kCheckBody;
    default:
      return kCheckSubjectAndBody;
  }
}

PrefForms& connected(PrefForms* forms) {
  if (forms == nullptr) {
    throw std::logic_error("no form is connected");
  }
  return *forms;
}

}  // namespace

int clsPref::FormToClass() {
  mbolDontExit = false;
  try {
    FormCheck check(connected(forms_), mbolHaveCheckedAd && !mbolAdAreOk, world_.decimalSeparator);
    switch (check.run()) {
      case FormCheck::Verdict::kRefused:
        mstrErrDesc = check.refusal();
        return kRefused;
      case FormCheck::Verdict::kDeclined:
        mbolDontExit = true;
        return kDeclined;
      case FormCheck::Verdict::kAccepted:
        break;
    }
    store(check.values());
    forms_->SetMainFrmCellPref(fields_.mbolFormatForCellPhone);
    return kStored;
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("FormToClass-->") + error.what());
    return kUnexpectedFailure;
  }
}

// A size limit that is switched off keeps the size that was stored before.
void clsPref::store(const FormValues& values) {
  const PrefForms& form = *forms_;
  fields_.mdblFwdToFrequency = values.minutes;
  fields_.mbolIgnoreExistingUnread = isSet(form, "chkIgnoreExistingMsg");
  fields_.mbolFwdUponStart = isSet(form, "chkForwardStart");
  fields_.mbolBcc = isSet(form, "chkBcc");
  fields_.mlngMaxToForward = values.maximum;
  fields_.mbolIncludeAttachments = isSet(form, "chkIncludeAttachments");
  fields_.mbolMaxFwdSize = isSet(form, "chkLimitFileSize");
  if (fields_.mbolMaxFwdSize) {
    fields_.mdblMaxFwdSize = values.megabytes;
  }
  fields_.mintSenderFilter = senderFilter(form, fields_.mintSenderFilter);
  fields_.mbolFilterText = isSet(form, "chkContentFilter");
  fields_.mintTextToCheck = textToCheck(form);
  fields_.mintMatchType = form.value("cmbTypeOfMatch") == 0 ? kMatchAll : kMatchAny;
  FormTextToArray(form.text("txtAddresses"), fields_.mcolSenderList);
  fields_.mstrFwdToAddress = values.addresses;
  fields_.mstrTextToMatch = values.words;
  fields_.mbolTurnOnFwdOnStartup = isSet(form, "chkForwardingOnAtStartup");
  fields_.mbolFormatForCellPhone = isSet(form, "opbRegCellPhone");
}

int clsPref::ClassToForm() {
  try {
    // The start-up options exclude each other: one that is still set would speak against the other
    // as it is being filled in.
    connected(forms_).setValue("chkForwardStart", 0);
    forms_->setValue("chkForwardingOnAtStartup", 0);
    fillForm(*forms_);
    forms_->SetMainFrmCellPref(fields_.mbolFormatForCellPhone);
    return kStored;
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("ClassToForm-->") + error.what());
    return kNotFilled;
  }
}

// Every assignment raises the control's reactions; their order is what the user sees of them.
void clsPref::fillForm(PrefForms& form) const {
  form.setText("txtMinutes", shortestText(fields_.mdblFwdToFrequency));
  form.setValue("chkForwardStart", fields_.mbolFwdUponStart);
  form.setValue("chkIgnoreExistingMsg", fields_.mbolIgnoreExistingUnread);
  form.setValue("chkIncludeAttachments", fields_.mbolIncludeAttachments);
  form.setValue("chkLimitFileSize", fields_.mbolMaxFwdSize);
  form.setValue("chkBcc", fields_.mbolBcc);
  form.setText("txtMaxFileSize", shortestText(fields_.mdblMaxFwdSize));
  form.setText("txtMaxToForward", std::to_string(fields_.mlngMaxToForward));
  form.setValue("opbFwdAll", fields_.mintSenderFilter == kForwardFromAnyone);
  form.setValue("opbFwdOnly", fields_.mintSenderFilter == kForwardOnlyListed);
  form.setValue("opbFwdAllBut", fields_.mintSenderFilter == kForwardAllButListed);
  form.setText("txtAddresses", MakeStringFromArray(fields_.mcolSenderList));
  form.setValue("chkContentFilter", fields_.mbolFilterText);
  form.setValue("cmbTextToCheck", fields_.mintTextToCheck - kCheckSubject);
  form.setValue("cmbTypeOfMatch", fields_.mintMatchType - kMatchAll);
  form.setText("txtWordMatch", MakeStringFromArray(fields_.mstrTextToMatch));
  form.setText("txtAddress", MakeStringFromArray(fields_.mstrFwdToAddress));
  form.setValue("chkForwardingOnAtStartup", fields_.mbolTurnOnFwdOnStartup);
  form.SetCellPrefs(fields_.mbolFormatForCellPhone);
}

bool clsPref::formShowsStored() const {
  try {
    FormComparison comparison(connected(forms_));
    fillForm(comparison);
    return comparison.same();
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("formShowsStored-->") + error.what());
    return false;
  }
}

void clsPref::UpdateEmailAddrOnMainForm() {
  if (forms_ == nullptr) {
    return;
  }
  const StringList& addresses = fields_.mstrFwdToAddress;
  std::string text;
  std::string_view separator;
  for (const std::string& address : addresses) {
    text.append(separator).append(address);
    separator = "; ";
  }
  // The one empty entry of a list that holds nothing is no address.
  forms_->SetMainFormFwdToAddresses(
      text, holdsNothing(addresses) ? 0 : static_cast<int>(addresses.size()));
}

}  // namespace relaybird
