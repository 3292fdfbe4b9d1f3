// SPDX-License-Identifier: MIT
// Each question shows what an empty answer means. A single point ends the questions; so does the
// end of the input, after which every further question would get an empty answer for ever.
#include "ui/console/setup_questions.h"

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

namespace {

constexpr const char* kTitle = "Set Up Mail";

// Thrown inside this file alone, to leave the questions from any depth.
struct Ended {};

class Questions {
 public:
  Questions(frmSetup& setup, Dialogs& dialogs) : setup_(setup), dialogs_(dialogs) {}

  // The order of the dialog, from top to bottom. What the answers until then have hidden is left
  // out.
  void run() {
    choose(setup_.lblWhere.text(), {&setup_.opbAccount, &setup_.opbMaildir});
    if (setup_.opbAccount.checked()) {
      account();
    } else {
      maildir();
    }
    sending();
    field(setup_.lblAddressBook, setup_.txtAddressBook);
  }

 private:
  std::string ask(const std::string& question, const std::string& otherwise) {
    const std::string prompt =
        question + (otherwise.empty() ? "" : " [" + otherwise + "]") + " (a point ends)";
    const std::string answer = dialogs_.inputBox({prompt, kTitle, otherwise});
    if (answer == "." || !setup_.visible()) {
      throw Ended{};
    }
    return answer.empty() ? otherwise : answer;
  }

  void field(const Control& label, Control& text) {
    if (text.visible() && text.enabled()) {
      text.setText(ask(label.text(), text.text()));
    }
  }

  // Neither shown nor offered: an empty answer keeps what the keyring has.
  void password(const Control& label, Control& text, const std::string& notes = {}) {
    if (!text.visible()) {
      return;
    }
    text.setText(dialogs_.inputBox(
        {notes + label.text() + " (it is not shown; empty: the one that is kept already)",
         kTitle,
         {},
         true}));
  }

  // What is no number of the list is asked for again, and never taken for the proposed one.
  std::size_t number(const std::string& question, const std::vector<std::string>& choices,
                     std::size_t otherwise) {
    std::string text = question;
    for (std::size_t i = 0; i < choices.size(); ++i) {
      text += "\r\n  " + std::to_string(i + 1) + "  " + choices[i];
    }
    while (true) {
      const std::string answer =
          ask(text, otherwise < choices.size() ? std::to_string(otherwise + 1) : "");
      std::size_t chosen = 0;
      const auto read = std::from_chars(answer.data(), answer.data() + answer.size(), chosen);
      if (read.ec == std::errc{} && read.ptr == answer.data() + answer.size() && chosen >= 1 &&
          chosen <= choices.size()) {
        return chosen - 1;
      }
      if (answer.empty()) {
        throw Ended{};  // nobody answers any more
      }
    }
  }

  void choose(const std::string& question, const std::vector<Control*>& options) {
    std::vector<std::string> choices;
    std::size_t chosen = 0;
    for (std::size_t i = 0; i < options.size(); ++i) {
      choices.push_back(plainCaption(options[i]->text()));
      chosen = options[i]->checked() ? i : chosen;
    }
    options[number(question, choices, chosen)]->setValue(1);
  }

  void choose(const Control& label, Control& list) {
    if (list.visible() && list.enabled() && !list.list().empty()) {
      const auto now =
          list.value() < 0 ? list.list().size() : static_cast<std::size_t>(list.value());
      list.setValue(static_cast<int>(number(label.text(), list.list(), now)));
    }
  }

  void account() {
    field(setup_.lblAddress, setup_.txtMailAddress);
    const std::string known = setup_.lblProvider.text();
    setup_.txtMailName.setText(
        ask((known.empty() ? "" : known + "\r\n\r\n") + setup_.lblName.text(),
            setup_.txtMailName.text()));
    choose(setup_.lblSignIn, setup_.cmbSignIn);
    if (!serversAreRight()) {
      choose(setup_.lblHostedBy, setup_.cmbHostedBy);
      field("Server for reading mail (IMAP):", setup_.txtImapHost);
      choose(setup_.lblImapSecurity, setup_.cmbImapSecurity);
      field(setup_.lblImapPort, setup_.txtImapPort);
      field(setup_.lblImapUser, setup_.txtImapUser);
      field(setup_.lblImapFolder, setup_.txtImapFolder);
      field(setup_.lblCaFile, setup_.txtCaFile);
    }
    password(setup_.lblPassword, setup_.txtPassword, setup_.lblServers.text() + "\r\n\r\n");
    field(setup_.lblSecretCommand, setup_.txtSecretCommand);
    choose(setup_.lblOnlineAccount, setup_.cmbOnlineAccount);
    field(setup_.lblCredential, setup_.txtCredential);
  }

  void field(const std::string& question, Control& text) {
    text.setText(ask(question, text.text()));
  }

  bool serversAreRight() {
    const bool known = !setup_.txtImapHost.text().empty() && !setup_.txtSmtpHost.text().empty();
    return known &&
           dialogs_.messageBox({setup_.lblServers.text() + "\r\n\r\nAre these the servers?", kTitle,
                                BoxButtons::kYesNo}) == BoxAnswer::kYes;
  }

  void maildir() {
    if (!setup_.cmbFoundMaildir.list().empty() && setup_.cmbFoundMaildir.value() < 0) {
      setup_.cmbFoundMaildir.setValue(0);
    }
    choose(setup_.lblFoundMaildir, setup_.cmbFoundMaildir);
    field(setup_.lblMaildir, setup_.txtMaildir);
    field(setup_.lblAddress, setup_.txtMailAddress);
    field(setup_.lblName, setup_.txtMailName);
  }

  void sending() {
    choose(setup_.lblDelivery, setup_.cmbDelivery);
    const bool other = setup_.cmbDelivery.value() == kByOtherServer;
    if (other || (setup_.cmbDelivery.value() == kByAccount && setup_.txtSmtpHost.text().empty())) {
      field("Server for sending mail (SMTP):", setup_.txtSmtpHost);
      choose(setup_.lblSmtpSecurity, setup_.cmbSmtpSecurity);
      field(setup_.lblSmtpPort, setup_.txtSmtpPort);
      field(setup_.lblSmtpUser, setup_.txtSmtpUser);
      choose(setup_.lblSmtpSignIn, setup_.cmbSmtpSignIn);
      password(setup_.lblSmtpPassword, setup_.txtSmtpPassword);
      field(setup_.lblSmtpSecret, setup_.txtSmtpSecret);
    }
    choose(setup_.lblFoundCommand, setup_.cmbFoundCommand);
    field(setup_.lblSendmail, setup_.txtSendmail);
  }

  frmSetup& setup_;
  Dialogs& dialogs_;
};

}  // namespace

Result<void> askForSetup(frmSetup& setup, Dialogs& dialogs) {
  bool store = false;
  try {
    Questions(setup, dialogs).run();
    store = dialogs.messageBox({setup.lblServers.text() + "\r\n\r\nStore these settings?", kTitle,
                                BoxButtons::kYesNo}) == BoxAnswer::kYes;
  } catch (const Ended&) {
    store = false;
  }
  if (!store) {
    if (setup.visible()) {
      setup.cmdCancel.click();
    }
    return Error{0, "nothing was changed"};
  }
  setup.acceptAndClose();
  if (!setup.stored() && !setup.visible()) {
    return Error{0, "the settings were not stored: the box that came up says why"};
  }
  return {};
}

}  // namespace relaybird
