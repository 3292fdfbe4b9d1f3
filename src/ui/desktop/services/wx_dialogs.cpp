// SPDX-License-Identifier: MIT
// Message boxes, questions and file dialogs. Message boxes are dialogs of our own. Why not
// wxMessageDialog: it does not scroll a text that is higher than the screen, its buttons cannot be
// chosen freely, and it offers no way to close it when the session ends.
#include "ui/desktop/services/wx_dialogs.h"

#include <wx/artprov.h>
#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/filedlg.h>
#include <wx/menu.h>
#include <wx/scrolwin.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/statbmp.h>
#include <wx/textctrl.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"
#include "ui/forms/model/dialogs.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

// The result of a box that is closed without an answer.
constexpr int kNoAnswer = -1;

constexpr int kIconSize = 48;

// In average letters; enough to show most addresses whole.
constexpr int kFieldWidth = 48;

// In average letters; enough for a number and an address of usual length in one line.
constexpr int kLongestLine = 76;
// In per cent of the screen's height.
constexpr int kHighestText = 60;

// Scrolls the text by the cursor keys while the first button keeps the focus.
void scrollByKeys(wxDialog& box, wxScrolledWindow& text) {
  static const std::map<int, wxEventType> kKeys{
      {WXK_UP, wxEVT_SCROLLWIN_LINEUP},     {WXK_DOWN, wxEVT_SCROLLWIN_LINEDOWN},
      {WXK_PAGEUP, wxEVT_SCROLLWIN_PAGEUP}, {WXK_PAGEDOWN, wxEVT_SCROLLWIN_PAGEDOWN},
      {WXK_HOME, wxEVT_SCROLLWIN_TOP},      {WXK_END, wxEVT_SCROLLWIN_BOTTOM}};
  // Before the focused button sees the key, which would move the focus to the next button.
  box.Bind(wxEVT_CHAR_HOOK, [&text](wxKeyEvent& event) {
    const auto key = kKeys.find(event.GetKeyCode());
    if (key == kKeys.end()) {
      event.Skip();
      return;
    }
    wxScrollWinEvent scroll(key->second, 0, wxVERTICAL);
    scroll.SetEventObject(&text);
    text.ProcessWindowEvent(scroll);
  });
}

WrappingLabel* makeLabel(wxWindow* parent, const std::string& text) {
  auto* label = new WrappingLabel(parent, kLongestLine);
  setLabelFor(*label, nullptr);
  label->show(toWx(text));
  return label;
}

// The wrapped text. A text that is too high for the screen scrolls, also by the keyboard, so that
// the user can read all of it before answering.
wxWindow* makeBoxText(wxDialog& box, const std::string& text) {
  WrappingLabel* label = makeLabel(&box, text);
  const int highest = wxDisplay(&box).GetClientArea().GetHeight() * kHighestText / 100;
  const wxSize size = label->GetBestSize();
  if (size.GetHeight() <= highest) {
    return label;
  }
  // Made anew inside the scrolled window: a widget keeps its parent.
  label->Destroy();
  auto* frame = new wxScrolledWindow(&box, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                     wxVSCROLL | wxBORDER_THEME);
  auto* inside = new wxBoxSizer(wxVERTICAL);
  inside->Add(makeLabel(frame, text), wxSizerFlags().Border(wxALL, scaled(box, kGap)));
  frame->SetSizer(inside);
  frame->SetScrollRate(0, frame->GetCharHeight());
  showScrollBars(*frame);
  const int bar = wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, frame);
  frame->SetMinSize({inside->CalcMin().GetWidth() + bar + scaled(box, kGap), highest});
  frame->FitInside();
  scrollByKeys(box, *frame);
  return frame;
}

// A row of buttons. Each one ends the box with its position; the first one is the default.
wxSizer* makeBoxButtons(wxDialog& box, const std::vector<BoxAnswer>& answers) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  int position = 0;
  for (const BoxAnswer answer : answers) {
    // "&" makes the first letter the access key.
    auto* button = new wxButton(&box, wxID_ANY, "&" + toWx(answerText(answer)));
    button->Bind(wxEVT_BUTTON, [&box, position](wxCommandEvent&) { box.EndModal(position); });
    sizer->Add(button, wxSizerFlags().Border(position == 0 ? 0 : wxLEFT, scaled(box, kGap)));
    if (position++ == 0) {
      button->SetDefault();
      button->SetFocus();
    }
  }
  return sizer;
}

// Places the content above the buttons. Escape and the window's close button end the box with
// kNoAnswer.
void finishBox(wxDialog& box, wxSizer* content, wxSizer* buttons) {
  box.SetIcons(programIcons());
  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(content, wxSizerFlags(1).Expand().Border(wxALL, scaled(box, kMargin)));
  all->Add(buttons,
           wxSizerFlags().Right().Border(wxLEFT | wxRIGHT | wxBOTTOM, scaled(box, kMargin)));
  box.SetSizerAndFit(all);
  box.CentreOnParent();
  box.Bind(wxEVT_CLOSE_WINDOW, [&box](wxCloseEvent&) { box.EndModal(kNoAnswer); });
  box.Bind(wxEVT_CHAR_HOOK, [&box](wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE) {
      box.EndModal(kNoAnswer);
    } else {
      event.Skip();
    }
  });
}

// A message box. Ends with the position of the chosen answer in answersOf(), or kNoAnswer.
class BoxDialog : public wxDialog {
 public:
  BoxDialog(wxWindow* owner, const AnswerBox& box);

 private:
  wxSizer* content(const AnswerBox& box);
};

BoxDialog::BoxDialog(wxWindow* owner, const AnswerBox& box)
    : wxDialog(owner, wxID_ANY, toWx(box.title)) {
  setAccessibleRole(*this, AccessibleRole::kAlert);
  wxSizer* words = content(box);
  finishBox(*this, words, makeBoxButtons(*this, answersOf(box.buttons)));
}

wxSizer* BoxDialog::content(const AnswerBox& box) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  if (box.icon != BoxIcon::kNone) {
    const wxArtID icon = box.icon == BoxIcon::kCritical ? wxART_ERROR : wxART_WARNING;
    const int side = scaledWithFont(*this, kIconSize);
    auto* picture = new wxStaticBitmap(
        this, wxID_ANY,
        wxArtProvider::GetBitmapBundle(icon, wxART_MESSAGE_BOX, wxSize(side, side)));
    setAccessibleName(*picture, box.icon == BoxIcon::kCritical ? "Error" : "Warning");
    sizer->Add(picture, wxSizerFlags().Top().Border(wxRIGHT, scaled(*this, kMargin)));
  }
  sizer->Add(makeBoxText(*this, box.text), wxSizerFlags(1).CentreVertical());
  return sizer;
}

// Asks for a line of text. Ends with 0 for OK, and with another value for Cancel and closing.
class InputDialog : public wxDialog {
 public:
  InputDialog(wxWindow* owner, const InputBox& box);
  // The text of the field.
  std::string entry() const;

 private:
  wxTextCtrl* field_;
};

InputDialog::InputDialog(wxWindow* owner, const InputBox& box)
    : wxDialog(owner, wxID_ANY, toWx(box.title)) {
  setAccessibleRole(*this, AccessibleRole::kDialog);
  wxWindow* prompt = makeBoxText(*this, box.prompt);
  field_ = new wxTextCtrl(this, wxID_ANY, toWx(box.entry), wxDefaultPosition, wxDefaultSize,
                          wxTE_PROCESS_ENTER | (box.secret ? wxTE_PASSWORD : 0));
  field_->SetMinSize({kFieldWidth * GetCharWidth(), -1});
  leaveRoomForText(*field_);
  field_->Bind(wxEVT_TEXT_ENTER, [this](wxCommandEvent&) { EndModal(0); });
  setAccessibleName(*field_, box.prompt);
  setLabelFor(*prompt, field_);
  finishBox(*this, column(*this, {prompt, field_}),
            makeBoxButtons(*this, answersOf(BoxButtons::kOkCancel)));
  field_->SetFocus();
  field_->SelectAll();
}

std::string InputDialog::entry() const {
  return fromWx(field_->GetValue());
}

}  // namespace

WxDialogs::WxDialogs(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

int WxDialogs::showModal(wxDialog& dialog) {
  // The program is ending: a box opened now would wait for an answer that nobody gives.
  return closed_ ? kNoAnswer : dialog.ShowModal();
}

BoxAnswer WxDialogs::messageBox(const AnswerBox& box) {
  BoxDialog dialog(owner_(), box);
  const std::vector<BoxAnswer> answers = answersOf(box.buttons);
  const int chosen = showModal(dialog);
  return chosen >= 0 && chosen < static_cast<int>(answers.size())
             ? answers[static_cast<std::size_t>(chosen)]
             : safeAnswer(box.buttons);
}

std::string WxDialogs::inputBox(const InputBox& box) {
  InputDialog dialog(owner_(), box);
  return showModal(dialog) == 0 ? dialog.entry() : std::string();
}
// Empty for Cancel, as for an empty entry.

std::optional<std::string> WxDialogs::openFile(const OpenFileBox& box) {
  wxFileDialog dialog(owner_(), toWx(box.title), wxEmptyString, wxEmptyString, toWx(box.filter),
                      wxFD_OPEN);
  if (showModal(dialog) != wxID_OK) {
    return std::nullopt;
  }
  return fromWx(dialog.GetPath());
}

std::optional<std::string> WxDialogs::saveFile(const SaveFileBox& box) {
  wxFileDialog dialog(owner_(), toWx(box.title), wxEmptyString, toWx(box.name), toWx(box.filter),
                      wxFD_SAVE);
  if (showModal(dialog) != wxID_OK) {
    return std::nullopt;
  }
  return fromWx(dialog.GetPath());
}

void WxDialogs::popupMenu(Control& menu) {
  wxWindow* owner = owner_();
  if (owner == nullptr) {
    return;
  }
  wxMenu entries;
  for (Control* entry : menu.form().controls()) {
    if (entry->parent() == &menu) {
      const wxMenuItem* item = entries.Append(wxID_ANY, toWx(entry->text()));
      entries.Bind(
          wxEVT_MENU, [entry](wxCommandEvent&) { entry->click(); }, item->GetId());
    }
  }
  owner->PopupMenu(&entries);
}

void WxDialogs::closeAll() {
  closed_ = true;
  cancelNativeDialogs();
  const std::vector<wxWindow*> windows(wxTopLevelWindows.begin(), wxTopLevelWindows.end());
  // The latest first, because each one runs inside the loop of the one before it.
  for (auto each = windows.rbegin(); each != windows.rend(); ++each) {
    auto* dialog = dynamic_cast<wxDialog*>(*each);
    if (dialog != nullptr && dialog->IsModal()) {
      dialog->EndModal(kNoAnswer);
    }
  }
}

}  // namespace relaybird::desktop
