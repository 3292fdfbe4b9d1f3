// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/about_window.h"

#include <wx/statbmp.h>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr int kTextWidth = 360;
constexpr int kVersionCharacters = 12;

}  // namespace

AboutWindow::AboutWindow(wxTopLevelWindow& owner, frmAbout& form)
    : wxDialog(&owner, wxID_ANY, toWx(form.caption())), FormView(form), owner_(owner) {
  SetName("frmAbout");
  SetIcons(programIcons());
  auto* icon = new wxStaticBitmap(this, wxID_ANY, artBitmap(*this, "relaybird"));
  setAccessibleName(*icon, "Relaybird");
  setAccessibleRole(*this, AccessibleRole::kDialog);
  auto* texts =
      column(*this, {add(this, form.lblTitle, {.emphasised = true}), add(this, form.lblDescription),
                     add(this, form.lblDisclaimer), add(this, form.lblCopyright)});
  texts->Add(versionAndHomepage(form), wxSizerFlags().Expand().Border(wxTOP, scaled(*this, kGap)));
  texts->SetMinSize(FromDIP(wxSize(kTextWidth, -1)));
  auto* top = new wxBoxSizer(wxHORIZONTAL);
  top->Add(icon, wxSizerFlags().Top());
  top->Add(texts, wxSizerFlags(1).Border(wxLEFT, scaled(*this, kMargin)));

  wxWindow* information = add(this, form.cmdSysInfo);
  wxWindow* ok = add(this, form.cmdOk);
  ok->SetFocus();
  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(top, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kMargin)));
  all->Add(row(*this, {information, ok}),
           wxSizerFlags().Right().Border(wxLEFT | wxRIGHT | wxBOTTOM, scaled(*this, kMargin)));
  SetSizerAndFit(all);
  SetEscapeId(ok->GetId());
  leaveClosingToForm(*this);
  takeShortcuts(*this);
}

// The version and the home page, as text that can be copied or opened.
wxSizer* AboutWindow::versionAndHomepage(frmAbout& form) {
  auto* grid = fieldGrid(*this, 2);
  const wxSizerFlags middle = wxSizerFlags().CentreVertical();
  grid->Add(add(this, form.lblVersion), middle);
  grid->Add(add(this, form.txtVersion,
                {.widthInCharacters = kVersionCharacters, .namedBy = &form.lblVersion}),
            middle);
  grid->Add(add(this, form.lblHomepage), middle);
  grid->Add(add(this, form.lnkHomepage), middle);
  return grid;
}

void AboutWindow::formChanged(const Form&, FormChange what) {
  if (what == FormChange::kShown) {
    Fit();
    CentreOnParent();
    Show();
    setModalOver(*this, owner_, true);
  } else if (what == FormChange::kHidden || what == FormChange::kUnloaded) {
    setModalOver(*this, owner_, false);
    Hide();
  }
}

}  // namespace relaybird::desktop
