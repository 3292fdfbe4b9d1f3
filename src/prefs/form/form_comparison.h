// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "prefs/form/pref_forms.h"

namespace relaybird {

/// Looks whether filling the settings dialog would change it: takes what it is to be filled with,
/// and changes nothing.
class FormComparison : public PrefForms {
 public:
  /// `forms` must outlive it.
  explicit FormComparison(const PrefForms& forms) : forms_(forms) {}

  /// Whether the dialog showed everything that was set so far already.
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
