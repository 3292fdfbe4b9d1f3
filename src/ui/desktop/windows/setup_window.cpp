// SPDX-License-Identifier: MIT
// The set-up window. The captions come from the form, which also hides what does not apply; this
// file only places the controls.
#include "ui/desktop/windows/setup_window.h"

#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

// In average letters: enough for most addresses and names of servers.
constexpr int kFieldWidth = 36;
constexpr int kPortWidth = 8;
// About as many as a test of an account that succeeds has. The last one, which is what the user
// waits for, is scrolled to.
constexpr int kTestLines = 15;

}  // namespace

SetupWindow::SetupWindow(MainWindow& owner, frmSetup& form)
    : TabbedDialog(owner, form, form.tabSetup), frm_(form) {
  // One after the other, because the Tab key follows the order of creation.
  wxWindow* const mail = yourMailTab();
  wxWindow* const servers = serversTab();
  wxWindow* const sending = sendingTab();
  finish({mail, servers, sending, testTab()}, buttons());
}

wxWindow* SetupWindow::yourMailTab() {
  auto* page = new Page(book());
  page->heading(add(page, frm_.lblWhere, {.emphasised = true}));
  page->part(add(page, frm_.opbAccount));
  page->part(add(page, frm_.opbMaildir));
  auto* grid = fieldGrid(*this, 2);
  const auto pair = [&](wxFlexGridSizer* in, Control& label, Control& field) {
    in->Add(add(page, label), wxSizerFlags().CentreVertical());
    const bool text = field.kind() == ControlKind::kTextBox;
    in->Add(add(page, field, {.widthInCharacters = text ? kFieldWidth : 0, .namedBy = &label}),
            wxSizerFlags().Expand());
  };
  pair(grid, frm_.lblAddress, frm_.txtMailAddress);
  pair(grid, frm_.lblName, frm_.txtMailName);
  page->part(grid);
  page->part(add(page, frm_.lblProvider));
  page->narrow(add(page, frm_.lnkProviderPage));
  page->part(add(page, frm_.lblProviderMore));
  auto* signIn = fieldGrid(*this, 2);
  pair(signIn, frm_.lblHostedBy, frm_.cmbHostedBy);
  pair(signIn, frm_.lblSignIn, frm_.cmbSignIn);
  pair(signIn, frm_.lblPassword, frm_.txtPassword);
  pair(signIn, frm_.lblSecretCommand, frm_.txtSecretCommand);
  pair(signIn, frm_.lblOnlineAccount, frm_.cmbOnlineAccount);
  pair(signIn, frm_.lblCredential, frm_.txtCredential);
  pair(signIn, frm_.lblFoundMaildir, frm_.cmbFoundMaildir);
  pair(signIn, frm_.lblMaildir, frm_.txtMaildir);
  page->part(signIn);
  alignFields({grid, signIn});
  page->part(add(page, frm_.lblServers));
  return page;
}

wxWindow* SetupWindow::serversTab() {
  auto* page = new Page(book());
  page->heading(add(page, frm_.lblImapServer, {.emphasised = true}));
  auto* grid = fieldGrid(*this, 2);
  const auto pair = [&](Control& label, Control& field, int width) {
    grid->Add(add(page, label), wxSizerFlags().CentreVertical());
    grid->Add(add(page, field, {.widthInCharacters = width, .namedBy = &label}),
              width == kPortWidth ? wxSizerFlags() : wxSizerFlags().Expand());
  };
  pair(frm_.lblImapHost, frm_.txtImapHost, kFieldWidth);
  pair(frm_.lblImapPort, frm_.txtImapPort, kPortWidth);
  pair(frm_.lblImapSecurity, frm_.cmbImapSecurity, 0);
  pair(frm_.lblImapUser, frm_.txtImapUser, kFieldWidth);
  pair(frm_.lblImapFolder, frm_.txtImapFolder, kFieldWidth);
  page->part(grid);
  page->heading(add(page, frm_.lblCaFile));
  page->part(add(page, frm_.txtCaFile, {.namedBy = &frm_.lblCaFile}));
  return page;
}

wxWindow* SetupWindow::sendingTab() {
  auto* page = new Page(book());
  page->heading(add(page, frm_.lblDelivery, {.emphasised = true}));
  page->part(add(page, frm_.cmbDelivery, {.namedBy = &frm_.lblDelivery}));
  auto* grid = fieldGrid(*this, 2);
  const auto pair = [&](Control& label, Control& field, int width) {
    grid->Add(add(page, label), wxSizerFlags().CentreVertical());
    grid->Add(add(page, field, {.widthInCharacters = width, .namedBy = &label}),
              width == kPortWidth ? wxSizerFlags() : wxSizerFlags().Expand());
  };
  pair(frm_.lblSmtpHost, frm_.txtSmtpHost, kFieldWidth);
  pair(frm_.lblSmtpPort, frm_.txtSmtpPort, kPortWidth);
  pair(frm_.lblSmtpSecurity, frm_.cmbSmtpSecurity, 0);
  pair(frm_.lblSmtpUser, frm_.txtSmtpUser, kFieldWidth);
  pair(frm_.lblSmtpSignIn, frm_.cmbSmtpSignIn, 0);
  pair(frm_.lblSmtpPassword, frm_.txtSmtpPassword, kFieldWidth);
  pair(frm_.lblSmtpSecret, frm_.txtSmtpSecret, kFieldWidth);
  pair(frm_.lblFoundCommand, frm_.cmbFoundCommand, 0);
  pair(frm_.lblSendmail, frm_.txtSendmail, kFieldWidth);
  page->part(grid);
  alignFields({grid});
  page->part(add(page, frm_.chkKeepSentCopy));
  page->heading(add(page, frm_.lblAddressBook));
  page->part(add(page, frm_.txtAddressBook, {.namedBy = &frm_.lblAddressBook}));
  return page;
}

wxWindow* SetupWindow::testTab() {
  auto* page = new Page(book());
  page->heading(add(page, frm_.lblTest));
  page->part(row(*this, {add(page, frm_.cmdTestAccount), add(page, frm_.cmdStopTest)}));
  page->heading(add(page, frm_.lblTestLines));
  wxWindow* lines = add(page, frm_.txtTest,
                        {.multiline = true, .followsEnd = true, .namedBy = &frm_.lblTestLines});
  lines->SetMinSize({lines->GetMinSize().GetWidth(), kTestLines * lines->GetCharHeight()});
  page->part(lines, 1);
  page->part(add(page, frm_.lblSendTest));
  page->narrow(add(page, frm_.cmdSendTest));
  return page;
}

wxSizer* SetupWindow::buttons() {
  wxWindow* ok = add(this, frm_.cmdOK);
  wxWindow* cancel = add(this, frm_.cmdCancel);
  auto* sizer = row(*this, {ok, cancel});
  SetEscapeId(cancel->GetId());
  return sizer;
}

}  // namespace relaybird::desktop
