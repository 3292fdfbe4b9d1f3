// SPDX-License-Identifier: MIT
// The views of buttons, links, pictures, check boxes and option buttons.
//
// Buttons and links click their control after the current event, since a click may open a box; see
// clickLater(). A check box shows the form's value again after each click, because the toolkit has
// changed the mark by itself and the form may have refused the click.
#include "ui/desktop/views/widget_view.h"

#include <wx/bmpbuttn.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/hyperlink.h>
#include <wx/radiobut.h>
#include <wx/statbmp.h>
#include <wx/utils.h>

#include <algorithm>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/art.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

class ButtonView : public WidgetView {
 public:
  ButtonView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), button_(new wxButton(parent, wxID_ANY, toWx(control.text()))) {
    button_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { clickLater(*button_, control_); });
    if (control.form().defaultButton() == &control) {
      button_->SetDefault();
    }
  }
  wxWindow* window() const override { return button_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kText) {
      button_->SetLabel(toWx(control_.text()));
    }
  }

 private:
  wxButton* button_;
};

// A hyperlink. The form opens its target, so the toolkit's own handling is not used.
class LinkView : public WidgetView {
 public:
  LinkView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        link_(new wxHyperlinkCtrl(parent, wxID_ANY, shown(control), shown(control),
                                  wxDefaultPosition, wxDefaultSize,
                                  wxHL_DEFAULT_STYLE & ~wxHL_CONTEXTMENU)) {
    setAccessibleRole(*link_, AccessibleRole::kLink);
    link_->Bind(wxEVT_HYPERLINK, [this](wxHyperlinkEvent&) { clickLater(*link_, control_); });
  }
  wxWindow* window() const override { return link_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kText) {
      link_->SetLabel(shown(control_));
      link_->SetURL(shown(control_));
    }
  }
  // Why: the toolkit accepts no link without a text. Such a link is hidden.
  static wxString shown(const Control& control) {
    return control.text().empty() ? wxString("-") : toWx(control.text());
  }
  // Why: some themes have a link colour for a light background only.
  void showColours() override {
    setLinkColour(*link_, readable(wxSystemSettings::GetColour(wxSYS_COLOUR_HOTLIGHT),
                                   toWx(kButtonText), {toWx(kButtonFace)}));
  }

 private:
  wxHyperlinkCtrl* link_;
};

// Why two classes: the toolkit has a class of its own for buttons that show a picture only.
wxButton* makePictureButton(wxWindow* parent, const Control& control, const ViewStyle& style) {
  if (style.caption.empty()) {
    return new wxBitmapButton(parent, wxID_ANY, artBitmap(*parent, control.picture()));
  }
  return new wxButton(parent, wxID_ANY, toWx(style.caption));
}

class PictureButtonView : public WidgetView {
 public:
  PictureButtonView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), button_(makePictureButton(parent, control, style)) {
    button_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { clickLater(*button_, control_); });
    setAccessibleName(*button_, accessibleName());
  }
  wxWindow* window() const override { return button_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kPicture && !control_.picture().empty()) {
      button_->SetBitmap(artBitmap(*button_, control_.picture()));
      centreCaption(*button_);
    }
  }

 private:
  wxButton* button_;
};

class PictureView : public WidgetView {
 public:
  PictureView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        picture_(new wxStaticBitmap(parent, wxID_ANY, artBitmap(*parent, control.picture()))) {
    if (control.takesClicks()) {
      picture_->SetCursor(wxCursor(wxCURSOR_HAND));
      picture_->Bind(wxEVT_LEFT_UP, [this](wxMouseEvent&) { clickByUser(*picture_, control_); });
    }
  }
  wxWindow* window() const override { return picture_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kPicture && !control_.picture().empty()) {
      picture_->SetBitmap(artBitmap(*picture_, control_.picture()));
    }
  }

 private:
  wxStaticBitmap* picture_;
};

class CheckBoxView : public WidgetView {
 public:
  CheckBoxView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        box_(new wxCheckBox(parent, wxID_ANY, toWx(control.text()), wxDefaultPosition,
                            wxDefaultSize, wxCHK_3STATE)) {
    box_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent&) {
      clickByUser(*box_, control_);
      // The toolkit has changed the mark already; the form decides whether it stays.
      showContent(Change::kValue);
    });
  }
  wxWindow* window() const override { return box_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kText) {
      box_->SetLabel(toWx(control_.text()));
    } else if (what == Change::kValue) {
      box_->Set3StateValue(control_.value() == 2 ? wxCHK_UNDETERMINED
                           : control_.checked()  ? wxCHK_CHECKED
                                                 : wxCHK_UNCHECKED);
    }
  }

 private:
  wxCheckBox* box_;
};

// Whether the option starts a group. The toolkit puts the options that follow it into the same
// group.
bool isFirstOfGroup(const Control& control) {
  for (const Control* other : control.form().controls()) {
    if (other->kind() == ControlKind::kOptionButton && other->group() == control.group()) {
      return other == &control;
    }
  }
  return true;
}

// Whether the form has chosen no option of the control's group.
bool noneOfGroupIsChosen(const Control& control) {
  const auto& all = control.form().controls();
  return std::none_of(all.begin(), all.end(), [&](const Control* other) {
    return other->kind() == ControlKind::kOptionButton && other->group() == control.group() &&
           other->value() == 1;
  });
}

// Shows a group of options without a choice. Why: in the toolkit one button of a group is always
// chosen, so a hidden button is added and chosen. Created last, it joins the group of the buttons
// before it.
void chooseNone(wxWindow& parent, const wxString& group) {
  auto* none = dynamic_cast<wxRadioButton*>(wxWindow::FindWindowByName(group, &parent));
  if (none == nullptr) {
    none = new wxRadioButton;
    none->Hide();
    none->Create(&parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                 wxDefaultValidator, group);
  }
  none->SetValue(true);
}

class OptionView : public WidgetView {
 public:
  OptionView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        option_(new wxRadioButton(parent, wxID_ANY, toWx(control.text()), wxDefaultPosition,
                                  wxDefaultSize, isFirstOfGroup(control) ? wxRB_GROUP : 0)) {
    // An option opens no box, so its click needs no delay.
    option_->Bind(wxEVT_RADIOBUTTON,
                  [this](wxCommandEvent&) { byUser(control_, &Control::click); });
  }
  wxWindow* window() const override { return option_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kText) {
      option_->SetLabel(toWx(control_.text()));
    } else if (what == Change::kValue && control_.value() == 1) {
      option_->SetValue(true);
    } else if (what == Change::kValue && option_->GetValue() && noneOfGroupIsChosen(control_)) {
      chooseNone(*option_->GetParent(), "no " + toWx(control_.group()));
    }
  }

 private:
  wxRadioButton* option_;
};

}  // namespace

std::unique_ptr<ControlView> makeButtonView(wxWindow* parent, Control& control,
                                            const ViewStyle& style) {
  return std::make_unique<ButtonView>(parent, control, style);
}

std::unique_ptr<ControlView> makeLinkView(wxWindow* parent, Control& control,
                                          const ViewStyle& style) {
  return std::make_unique<LinkView>(parent, control, style);
}

std::unique_ptr<ControlView> makePictureButtonView(wxWindow* parent, Control& control,
                                                   const ViewStyle& style) {
  return std::make_unique<PictureButtonView>(parent, control, style);
}

std::unique_ptr<ControlView> makePictureView(wxWindow* parent, Control& control,
                                             const ViewStyle& style) {
  return std::make_unique<PictureView>(parent, control, style);
}

std::unique_ptr<ControlView> makeCheckBoxView(wxWindow* parent, Control& control,
                                              const ViewStyle& style) {
  return std::make_unique<CheckBoxView>(parent, control, style);
}

std::unique_ptr<ControlView> makeOptionView(wxWindow* parent, Control& control,
                                            const ViewStyle& style) {
  return std::make_unique<OptionView>(parent, control, style);
}

}  // namespace relaybird::desktop
