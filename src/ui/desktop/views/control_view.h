// SPDX-License-Identifier: MIT
// A control of a form as a widget. The widget shows the state of the control and passes the user's
// input to it. All decisions are made by the form.
#pragma once

#include <wx/window.h>

#include <functional>
#include <memory>
#include <string>

#include "ui/forms/model/control.h"

namespace relaybird::desktop {

/// Properties of a widget that are set by the layout of the window, not by the control.
struct ViewStyle {
  bool multiline = false;     ///< for a text field
  bool followsEnd = false;    ///< of a multi-line field: its last line is always scrolled to
  bool emphasised = false;    ///< bold text
  int widthInCharacters = 0;  ///< of a text field, at most of a label; 0: as the layout allows
  /// The text beside the picture of a picture button, with "&" before its access key.
  std::string caption = {};
  /// The control whose text is the accessible name of this one.
  const Control* namedBy = nullptr;
  /// The control whose text is the accessible description of this one.
  const Control* describedBy = nullptr;
  /// The accessible name of a control that has no visible label.
  std::string name = {};
};

class ControlView {
 public:
  virtual ~ControlView() = default;
  virtual wxWindow* window() const = 0;
  /// Shows a change of the control.
  virtual void update(Change what) = 0;
  /// Shows the whole state of the control: at first, and after a change of the desktop's theme.
  void updateAll();
};

/// Creates the widget of a control as a child of `parent`, which owns it. The view must not outlive
/// the widget or the control. Returns null for kinds without a widget: menus, timers, file dialogs.
std::unique_ptr<ControlView> makeControlView(wxWindow* parent, Control& control,
                                             const ViewStyle& style);

/// Runs the user's action on a control if the control takes input now; otherwise rings the bell.
void byUser(Control& control, const std::function<void(Control&)>& action);

}  // namespace relaybird::desktop
