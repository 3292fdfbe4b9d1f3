// SPDX-License-Identifier: MIT
// What the views of all kinds share. Private to this folder.
#pragma once

#include <wx/settings.h>
#include <wx/window.h>

#include <string>

#include "ui/desktop/bind/control_view.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

/// A colour of the forms in the user's theme.
wxColour toWx(const Colour& colour);

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
  void showColours();

  Control& control_;
  const ViewStyle style_;

 private:
  bool coloured_ = false;
};

/// A click by the user, as an event of the handler. While a check pauses, one that may ask him
/// something is kept until the pause is over.
void clickByUser(wxEvtHandler& handler, Control& control);

}  // namespace relaybird::desktop
