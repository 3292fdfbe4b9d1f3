// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/log_window.h"

#include <wx/panel.h>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird::desktop {
namespace {

// With room for what is said of a hit in a log of a long run.
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
  wxSizer* top = find(panel);
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
  // With a place for the check box that may come.
  SetMinClientSize(panel->GetBestSize() + wxSize(verbose->GetBestSize().GetWidth(), 0));
  wxSize size = FromDIP(wxSize(kWidth, kHeight));
  size.IncTo(GetMinSize());
  SetSize(size);
  lines_->SetFocus();
  followPlace(*this, places_);
  leaveClosingToForm(*this);
  takeShortcuts(*this);
  Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) { event.Skip(!key(event)); });
}

wxSizer* LogWindow::find(wxWindow* parent) {
  wxWindow* label = add(parent, frm_.lblFind);
  field_ = dynamic_cast<wxTextCtrl*>(
      add(parent, frm_.txtFind, {.widthInCharacters = kFindCharacters, .namedBy = &frm_.lblFind}));
  auto* sizer =
      row(*this, {label, field_, add(parent, frm_.cmdFindPrevious), add(parent, frm_.cmdFindNext)});
  wxWindow* outcome = add(parent, frm_.lblFound);
  // Takes what room there is: it must not make the window wider than a screen with large letters.
  outcome->SetMinSize({1, -1});
  sizer->Add(outcome, wxSizerFlags(1).CentreVertical().ReserveSpaceEvenIfHidden().Border(
                          wxLEFT, scaled(*this, kMargin)));
  return sizer;
}

// Keys that depend on where they are pressed.
bool LogWindow::key(const wxKeyEvent& event) {
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

// Assistive tools tell what changes where the keys are.
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
