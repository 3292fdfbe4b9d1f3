// SPDX-License-Identifier: MIT
// The settings window: a notebook with five pages, and OK, Cancel and Apply. The captions come from
// the form; this file only places the controls.
#include "ui/desktop/windows/settings_window.h"

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr int kNumberWidth = 8;

}  // namespace

SettingsWindow::SettingsWindow(MainWindow& owner, frmPrefs& form)
    : TabbedDialog(owner, form, form.tabPrefs), frm_(form) {
  wxWindow* const general = generalTab(book());
  wxWindow* const size = sizeTab(book());
  wxWindow* const sender = senderTab(book());
  wxWindow* const text = textTab(book());
  finish({general, size, sender, text, cellPhoneTab(book())}, buttons());
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

}  // namespace relaybird::desktop
