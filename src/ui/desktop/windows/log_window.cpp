// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/log_window.h"

#include <wx/panel.h>

#include "ui/desktop/bind/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 420;

}  // namespace

LogWindow::LogWindow(wxWindow& owner, frmLog& form)
    : wxFrame(&owner, wxID_ANY, toWx(form.caption()), wxDefaultPosition, wxDefaultSize,
              wxDEFAULT_FRAME_STYLE | wxFRAME_NO_TASKBAR),
      FormView(form) {
  SetName("frmLog");
  SetIcons(programIcons());
  auto* panel = new wxPanel(this);
  wxWindow* lines = add(panel, form.lstLog, {.name = form.caption()});
  auto* bottom = new wxBoxSizer(wxHORIZONTAL);
  wxWindow* verbose = add(panel, form.chkVerboseLog);
  bottom->Add(verbose, wxSizerFlags().CentreVertical());
  bottom->AddStretchSpacer();
  bottom->Add(row(*this, {add(panel, form.cmdCopyToClip), add(panel, form.cmdClose)}));
  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(lines, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kGap)));
  all->Add(bottom, wxSizerFlags().Expand().Border(wxALL, scaled(*this, kGap)));
  panel->SetSizer(all);
  // With a place for the check box that may come.
  SetMinClientSize(panel->GetBestSize() + wxSize(verbose->GetBestSize().GetWidth(), 0));
  SetSize(FromDIP(wxSize(kWidth, kHeight)));
  leaveClosingToForm(*this);
  Bind(wxEVT_CHAR_HOOK, [&form](wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE) {
      form.cmdClose.click();
    } else if (event.GetKeyCode() == 'C' && event.GetModifiers() == wxMOD_CONTROL) {
      form.cmdCopyToClip.click();
    } else {
      event.Skip();
    }
  });
}

void LogWindow::formChanged(const Form&, FormChange what) {
  if (what == FormChange::kShown) {
    Show();
    Raise();
  } else if (what == FormChange::kHidden || what == FormChange::kUnloaded) {
    Hide();
  }
}

}  // namespace relaybird::desktop
