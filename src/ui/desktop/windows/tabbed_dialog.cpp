// SPDX-License-Identifier: MIT
// The form decides which tab is shown and which controls; the window follows, and grows when what
// it shows needs more room. It never shrinks by itself, so that buttons stay where they were.
#include "ui/desktop/windows/tabbed_dialog.h"

#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird::desktop {

Page::Page(wxWindow* book) : wxPanel(book), parts_(new wxBoxSizer(wxVERTICAL)) {
  auto* margin = new wxBoxSizer(wxVERTICAL);
  margin->Add(parts_, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kMargin)));
  SetSizer(margin);
}

void Page::heading(wxWindow* label) {
  if (!parts_->IsEmpty()) {
    parts_->AddSpacer(scaled(*this, kMargin));
  }
  parts_->Add(label, wxSizerFlags().Expand());
}

void Page::part(wxWindow* window, int proportion) {
  parts_->Add(window, wxSizerFlags(proportion).Expand().Border(wxTOP, scaled(*this, kGap)));
}

void Page::part(wxSizer* sizer, int proportion) {
  parts_->Add(sizer, wxSizerFlags(proportion).Expand().Border(wxTOP, scaled(*this, kGap)));
}

void Page::narrow(wxWindow* window) {
  parts_->Add(window, wxSizerFlags().Border(wxTOP, scaled(*this, kGap)));
}

TabbedDialog::TabbedDialog(MainWindow& owner, Form& form, Control& tabs)
    : wxDialog(&owner, wxID_ANY, toWx(form.caption()), wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER),
      FormView(form),
      owner_(owner),
      tabs_(tabs),
      book_(new wxNotebook(this, wxID_ANY)) {
  SetName(form.name());
  SetIcons(programIcons());
  setAccessibleRole(*this, AccessibleRole::kDialog);
}

void TabbedDialog::finish(std::initializer_list<wxWindow*> pages, wxSizer* buttons) {
  std::size_t tab = 0;
  for (wxWindow* page : pages) {
    book_->AddPage(page, toWx(tabs_.list().at(tab++)));
  }
  follow(tabs_, std::make_unique<TabsView>(*book_, tabs_));

  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(book_, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kGap)));
  all->Add(buttons, wxSizerFlags().Right().Border(wxALL, scaled(*this, kGap)));
  SetSizerAndFit(all);
  // Why: the toolkit sizes a page when it is first shown. Before that a field in it is too small
  // for its scroll bar, and GTK prints warnings.
  for (wxWindow* page : pages) {
    page->SetSize(page->GetBestSize());
    // The same for what is hidden, which a sizer leaves out: it is shown before it is laid out.
    for (wxWindow* part : page->GetChildren()) {
      if (!part->IsShown()) {
        part->SetSize(part->GetBestSize());
      }
    }
  }
  followPlace(*this, owner_.places());
  leaveClosingToForm(*this);
  takeShortcuts(*this);
  // This event comes before the focused control gets the key.
  Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (event.GetModifiers() == wxMOD_CONTROL && (key == WXK_PAGEDOWN || key == WXK_PAGEUP)) {
      turnPage(key == WXK_PAGEDOWN);
    } else {
      event.Skip();
    }
  });
  // The form's own colours are mixed with those of the theme, so they are computed again.
  Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& event) {
    event.Skip();
    showAll();
  });
}

// Shows the next or previous page, whatever has the focus. Why the focus is set: the toolkit moves
// it to the page, where it belongs only if it was on a page before; otherwise it returns to the
// control that had it.
void TabbedDialog::turnPage(bool forward) {
  wxWindow* const focus = FindFocus();
  const bool inside = focus == nullptr || book_->GetCurrentPage()->IsDescendant(focus);
  const auto count = static_cast<int>(tabs_.list().size());
  byUser(tabs_,
         [&](Control& tabs) { tabs.setValue((tabs.value() + (forward ? 1 : count - 1)) % count); });
  (inside ? book_->GetCurrentPage() : focus)->SetFocus();
}

// Later, because one choice of the user shows and hides several controls.
void TabbedDialog::controlChanged(const Control& control, Change what) {
  FormView::controlChanged(control, what);
  const bool label = control.kind() == ControlKind::kLabel && what == Change::kText;
  if ((what == Change::kVisible || label) && !std::exchange(makesRoom_, true)) {
    later(*this, [this] { makeRoom(); });
  }
}

// Grows the window if its content no longer fits, so that nothing is cut off.
void TabbedDialog::makeRoom() {
  makesRoom_ = false;
  book_->InvalidateBestSize();
  const wxSize least = GetSizer()->ComputeFittingClientSize(this);
  wxSize size = GetClientSize();
  size.IncTo(least);
  SetMinClientSize(least);
  SetClientSize(size);
  Layout();
  for (std::size_t page = 0; page < book_->GetPageCount(); ++page) {
    book_->GetPage(page)->Layout();
  }
}

void TabbedDialog::formChanged(const Form& form, FormChange what) {
  switch (what) {
    case FormChange::kShown:
      if (!restorePlace(*this, owner_.places())) {
        CentreOnParent();
      }
      Show();
      Raise();
      setModalOver(*this, owner_, true);
      // The focus starts at the first field of the page each time.
      book_->GetCurrentPage()->SetFocus();
      break;
    case FormChange::kHidden:
    case FormChange::kUnloaded:
      setModalOver(*this, owner_, false);
      Hide();
      break;
    case FormChange::kCaption:
      SetTitle(toWx(form.caption()));
      break;
    case FormChange::kMinimised:
      break;
  }
}

}  // namespace relaybird::desktop
