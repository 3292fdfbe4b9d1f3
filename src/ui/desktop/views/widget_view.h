// SPDX-License-Identifier: MIT
// What the views of all kinds share. Private to this folder.
#pragma once

#include <wx/settings.h>
#include <wx/window.h>

#include <functional>
#include <initializer_list>
#include <string>

#include "ui/desktop/views/control_view.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

/// A colour of the forms in the user's theme.
wxColour toWx(const Colour& colour);

/// The colour, with as much of the text's colour in it as it takes to be read on all those grounds.
wxColour readable(const wxColour& colour, const wxColour& text,
                  std::initializer_list<wxColour> grounds);

/// State that every widget shows: visible, enabled, colours, tool tip, name.
class WidgetView : public ControlView {
 public:
  WidgetView(Control& control, const ViewStyle& style) : control_(control), style_(style) {}

  void update(Change what) override;

 protected:
  /// What differs from kind to kind: text, value, list, picture.
  virtual void showContent(Change what) = 0;
  /// The text that names the control where it is not seen.
  std::string accessibleName() const;
  void showTip();
  /// Tells who does not see it the name, and what there is to say of it beyond that.
  void showName();
  virtual void showColours();

  Control& control_;
  const ViewStyle style_;

 private:
  bool coloured_ = false;
};

/// Runs what the user has asked for, as an event of the handler. While a check pauses, what may ask
/// him something is kept until the pause is over.
void doByUser(wxEvtHandler& handler, bool asks, const std::function<void()>& action);

/// A click by the user, as an event of the handler, kept in the same way.
void clickByUser(wxEvtHandler& handler, Control& control);

/// The same once the event in hand is over. An assistive tool presses inside a call of its own, and
/// would wait there for the answer to a box that it cannot read before the call has ended.
void clickLater(wxEvtHandler& handler, Control& control);

// The makers of each kind's widget, which makeControlView() chooses from.

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
