// SPDX-License-Identifier: MIT
// The views of labels and text fields.
//
// A form may change the text while the user types (TypedText: text and caret). The toolkit must not
// be given another text within its own change event, so the corrected text is shown by a later
// event. Only the part that differs is replaced, so that the caret and the scroll position survive.
#include "ui/desktop/views/widget_view.h"

#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <algorithm>

#include "platform/system/secret.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

// The margin between the text and the border of a multi-line field.
constexpr int kAroundLines = 6;
// The minimum height of a multi-line field. Three lines stay visible above a horizontal scroll bar,
// and the vertical one has enough room.
constexpr int kLeastLines = 4;

class LabelView : public WidgetView {
 public:
  LabelView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        label_(style.widthInCharacters > 0 ? new WrappingLabel(parent, style.widthInCharacters)
                                           : new WrappingLabel(parent)) {
    // No accessible label of anything until a control is named by it.
    setLabelFor(*label_, nullptr);
    if (style.emphasised) {
      label_->SetFont(label_->GetFont().Bold());
    }
    if (control.takesClicks()) {
      label_->SetCursor(wxCursor(wxCURSOR_HAND));
      label_->Bind(wxEVT_LEFT_UP, [this](wxMouseEvent&) { byUser(control_, &Control::click); });
    }
  }
  wxWindow* window() const override { return label_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kText) {
      label_->show(toWx(control_.text()));
    }
  }

 private:
  WrappingLabel* label_;
};

class TextView : public WidgetView {
 public:
  TextView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style),
        field_(new wxTextCtrl(parent, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                              // Why word wrap: otherwise the toolkit breaks words with a hyphen,
                              // which is not part of the address.
                              (style.multiline ? wxTE_MULTILINE | wxTE_WORDWRAP : 0) |
                                  (control.hidesText() ? wxTE_PASSWORD : 0) |
                                  (control.locked() ? wxTE_READONLY : 0))),
        followsEnd_(style.followsEnd) {
    if (style.widthInCharacters > 0) {
      field_->SetInitialSize(field_->GetSizeFromTextSize(
          field_->GetTextExtent(wxString('0', static_cast<std::size_t>(style.widthInCharacters)))
              .GetWidth()));
    }
    if (style.multiline) {
      leaveRoomForLines();
    } else {
      leaveRoomForText(*field_);
    }
    field_->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { edited(); });
    if (control.takesClicks()) {
      field_->Bind(wxEVT_LEFT_UP, [this](wxMouseEvent& event) {
        event.Skip();
        clickByUser(*field_, control_);
      });
      field_->Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
        if (event.GetKeyCode() == WXK_SPACE) {
          clickByUser(*field_, control_);
        } else {
          event.Skip();
        }
      });
    }
    setAccessibleName(*field_, accessibleName());
  }
  wxWindow* window() const override { return field_; }

 protected:
  void showContent(Change what) override {
    if (what != Change::kText || editing_) {
      return;
    }
    if (const wxString text = toWx(control_.text()); field_->GetValue() != text) {
      field_->ChangeValue(text);
      if (followsEnd_) {
        field_->ShowPosition(field_->GetLastPosition());
      }
    }
  }

 private:
  void leaveRoomForLines() {
    const int margin = field_->FromDIP(kAroundLines);
    setTextMargin(*field_, margin);
    showScrollBars(*field_);
    const wxSize borders = field_->GetSize() - field_->GetClientSize();
    field_->SetMinSize({-1, kLeastLines * field_->GetCharHeight() + 2 * margin + borders.y});
  }

  // Called while the toolkit changes the text, so the text must not be changed here.
  void edited() {
    if (editing_) {
      return;
    }
    if (control_.hidesText()) {
      passwordEdited();
      return;
    }
    editing_ = true;
    const wxString text = field_->GetValue();
    // The caret, counted from the end of the text. Why: on some platforms a position counts a line
    // end as two characters and GetValue() as one; behind the caret there is seldom a line end.
    const auto behind =
        static_cast<std::size_t>(field_->GetLastPosition() - field_->GetInsertionPoint());
    typed_ = {fromWx(text),
              fromWx(text.Left(text.length() - std::min(behind, text.length()))).size()};
    byUser(control_, [this](Control& control) { typed_ = control.type(typed_); });
    editing_ = false;
    if (text != toWx(control_.text())) {
      later(*field_, [this] { showCorrection(); });
    }
  }

  // No rule corrects a password while it is typed, so that nothing of it has to stay here.
  void passwordEdited() {
    editing_ = true;
    std::string typed = fromWx(field_->GetValue());
    byUser(control_, [&typed](Control& control) { control.setText(typed); });
    editing_ = false;
    if (typed != control_.text()) {
      later(*field_, [this] { showCorrection(); });
    }
    wipe(typed);
    overwriteStack();
  }

  // Shows the form's text if it differs from the typed one. A field that takes no input shows its
  // old text again.
  void showCorrection() {
    const wxString now = field_->GetValue();
    const wxString wanted = toWx(control_.text());
    if (now == wanted) {
      return;
    }
    std::size_t head = 0;
    const std::size_t most = std::min(now.length(), wanted.length());
    while (head < most && now[head] == wanted[head]) {
      ++head;
    }
    std::size_t tail = 0;
    while (tail < most - head &&
           now[now.length() - tail - 1] == wanted[wanted.length() - tail - 1]) {
      ++tail;
    }
    editing_ = true;
    field_->Replace(static_cast<long>(head), static_cast<long>(now.length() - tail),
                    wanted.Mid(head, wanted.length() - tail - head));
    if (typed_.text == control_.text()) {
      field_->SetInsertionPoint(
          static_cast<long>(toWx(typed_.text.substr(0, typed_.caret)).length()));
    }
    editing_ = false;
  }

  wxTextCtrl* field_;
  bool followsEnd_;
  TypedText typed_;       // the last typed text, as the form corrected it
  bool editing_ = false;  // ignore change events and updates: the change is made here
};

}  // namespace

std::unique_ptr<ControlView> makeLabelView(wxWindow* parent, Control& control,
                                           const ViewStyle& style) {
  return std::make_unique<LabelView>(parent, control, style);
}

std::unique_ptr<ControlView> makeTextView(wxWindow* parent, Control& control,
                                          const ViewStyle& style) {
  return std::make_unique<TextView>(parent, control, style);
}

}  // namespace relaybird::desktop
