// SPDX-License-Identifier: MIT
#include "ui/forms/about/frm_about.h"

#include <optional>
#include <string>

namespace relaybird {
namespace {

constexpr const char* kDescription =
    "This application monitors and selectively forwards your Microsoft Outlook Email.\r\n"
    "Relaybird is free software, made by its contributors.";

constexpr const char* kDisclaimer =
    "Relaybird comes without guarantees of any kind: you use it at your own risk. The MIT licence "
    "says what you may do with it.";

std::string versionText(const ProgramVersion& version) {
  return std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
         std::to_string(version.revision);
}

}  // namespace

frmAbout::frmAbout(ProgramVersion version, SystemInformation& information, Dialogs& dialogs)
    : Form("frmAbout", "About Relaybird"),
      version_(version),
      information_(information),
      dialogs_(dialogs) {
  lblDescription.setText(kDescription);
  lblDisclaimer.setText(kDisclaimer);
  setDefaultButton(cmdOk);
  setCancelButton(cmdOk);
  cmdOk.setShortcut("Ctrl+W");
  cmdOk.onClick([this] { hide(); });
  cmdSysInfo.setAsks();
  cmdSysInfo.onClick([this] { StartSysInfo(); });
}

void frmAbout::open(Form& owner) {
  lblTitle.setText("Relaybird  v" + versionText(version_));
  showModal(owner);
}

void frmAbout::StartSysInfo() {
  const std::optional<std::string> program = information_.program();
  if (!program || !information_.start(*program)) {
    dialogs_.messageBox({"System Information Is Unavailable At This Time"});
  }
}

}  // namespace relaybird
