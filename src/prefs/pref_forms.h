// SPDX-License-Identifier: MIT
// The windows as the preferences see them, the check of what the user typed into the settings
// dialog, and the comparison of the dialog with the stored settings.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "prefs/preference_fields.h"

namespace relaybird {

class PrefForms {
 public:
  virtual ~PrefForms() = default;

  // The settings dialog's controls, by name. Setting one raises its reactions. An unknown name
  // throws std::logic_error.

  virtual std::string text(std::string_view control) const = 0;
  virtual void setText(std::string_view control, const std::string& text) = 0;
  /// 1 for a checked box or a selected option; the position, from 0, in a drop-down list.
  virtual int value(std::string_view control) const = 0;
  virtual void setValue(std::string_view control, int value) = 0;
  virtual void SetCellPrefs(bool cell) = 0;

  // The main window.

  virtual void SetMainFrmCellPref(bool cell) = 0;
  virtual void SetMainFormFwdToAddresses(const std::string& text, int count) = 0;

  /// Asks a question with a Yes and a No button; true for Yes.
  virtual bool confirm(const std::string& title, const std::string& question) = 0;
};

/// Checks what the user typed into the settings dialog, in the order in which problems are
/// reported.
class FormCheck {
 public:
  enum class Verdict { kAccepted, kDeclined, kRefused };

  /// `addressesAreBad`: an address check has failed, so the user is asked whether to continue.
  /// `decimalSeparator`: the user's decimal separator, accepted besides the point.
  FormCheck(PrefForms& forms, bool addressesAreBad, std::string_view decimalSeparator);

  Verdict run();
  /// The numbers and the address and word lists that were accepted. The size limit is read only
  /// while it is on; the other fields are left as they are made.
  const PreferenceFields& values() const { return values_; }
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
  PreferenceFields values_;
  std::string refusal_;
};

/// Tells whether filling the settings dialog would change it: receives the values to fill in, and
/// changes nothing.
class FormComparison : public PrefForms {
 public:
  /// `forms` must outlive it.
  explicit FormComparison(const PrefForms& forms) : forms_(forms) {}

  /// Whether the dialog already shows every value set so far.
  bool same() const { return same_; }

  std::string text(std::string_view control) const override { return forms_.text(control); }
  int value(std::string_view control) const override { return forms_.value(control); }
  void setText(std::string_view control, const std::string& text) override {
    same_ = same_ && forms_.text(control) == text;
  }
  void setValue(std::string_view control, int value) override {
    same_ = same_ && forms_.value(control) == value;
  }
  void SetCellPrefs(bool cell) override { setValue("opbRegCellPhone", cell); }
  void SetMainFrmCellPref(bool) override {}
  void SetMainFormFwdToAddresses(const std::string&, int) override {}
  bool confirm(const std::string&, const std::string&) override { return false; }

 private:
  const PrefForms& forms_;
  bool same_ = true;
};

}  // namespace relaybird
