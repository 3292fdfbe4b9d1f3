// SPDX-License-Identifier: MIT
// The checks run in a fixed order, and the first refusal ends them. Values are collected meanwhile
// and stored by the caller only after all were accepted, so a refusal changes no setting.
#include "prefs/pref_forms.h"

#include "platform/text/number_text.h"
#include "prefs/address_lists.h"

namespace relaybird {

FormCheck::FormCheck(PrefForms& forms, bool addressesAreBad, std::string_view decimalSeparator)
    : forms_(forms), addressesAreBad_(addressesAreBad), decimalSeparator_(decimalSeparator) {}

// The order is part of what users see: a refusal is shown alone, and the question about the
// addresses comes only where nothing before it was refused.
FormCheck::Verdict FormCheck::run() {
  if (!minutesAccepted() || !sizeAccepted() || !listsAccepted()) {
    return Verdict::kRefused;
  }
  if (addressesAreBad_ && !userAgrees()) {
    return Verdict::kDeclined;
  }
  // The question lets events run, so the size may have changed: it is read again.
  if (!sizeRead() || !maximumAccepted()) {
    return Verdict::kRefused;
  }
  return Verdict::kAccepted;
}

bool FormCheck::refuse(std::string_view message) {
  refusal_ = message;
  return false;
}

// A number with the separator of the user's country is a number, too.
std::optional<double> FormCheck::number(std::string_view control) const {
  return readPrefix(withPoint(forms_.text(control), decimalSeparator_));
}

bool FormCheck::minutesAccepted() {
  const std::optional<double> minutes = number("txtMinutes");
  if (!minutes || *minutes <= 0) {
    return refuse("Invalid value for how often to forward mail.");
  }
  if (*minutes < kFewestMinutes) {
    // The field shows the smallest number allowed, so that the user sees what to enter.
    forms_.setText("txtMinutes", shortestText(kFewestMinutes));
    return refuse("Not allowed to check mail more often than 2 minutes.");
  }
  values_.mdblFwdToFrequency = *minutes;
  return true;
}

bool FormCheck::sizeIsLimited() const {
  return forms_.value("chkLimitFileSize") == 1;
}

// A negative size is accepted: it rejects every item.
bool FormCheck::sizeAccepted() {
  if (!sizeIsLimited()) {
    return true;
  }
  const std::optional<double> megabytes = number("txtMaxFileSize");
  return (megabytes && *megabytes != 0) || refuse("Invalid maximum message size entered.");
}

// The lists can only be too long; whether addresses are good is the user's decision below.
bool FormCheck::listsAccepted() {
  if (FormTextToArray(forms_.text("txtAddress"), values_.mstrFwdToAddress) < 0) {
    return refuse("Error parsing out forwarding Email addresses from form.");
  }
  if (FormTextToArray(forms_.text("txtWordMatch"), values_.mstrTextToMatch) < 0) {
    return refuse("Error parsing out list of subject/body keywords from form.");
  }
  return true;
}

bool FormCheck::userAgrees() {
  return forms_.confirm("Warning: ",
                        "Do you want to apply the current preferences even though Outlook found "
                        "problems with at least one of the email addresses that you have set to "
                        "have your messages forwarded to?");
}

bool FormCheck::sizeRead() {
  if (!sizeIsLimited()) {
    return true;
  }
  const std::optional<double> megabytes = number("txtMaxFileSize");
  if (!megabytes) {
    return refuse("Invalid maximum email size to forward given");
  }
  values_.mdblMaxFwdSize = *megabytes;
  return true;
}

// Zero would look like "no limit" to some and like "nothing" to others, so it is no value.
bool FormCheck::maximumAccepted() {
  const std::optional<double> entered = number("txtMaxToForward");
  const std::optional<std::int32_t> maximum = entered ? toInt32(*entered) : std::nullopt;
  if (!maximum) {
    return refuse("Invalid entry for maximum emails to forward");
  }
  if (*maximum <= 0) {
    return refuse("Entry for maximum emails to forward must be greater than zero.");
  }
  values_.mlngMaxToForward = *maximum;
  return true;
}

}  // namespace relaybird
