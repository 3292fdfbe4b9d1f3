// SPDX-License-Identifier: MIT
// The main window's way into the notification area and back.
#include "platform/text/ascii_text.h"
#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/mod_systray.h"

namespace relaybird {
namespace {

constexpr const char* kTrayTitle = "Minimize to System Tray";

constexpr const char* kTrayQuestion =
    "This option will place Relaybird in the Windows System Tray, and will allow Relaybird to "
    "continue operating in the background.  By default, the System Tray is located at the bottom "
    "right of your screen.  \r\n\r\n***************************\r\n\r\nTo restore Relaybird, "
    "RIGHT-CLICK on the Relaybird icon in the System Tray and select 'Restore' in the popup menu "
    "that appears.\r\n\r\n***************************\r\n\r\nClick 'Yes' to place Relaybird in the "
    "System Tray now.";

constexpr const char* kNoTray =
    "There is no System Tray here, so Relaybird has been minimized instead.  It continues "
    "operating in the background.";

constexpr const char* kNoTrayButWindow =
    "There is no System Tray here, so Relaybird keeps its window.  It continues operating.";

constexpr const char* kTrayLost =
    "The System Tray has gone away, so Relaybird is back as a minimized window.  It continues "
    "operating.";

constexpr const char* kTrayLostButWindow =
    "The System Tray has gone away, so Relaybird has its window back.  It continues operating.";

std::string toolTipOf(const std::string& status) {
  const bool running = asciiLower(status) == "running";
  return "Relaybird (Automation Status: " + (running ? status : "Not Running") + ")";
}

}  // namespace

bool frmRelaybird::confirmToSysTray() {
  return world_.dialogs.messageBox({kTrayQuestion, kTrayTitle, BoxButtons::kYesNoCancel}) ==
         BoxAnswer::kYes;
}

void frmRelaybird::ToSystray() {
  modSystray& tray = forms_->tray;
  if (!tray.platform().available()) {
    minimise();
    say(world_.screen.canMinimise() ? kNoTray : kNoTrayButWindow, kTrayTitle, BoxIcon::kNone);
    return;
  }
  tray.onLost([this] { trayLost(); });
  tray.hook();
  tray.addIcon(toolTipOf(txtStatus.text()));
  hide();
}

void frmRelaybird::SysTrayMouseEventHandler() {
  modSystray& tray = forms_->tray;
  tray.platform().setForegroundWindow(tray.record().window);
  world_.dialogs.popupMenu(RcPopup);
}

void frmRelaybird::restore() {
  forms_->tray.deleteIcon();
  forms_->tray.unhook();
  show();
}

void frmRelaybird::trayLost() {
  if (state().ending) {
    return;
  }
  log_.AddToLog(nowText() + "--> " +
                (world_.screen.canMinimise() ? kTrayLost : kTrayLostButWindow));
  restore();
  // Nobody has asked for the window just now.
  minimise();
}

}  // namespace relaybird
