// SPDX-License-Identifier: MIT
// The set-up dialog of a whole program, by the names of its controls.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "ui/forms/main/program_fixture.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird {

class Setup : public ProgramTest {
 protected:
  frmSetup& setup() { return program().setup(); }
  void open() { click("frmRelaybird", "mnuSetUpMail"); }
  Control& at(const std::string& name) { return control("frmSetup", name); }
  std::string in(const std::string& name) { return at(name).text(); }
  void type(const std::string& name, const std::string& text) { at(name).setText(text); }
  void press(const std::string& name) { click("frmSetup", name); }
  MailSettings stored() {
    return readMailSettings(*profiles_.read(kPrefFile), setup_.user()).settings;
  }
  std::string lastBox() { return dialogs_.boxes.empty() ? "" : dialogs_.boxes.back().text; }
  // A whole account at a provider that is not in the list.
  void fillAccount() {
    type("txtMailAddress", "ann@firm.example");
    type("txtImapHost", "mail.firm.example");
    type("txtImapPort", "993");
    type("txtSmtpHost", "out.firm.example");
    type("txtSmtpPort", "465");
    type("txtPassword", "pass word");
  }
  void mail(const std::string& lines) {
    files_.addFolder("/config/rbx");
    files_.addFile(kPrefFile,
                   "[default]\nmstrFwdToAddress_num=1\n"
                   "mstrFwdToAddress_1=5550100@sms.example.net\n[mail]\n" +
                       lines);
  }
};

}  // namespace relaybird
