// SPDX-License-Identifier: MIT
// The settings window: a notebook with five pages, and OK, Cancel and Apply. The captions come from
// the form; this file only places the controls.
#include "ui/desktop/windows/settings_window.h"

#include <wx/panel.h>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/views/form_view.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird::desktop {
namespace {

// A page of the notebook. Its parts are placed one below the other.
class Page : public wxPanel {
 public:
  explicit Page(wxWindow* book) : wxPanel(book), parts_(new wxBoxSizer(wxVERTICAL)) {
    auto* margin = new wxBoxSizer(wxVERTICAL);
    margin->Add(parts_, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kMargin)));
    SetSizer(margin);
  }

  void heading(wxWindow* label) {
    if (!parts_->IsEmpty()) {
      parts_->AddSpacer(scaled(*this, kMargin));
    }
    parts_->Add(label, wxSizerFlags().Expand());
  }
  void part(wxWindow* window, int proportion = 0) {
    parts_->Add(window, wxSizerFlags(proportion).Expand().Border(wxTOP, scaled(*this, kGap)));
  }
  void part(wxSizer* sizer, int proportion = 0) {
    parts_->Add(sizer, wxSizerFlags(proportion).Expand().Border(wxTOP, scaled(*this, kGap)));
  }
  // Not expanded to the width of the page.
  void narrow(wxWindow* window) {
    parts_->Add(window, wxSizerFlags().Border(wxTOP, scaled(*this, kGap)));
  }

 private:
  wxBoxSizer* parts_;
};

constexpr int kNumberWidth = 8;

}  // namespace

SettingsWindow::SettingsWindow(MainWindow& owner, frmPrefs& form)
    : wxDialog(&owner, wxID_ANY, toWx(form.caption()), wxDefaultPosition, wxDefaultSize,
               wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER),
      FormView(form),
      owner_(owner),
      frm_(form),
      book_(new wxNotebook(this, wxID_ANY)) {
  SetName("frmPrefs");
  SetIcons(programIcons());
  setAccessibleRole(*this, AccessibleRole::kDialog);
  wxWindow* pages[] = {generalTab(book_), sizeTab(book_), senderTab(book_), textTab(book_),
                       cellPhoneTab(book_)};
  std::size_t tab = 0;
  for (wxWindow* page : pages) {
    book_->AddPage(page, toWx(frm_.tabPrefs.list().at(tab++)));
  }
  follow(frm_.tabPrefs, std::make_unique<TabsView>(*book_, frm_.tabPrefs));

  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(book_, wxSizerFlags(1).Expand().Border(wxALL, scaled(*this, kGap)));
  all->Add(buttons(), wxSizerFlags().Right().Border(wxALL, scaled(*this, kGap)));
  SetSizerAndFit(all);
  // Why: the toolkit sizes a page when it is first shown. Before that a field in it is too small
  // for its scroll bar, and GTK prints warnings.
  for (wxWindow* page : pages) {
    page->SetSize(page->GetBestSize());
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
void SettingsWindow::turnPage(bool forward) {
  wxWindow* const focus = FindFocus();
  const bool inside = focus == nullptr || book_->GetCurrentPage()->IsDescendant(focus);
  const auto count = static_cast<int>(frm_.tabPrefs.list().size());
  byUser(frm_.tabPrefs,
         [&](Control& tabs) { tabs.setValue((tabs.value() + (forward ? 1 : count - 1)) % count); });
  (inside ? book_->GetCurrentPage() : focus)->SetFocus();
}

wxWindow* SettingsWindow::generalTab(wxWindow* book) {
  auto* page = new Page(book);
  page->heading(add(page, frm_.lblEmail));
  page->part(add(page, frm_.txtAddress, {.multiline = true, .namedBy = &frm_.lblEmail}), 1);
  page->narrow(add(page, frm_.cmdValidateAd));
  auto* numbers = new wxFlexGridSizer(3, wxSize(scaled(*this, kGap), scaled(*this, kGap)));
  const wxSizerFlags middle = wxSizerFlags().CentreVertical();
  numbers->Add(add(page, frm_.lblMinutes), middle);
  numbers->Add(add(page, frm_.txtMinutes,
                   {.widthInCharacters = kNumberWidth,
                    .namedBy = &frm_.lblMinutes,
                    .describedBy = &frm_.lblHours}),
               middle);
  numbers->Add(add(page, frm_.lblHours), middle);
  numbers->Add(add(page, frm_.lblMaxToForward), middle);
  numbers->Add(add(page, frm_.txtMaxToForward,
                   {.widthInCharacters = kNumberWidth, .namedBy = &frm_.lblMaxToForward}),
               middle);
  page->part(numbers);
  page->heading(add(page, frm_.lblOtherPrefs, {.emphasised = true}));
  page->part(add(page, frm_.chkIgnoreExistingMsg));
  page->part(add(page, frm_.chkBcc));
  page->heading(add(page, frm_.Label1, {.emphasised = true}));
  page->part(add(page, frm_.chkForwardingOnAtStartup));
  page->part(add(page, frm_.chkForwardStart));
  return page;
}

wxWindow* SettingsWindow::sizeTab(wxWindow* book) {
  auto* page = new Page(book);
  page->heading(add(page, frm_.lblSize, {.emphasised = true}));
  wxWindow* limit = add(page, frm_.chkLimitFileSize);
  page->part(row(*this, {limit,
                         add(page, frm_.txtMaxFileSize,
                             {.widthInCharacters = kNumberWidth,
                              .namedBy = &frm_.chkLimitFileSize,
                              .describedBy = &frm_.lblMaxFileSize}),
                         add(page, frm_.lblMaxFileSize)}));
  page->part(add(page, frm_.chkIncludeAttachments));
  return page;
}

wxWindow* SettingsWindow::senderTab(wxWindow* book) {
  auto* page = new Page(book);
  page->heading(add(page, frm_.lblReceivedFrom, {.emphasised = true}));
  auto* frame = addFrame(wxVERTICAL, page, frm_.frmReceivedFrom);
  wxWindow* box = frame->GetStaticBox();
  setLabelFor(*box, box);  // Why: otherwise the title would name the first option in the frame
  const wxSizerFlags part = wxSizerFlags().Expand().Border(wxALL, scaled(*this, kGap));
  frame->Add(add(box, frm_.opbFwdAll), part);
  frame->Add(add(box, frm_.opbFwdAllBut), part);
  frame->Add(add(box, frm_.opbFwdOnly), part);
  frame->Add(add(box, frm_.lblAddresses), part);
  frame->Add(add(box, frm_.txtAddresses, {.multiline = true, .namedBy = &frm_.lblAddresses}),
             wxSizerFlags(part).Proportion(1));
  frame->Add(add(box, frm_.cmdGetSenderName), wxSizerFlags().Border(wxALL, scaled(*this, kGap)));
  page->part(frame, 1);
  return page;
}

wxWindow* SettingsWindow::textTab(wxWindow* book) {
  auto* page = new Page(book);
  page->heading(add(page, frm_.lblContentsFilter, {.emphasised = true}));
  page->part(add(page, frm_.chkContentFilter));
  auto* choices = fieldGrid(*this, 2);
  const auto pair = [&](Control& label, Control& field) {
    choices->Add(add(page, label), wxSizerFlags().CentreVertical());
    choices->Add(add(page, field, {.namedBy = &label}), wxSizerFlags().Expand());
  };
  pair(frm_.lblTextToCheck, frm_.cmbTextToCheck);
  pair(frm_.lblTypeOfMatch, frm_.cmbTypeOfMatch);
  page->part(choices);
  page->heading(add(page, frm_.Label3));
  page->part(add(page, frm_.txtWordMatch, {.multiline = true, .namedBy = &frm_.Label3}), 1);
  return page;
}

wxWindow* SettingsWindow::cellPhoneTab(wxWindow* book) {
  auto* page = new Page(book);
  page->heading(add(page, frm_.Label2, {.emphasised = true}));
  page->part(format(page, frm_.opbFormatForCellPhone, frm_.lblFormatForCellTitle,
                    frm_.lblFormatForCellDesc));
  page->part(format(page, frm_.opbFormatForEmail, frm_.lblFormatForEmailTitle,
                    frm_.lblFormatForEmailDesc));
  page->heading(add(page, frm_.Label8, {.emphasised = true}));
  page->part(add(page, frm_.lblWhichCellOptionSelected));
  page->part(row(*this, {add(page, frm_.opbRegCellPhone), add(page, frm_.opbRegEmail)}));
  return page;
}

wxSizer* SettingsWindow::format(wxWindow* page, Control& picture, Control& title,
                                Control& description) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  sizer->Add(add(page, picture, {.namedBy = &title, .describedBy = &description}),
             wxSizerFlags().Top());
  sizer->Add(column(*this, {add(page, title, {.emphasised = true}), add(page, description)}),
             wxSizerFlags(1).Border(wxLEFT, scaled(*this, kMargin)));
  return sizer;
}

wxSizer* SettingsWindow::buttons() {
  wxWindow* ok = add(this, frm_.cmdOK);
  wxWindow* cancel = add(this, frm_.cmdCancel);
  auto* sizer = row(*this, {ok, cancel, add(this, frm_.cmdApply)});
  SetEscapeId(cancel->GetId());
  return sizer;
}

void SettingsWindow::formChanged(const Form& form, FormChange what) {
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
