// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "prefs/form/pref_forms.h"
#include "prefs/preference_fields.h"

namespace relaybird {

/// What the check of the settings dialog has read from it, ready to be stored.
struct FormValues {
  double minutes = 0;
  double megabytes = 0;  ///< only when the size limit is on
  std::int32_t maximum = 0;
  StringList addresses;
  StringList words;
};

/// Checks what the user typed into the settings dialog, in the order in which he is to hear of it.
class FormCheck {
 public:
  enum class Verdict { kAccepted, kDeclined, kRefused };

  /// `addressesAreBad`: an address check has failed, so that the user has to agree.
  /// `decimalSeparator`: what the user's numbers may have in place of the point.
  FormCheck(PrefForms& forms, bool addressesAreBad, std::string_view decimalSeparator);

  Verdict run();
  const FormValues& values() const { return values_; }
  const std::string& refusal() const { return refusal_; }

 private:
  bool minutesAccepted();
  bool sizeAccepted();
  bool listsAccepted();
  bool userAgrees();
  bool sizeRead();
  bool maximumAccepted();
  bool sizeIsLimited() const;
  bool refuse(std::string_view message);
  std::optional<double> number(std::string_view control) const;

  PrefForms& forms_;
  const bool addressesAreBad_;
  const std::string decimalSeparator_;
  FormValues values_;
  std::string refusal_;
};

}  // namespace relaybird
