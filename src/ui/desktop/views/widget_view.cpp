// SPDX-License-Identifier: MIT
// What the views of all kinds share: state, colours, accessible names, and the user's input.
//
// Colours: a widget with the ordinary colours of its kind is left to the theme. Only if the form
// sets another colour is it adapted, so that text keeps a readable contrast on light and dark
// themes (WCAG 2.1).
//
// Input: a click may open a box. It must not do so while a check pauses (see wx_sleeper.h) nor
// within the call of an assistive tool, so it may run later than it happened.
#include "ui/desktop/views/widget_view.h"

#include <wx/evtloop.h>
#include <wx/sizer.h>
#include <wx/toplevel.h>
#include <wx/utils.h>

#include <algorithm>
#include <cmath>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/services/wx_sleeper.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

bool isField(ControlKind kind) {
  return kind == ControlKind::kTextBox || kind == ControlKind::kComboBox ||
         kind == ControlKind::kListBox;
}

// Controls that show a picture. Their accessible name is the tool tip; others have a text.
bool hasPicture(ControlKind kind) {
  return kind == ControlKind::kPictureButton || kind == ControlKind::kPictureOption ||
         kind == ControlKind::kPicture;
}

Colour ordinaryText(const Control& control) {
  return isField(control.kind()) ? kWindowText : kButtonText;
}

Colour ordinaryGround(const Control& control) {
  return isField(control.kind()) ? kWindowBackground : kButtonFace;
}

bool isDark(const wxColour& colour) {
  constexpr double kMiddle = 0.4;
  return colour.GetLuminance() <= kMiddle;
}

// WCAG 2.1, "relative luminance".
double luminance(const wxColour& colour) {
  const auto linear = [](unsigned char part) {
    const double share = part / 255.0;
    return share <= 0.03928 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.Red()) + 0.7152 * linear(colour.Green()) +
         0.0722 * linear(colour.Blue());
}

// WCAG 2.1, "contrast ratio".
double contrast(const wxColour& one, const wxColour& other) {
  const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
  return (lighter + 0.05) / (darker + 0.05);
}

// The background of a control. A read-only text field has the background of the window.
Colour ground(const Control& control) {
  const bool readOnly = control.kind() == ControlKind::kTextBox && control.locked();
  return readOnly && control.backColor() == kWindowBackground ? kButtonFace : control.backColor();
}

// A gray with enough contrast. The theme's gray marks disabled controls and may be unreadable; our
// gray marks an option that is not chosen, whose text should be readable.
wxColour readableGray(const Control& control) {
  const wxColour below = toWx(ground(control));
  // A label may be placed on a notebook page, which has another background than the window.
  const wxColour page = isField(control.kind()) ? below : toWx(kWindowBackground);
  return readable(toWx(kGrayText), toWx(ordinaryText(control)), {below, page});
}

// Black or white, whichever has more contrast on the background.
wxColour readableOn(const wxColour& ground) {
  constexpr double kSameContrast = 0.179;
  return luminance(ground) > kSameContrast ? *wxBLACK : *wxWHITE;
}

// The text colour of a control whose colours the form has set. The theme's text colour may be
// unreadable on the form's background, and the form's text colour on the theme's background, which
// may be light or dark. A pure red has too little contrast on both, so it is adjusted.
wxColour textColour(const Control& control) {
  // In per cent of the lightness.
  constexpr int kLighter = 150;
  constexpr int kDarker = 80;
  const wxColour below = toWx(ground(control));
  if (control.backColor().source == Colour::Source::kRgb) {
    return readableOn(below);
  }
  if (control.foreColor() == kGrayText) {
    return readableGray(control);
  }
  const wxColour text = toWx(control.foreColor());
  const bool own = control.foreColor().source == Colour::Source::kRgb;
  return own ? text.ChangeLightness(isDark(below) ? kLighter : kDarker) : text;
}

}  // namespace

wxColour toWx(const Colour& colour) {
  switch (colour.source) {
    case Colour::Source::kWindowBackground:
      return wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOW);
    case Colour::Source::kWindowText:
      return wxSystemSettings::GetColour(wxSYS_COLOUR_WINDOWTEXT);
    case Colour::Source::kButtonFace:
      return wxSystemSettings::GetColour(wxSYS_COLOUR_BTNFACE);
    case Colour::Source::kButtonText:
      return wxSystemSettings::GetColour(wxSYS_COLOUR_BTNTEXT);
    case Colour::Source::kGrayText:
      return wxSystemSettings::GetColour(wxSYS_COLOUR_GRAYTEXT);
    case Colour::Source::kRgb:
      break;
  }
  return {colour.red, colour.green, colour.blue};
}

wxColour readable(const wxColour& colour, const wxColour& text,
                  std::initializer_list<wxColour> grounds) {
  // WCAG 2.1 requires 4.5. Anti-aliased edges reduce the contrast a little.
  constexpr double kReadable = 5;
  constexpr int kSteps = 16;
  // From the wanted colour towards the text colour, which the theme has made readable, in as few
  // steps as are needed.
  for (int step = 0; step < kSteps; ++step) {
    const auto mixed = [step](unsigned char from, unsigned char to) {
      return static_cast<unsigned char>(from + (to - from) * step / kSteps);
    };
    const wxColour mixture(mixed(colour.Red(), text.Red()), mixed(colour.Green(), text.Green()),
                           mixed(colour.Blue(), text.Blue()));
    if (std::ranges::all_of(grounds, [&mixture](const wxColour& ground) {
          return contrast(mixture, ground) >= kReadable;
        })) {
      return mixture;
    }
  }
  return text;
}

void ControlView::updateAll() {
  for (const Change what :
       {Change::kText, Change::kListCleared, Change::kValue, Change::kPicture, Change::kToolTip,
        Change::kColours, Change::kEnabled, Change::kVisible}) {
    update(what);
  }
}

void WidgetView::update(Change what) {
  switch (what) {
    case Change::kEnabled:
      window()->Enable(control_.enabled());
      showTip();
      return;
    case Change::kVisible:
      if (window()->IsShown() != control_.visible()) {
        window()->Show(control_.visible());
        window()->GetParent()->Layout();
      }
      return;
    case Change::kColours:
      showColours();
      return;
    case Change::kToolTip:
      showTip();
      showName();
      return;
    default:
      showContent(what);
  }
}

// A widget with the ordinary colours of its kind is left to the theme. The colours are reset only
// if they were set before.
void WidgetView::showColours() {
  const Colour below = ground(control_);
  const bool ownGround = below != ordinaryGround(control_);
  const bool ownText = ownGround || control_.foreColor() != ordinaryText(control_);
  if (ownText || coloured_) {
    window()->SetForegroundColour(ownText ? textColour(control_) : wxNullColour);
    window()->SetBackgroundColour(ownGround ? toWx(below) : wxNullColour);
    window()->Refresh();
  }
  coloured_ = ownText;
}

// The toolkit uses the tool tip as the accessible description, too, and shows it for disabled
// widgets as well.
void WidgetView::showTip() {
  window()->SetToolTip(toWx(control_.tip()));
}

// A label needs no name: its text is its name.
void WidgetView::showName() {
  if (control_.kind() != ControlKind::kLabel) {
    setAccessibleName(*window(), accessibleName());
  }
  if (style_.describedBy != nullptr) {
    setAccessibleDescription(*window(), plainCaption(style_.describedBy->text()));
  }
}

std::string WidgetView::accessibleName() const {
  if (!style_.name.empty()) {
    return style_.name;
  }
  if (style_.namedBy != nullptr) {
    return plainCaption(style_.namedBy->text());
  }
  return hasPicture(control_.kind()) ? control_.toolTip() : std::string();
}

void byUser(Control& control, const std::function<void(Control&)>& action) {
  // A click on a control that takes none now, by an assistive tool for example, only beeps.
  if (whyNoInput(control).empty()) {
    action(control);
  } else {
    wxBell();
  }
}

void doByUser(wxEvtHandler& handler, bool asks, const std::function<void()>& action) {
  if (!asks || !WxSleeper::sleeping()) {
    action();
    return;
  }
  WxSleeper::afterCheck(handler, [action, loop = wxEventLoopBase::GetActive()] {
    if (wxEventLoopBase::GetActive() == loop) {
      guarded(action);
    } else {
      // A modal box has opened in the meantime.
      wxBell();
    }
  });
}

void clickByUser(wxEvtHandler& handler, Control& control) {
  doByUser(handler, control.asks(), [&control] { byUser(control, &Control::click); });
}

void clickLater(wxEvtHandler& handler, Control& control) {
  inputLater(
      handler, [&handler, &control] { clickByUser(handler, control); }, [] { wxBell(); });
}

std::unique_ptr<ControlView> makeControlView(wxWindow* parent, Control& control,
                                             const ViewStyle& style) {
  switch (control.kind()) {
    case ControlKind::kLabel:
      return makeLabelView(parent, control, style);
    case ControlKind::kTextBox:
      return makeTextView(parent, control, style);
    case ControlKind::kLink:
      return makeLinkView(parent, control, style);
    case ControlKind::kButton:
      return makeButtonView(parent, control, style);
    case ControlKind::kPictureButton:
    case ControlKind::kPictureOption:
      return makePictureButtonView(parent, control, style);
    case ControlKind::kPicture:
      return makePictureView(parent, control, style);
    case ControlKind::kCheckBox:
      return makeCheckBoxView(parent, control, style);
    case ControlKind::kOptionButton:
      return makeOptionView(parent, control, style);
    case ControlKind::kListBox:
      return makeListView(parent, control, style);
    case ControlKind::kComboBox:
      return makeComboView(parent, control, style);
    default:
      return nullptr;
  }
}

}  // namespace relaybird::desktop
