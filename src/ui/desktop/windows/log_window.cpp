// SPDX-License-Identifier: MIT
// The log window: a row to find text, the list of lines, and the buttons. Ctrl+F, Escape and Enter
// depend on the control that has the focus, so the window handles them itself.
#include "ui/desktop/windows/log_window.h"

#include <wx/panel.h>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird::desktop {
namespace {

// Wide enough for the number of hits in a long log beside the buttons.
constexpr int kWidth = 860;
constexpr int kHeight = 420;
constexpr int kFindCharacters = 24;

}  // namespace

LogWindow::LogWindow(MainWindow& owner, frmLog& form)
    : wxFrame(&owner, wxID_ANY, toWx(form.caption()), wxDefaultPosition, wxDefaultSize,
              wxDEFAULT_FRAME_STYLE | wxFRAME_NO_TASKBAR),
      FormView(form),
      places_(owner.places()),
      frm_(form) {
  SetName("frmLog");
  SetIcons(programIcons());
  auto* panel = new wxPanel(this);
  wxSizer* top = findRow(panel);
  lines_ = add(panel, form.lstLog, {.name = form.caption()});
  auto* bottom = new wxBoxSizer(wxHORIZONTAL);
  wxWindow* verbose = add(panel, form.chkVerboseLog);
  bottom->Add(verbose, wxSizerFlags().CentreVertical());
  bottom->AddStretchSpacer();
  bottom->Add(row(*this, {add(panel, form.cmdCopyToClip), add(panel, form.cmdSaveAs),
                          add(panel, form.cmdClose)}));
  auto* all = new wxBoxSizer(wxVERTICAL);
  const wxSizerFlags part = wxSizerFlags().Expand().Border(wxALL, scaled(*this, kGap));
  all->Add(top, part);
  all->Add(lines_, wxSizerFlags(1).Expand().Border(wxLEFT | wxRIGHT, scaled(*this, kGap)));
  all->Add(bottom, part);
  panel->SetSizer(all);
  // Includes the width of the check box, which may be hidden now.
  SetMinClientSize(panel->GetBestSize() + wxSize(verbose->GetBestSize().GetWidth(), 0));
  wxSize size = FromDIP(wxSize(kWidth, kHeight));
  size.IncTo(GetMinSize());
  SetSize(size);
  lines_->SetFocus();
  followPlace(*this, places_);
  leaveClosingToForm(*this);
  takeShortcuts(*this);
  // This event comes before the focused control gets the key.
  Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) { event.Skip(!handleKey(event)); });
}

wxSizer* LogWindow::findRow(wxWindow* parent) {
  wxWindow* label = add(parent, frm_.lblFind);
  field_ = dynamic_cast<wxTextCtrl*>(
      add(parent, frm_.txtFind, {.widthInCharacters = kFindCharacters, .namedBy = &frm_.lblFind}));
  auto* sizer =
      row(*this, {label, field_, add(parent, frm_.cmdFindPrevious), add(parent, frm_.cmdFindNext)});
  wxWindow* outcome = add(parent, frm_.lblFound);
  // Uses the remaining width only: with a large font its text must not make the window wider than
  // the screen.
  outcome->SetMinSize({1, -1});
  sizer->Add(outcome, wxSizerFlags(1).CentreVertical().ReserveSpaceEvenIfHidden().Border(
                          wxLEFT, scaled(*this, kMargin)));
  return sizer;
}

// Handles the keys whose effect depends on the focus; returns whether the key was handled.
bool LogWindow::handleKey(const wxKeyEvent& event) {
  const bool inField = FindFocus() == field_;
  const int code = event.GetKeyCode();
  if (code == WXK_ESCAPE) {
    if (inField && !field_->IsEmpty()) {
      field_->Clear();
      lines_->SetFocus();
    } else {
      frm_.cmdClose.click();
    }
  } else if (code == 'F' && event.GetModifiers() == wxMOD_CONTROL) {
    field_->SetFocus();
    field_->SelectAll();
  } else if (inField && (code == WXK_RETURN || code == WXK_NUMPAD_ENTER)) {
    (event.ShiftDown() ? frm_.cmdFindPrevious : frm_.cmdFindNext).click();
  } else {
    return false;
  }
  return true;
}

// Why: screen readers announce changes only of the control that has the focus.
void LogWindow::controlChanged(const Control& control, Change what) {
  FormView::controlChanged(control, what);
  if (&control == &frm_.lblFound && field_ != nullptr) {
    setAccessibleDescription(*field_, control.text());
  }
}

void LogWindow::formChanged(const Form&, FormChange what) {
  if (what == FormChange::kShown) {
    if (!IsShown()) {
      restorePlace(*this, places_);
    }
    Show();
    Raise();
  } else if (what == FormChange::kHidden || what == FormChange::kUnloaded) {
    Hide();
  }
}

}  // namespace relaybird::desktop
