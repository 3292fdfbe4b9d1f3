// SPDX-License-Identifier: MIT
#include "ui/forms/frm_about.h"

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

// As in the licence.
constexpr const char* kCopyright = "Copyright (c) 2026 The Relaybird maintainers";

// The same address as in the metadata for software catalogues.
constexpr const char* kHomepage = "https://relaybird.org/";

std::string versionText(const ProgramVersion& version) {
  return std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
         std::to_string(version.revision);
}

}  // namespace

frmAbout::frmAbout(const ProgramWorld& world) : Form("frmAbout", "About Relaybird"), world_(world) {
  lblDescription.setText(kDescription);
  lblDisclaimer.setText(kDisclaimer);
  lblCopyright.setText(kCopyright);
  txtVersion.lock();
  txtVersion.setText(versionText(world_.version));
  lnkHomepage.setText(kHomepage);
  lnkHomepage.onClick([this] { showHomepage(); });
  setDefaultButton(cmdOk);
  cmdOk.setShortcut("Ctrl+W");
  cmdOk.onClick([this] { hide(); });
  // Both open a box if nothing can be started.
  cmdSysInfo.setAsks();
  lnkHomepage.setAsks();
  cmdSysInfo.onClick([this] { StartSysInfo(); });
}

void frmAbout::open(Form& owner) {
  lblTitle.setText("Relaybird  v" + versionText(world_.version));
  showModal(owner);
}

void frmAbout::StartSysInfo() {
  const std::optional<std::string> program = world_.systemInformation.program();
  if (!program || !world_.systemInformation.start(*program)) {
    world_.dialogs.messageBox({"System Information Is Unavailable At This Time"});
  }
}

void frmAbout::showHomepage() {
  if (const auto shown = world_.folderViewer.browse(lnkHomepage.text()); !shown) {
    world_.dialogs.messageBox(
        {"Could not open the page " + lnkHomepage.text() + ":\r\n" + shown.error().text, "Error",
         BoxButtons::kOk, BoxIcon::kExclamation});
  }
}

}  // namespace relaybird
