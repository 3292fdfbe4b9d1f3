// SPDX-License-Identifier: MIT
// The windows as the preferences see them when they move settings to and from the settings dialog.
#pragma once

#include <string>
#include <string_view>

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

}  // namespace relaybird
