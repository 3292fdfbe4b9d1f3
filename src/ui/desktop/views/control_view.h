// SPDX-License-Identifier: MIT
// A control of a form as a widget. The widget shows what the control holds, and hands in what the
// user does; between the two there is nothing to decide.
#pragma once

#include <wx/window.h>

#include <functional>
#include <memory>
#include <string>

#include "ui/forms/model/control.h"

namespace relaybird::desktop {

/// What of a widget its place in a window decides, and not the control.
struct ViewStyle {
  bool multiline = false;     ///< a text field of several lines
  bool emphasised = false;    ///< a text that stands out
  int widthInCharacters = 0;  ///< of a text field; 0: as wide as its place
  /// A word beside the picture of a picture button, with "&" before its access key.
  std::string caption = {};
  /// The control whose text names this one to people who do not see the window.
  const Control* namedBy = nullptr;
  /// The control whose text tells them more than the name.
  const Control* describedBy = nullptr;
  /// Names one that nothing on the screen names, to the same people.
  std::string name = {};
};

class ControlView {
 public:
  virtual ~ControlView() = default;
  virtual wxWindow* window() const = 0;
  /// The control has changed.
  virtual void update(Change what) = 0;
  /// The whole control, as at first; also after a change of the desktop's theme.
  void updateAll();
};

/// Makes the widget of a control as a child of `parent`, which owns it. The view must not outlive
/// either. Null for a kind that has no widget of its own: menus, timers, file dialogs.
std::unique_ptr<ControlView> makeControlView(wxWindow* parent, Control& control,
                                             const ViewStyle& style);

/// Runs what the user does with a control, if it takes input now; else the bell says that it does
/// not.
void byUser(Control& control, const std::function<void(Control&)>& action);

}  // namespace relaybird::desktop
