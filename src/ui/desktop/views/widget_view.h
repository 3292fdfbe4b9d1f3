// SPDX-License-Identifier: MIT
// What the views of all kinds share. Include it in views/ and in the windows only.
#pragma once

#include <wx/settings.h>
#include <wx/window.h>

#include <functional>
#include <initializer_list>
#include <string>

#include "ui/desktop/views/control_view.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

/// A colour of the forms, resolved with the user's theme.
wxColour toWx(const Colour& colour);

/// The colour, mixed with as much of the text colour as a readable contrast on all those
/// backgrounds requires.
wxColour readable(const wxColour& colour, const wxColour& text,
                  std::initializer_list<wxColour> grounds);

/// Shows the state that all kinds have: visible, enabled, colours, tool tip, accessible name.
class WidgetView : public ControlView {
 public:
  WidgetView(Control& control, const ViewStyle& style) : control_(control), style_(style) {}

  void update(Change what) override;

 protected:
  /// Shows what differs from kind to kind: text, value, list, picture.
  virtual void showContent(Change what) = 0;
  /// The name for assistive tools; empty if the toolkit's own is right.
  std::string accessibleName() const;
  void showTip();
  /// Sets the accessible name and description.
  void showName();
  virtual void showColours();

  Control& control_;
  const ViewStyle style_;

 private:
  bool coloured_ = false;
};

/// Runs an action of the user. If the action may open a box (`asks`) and a check is pausing, it is
/// deferred until the check has ended, and then runs as an event of the handler.
void doByUser(wxEvtHandler& handler, bool asks, const std::function<void()>& action);

/// Runs a click by the user, deferred in the same way.
void clickByUser(wxEvtHandler& handler, Control& control);

/// The same, after the current event. Why: an assistive tool presses a button by a synchronous
/// call. A box opened within that call would block it, and the tool cannot read the box before the
/// call returns.
void clickLater(wxEvtHandler& handler, Control& control);

// The factory for each kind, called by makeControlView().

std::unique_ptr<ControlView> makeLabelView(wxWindow* parent, Control& control,
                                           const ViewStyle& style);
std::unique_ptr<ControlView> makeTextView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);

std::unique_ptr<ControlView> makeButtonView(wxWindow* parent, Control& control,
                                            const ViewStyle& style);
std::unique_ptr<ControlView> makeLinkView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);
std::unique_ptr<ControlView> makePictureButtonView(wxWindow* parent, Control& control,
                                                   const ViewStyle& style);
std::unique_ptr<ControlView> makePictureView(wxWindow* parent, Control& control,
                                             const ViewStyle& style);
std::unique_ptr<ControlView> makeCheckBoxView(wxWindow* parent, Control& control,
                                              const ViewStyle& style);
std::unique_ptr<ControlView> makeOptionView(wxWindow* parent, Control& control,
                                            const ViewStyle& style);

std::unique_ptr<ControlView> makeListView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);
std::unique_ptr<ControlView> makeComboView(wxWindow* parent, Control& control,
                                           const ViewStyle& style);

}  // namespace relaybird::desktop
