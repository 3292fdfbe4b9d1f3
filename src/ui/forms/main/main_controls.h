// SPDX-License-Identifier: MIT
// The main window's controls, in the order in which the window declares them, and MainDisplay,
// through which the engine sees some of them.
#pragma once

#include <functional>
#include <string>

#include "engine/engine_world.h"
#include "ui/forms/form_world.h"
#include "ui/forms/model/form.h"

namespace relaybird {

class MainControls : public Form {
 public:
  MainControls();

  Control cmdToSysTray{*this, ControlKind::kPictureButton, "cmdToSysTray"};
  Control tmrSync{*this, ControlKind::kTimer, "tmrSync"};
  Control picTextToEmail{*this, ControlKind::kPicture, "picTextToEmail"};
  Control fraDiagnostics{*this, ControlKind::kFrame, "fraDiagnostics", "Diagnostics"};
  Control cmdForwardNow{*this, ControlKind::kButton, "cmdForwardNow", "Test (Forward Once)"};
  Control cmdViewLog{*this, ControlKind::kButton, "cmdViewLog", "View Log "};
  Control picDestPc{*this, ControlKind::kPicture, "picDestPc"};
  Control tmrForLabel{*this, ControlKind::kTimer, "tmrForLabel"};
  Control dlgHelpFile{*this, ControlKind::kFileDialog, "dlgHelpFile"};
  Control cmdPrefs{*this, ControlKind::kPictureButton, "cmdPrefs"};
  Control tmrMinute{*this, ControlKind::kTimer, "tmrMinute"};
  Control frmStatus{*this, ControlKind::kFrame, "frmStatus", "Status"};
  Control picTextFwdToCell{*this, ControlKind::kPicture, "picTextFwdToCell"};
  Control picDestCellPhone{*this, ControlKind::kPicture, "picDestCellPhone"};
  Control txtStatusFwdTo{*this, ControlKind::kTextBox, "txtStatusFwdTo"};
  Control txtRunningSince{*this, ControlKind::kTextBox, "txtRunningSince", "-"};
  Control txtNumberForwarded{*this, ControlKind::kTextBox, "txtNumberForwarded", "0"};
  Control txtMinToNextFwd{*this, ControlKind::kTextBox, "txtMinToNextFwd", "--"};
  Control txtStatus{*this, ControlKind::kTextBox, "txtStatus", "Stopped"};
  Control lblStatusFwdTo{*this, ControlKind::kLabel, "lblStatusFwdTo", "Forward to [0 addresses]:"};
  /// The status line.
  Control lblCurrentActions{*this, ControlKind::kLabel, "lblCurrentActions"};
  /// Why mail does not leave this computer; hidden if there is no reason.
  Control lblOutbox{*this, ControlKind::kLabel, "lblOutbox"};
  Control Label1{*this, ControlKind::kLabel, "Label1", "Running Since:"};
  Control lblNumberForwarded{*this, ControlKind::kLabel, "lblNumberForwarded", "Number Forwarded:"};
  Control lblNextForward{*this, ControlKind::kLabel, "lblNextForward", "Minutes to Next Check:"};
  Control lblAutomationStatus{*this, ControlKind::kLabel, "lblAutomationStatus",
                              "Automation Status:"};
  Control cmdClose{*this, ControlKind::kButton, "cmdClose", "Exit"};
  Control cmdStop{*this, ControlKind::kPictureButton, "cmdStop"};
  Control cmdStart{*this, ControlKind::kPictureButton, "cmdStart"};
  /// Part of the window since its first version; always hidden and unused.
  Control txtLog{*this, ControlKind::kTextBox, "txtLog", "(Not Running)"};

  Control mnuFile{*this, ControlKind::kMenu, "mnuFile", "&File"};
  Control mnuStart{*this, ControlKind::kMenu, "mnuStart", "&Start"};
  Control mnuStop{*this, ControlKind::kMenu, "mnuStop", "S&top"};
  Control mnuAutostart{*this, ControlKind::kCheckBox, "mnuAutostart", "Start with the &desktop"};
  Control mnuExit{*this, ControlKind::kMenu, "mnuExit", "&Exit"};
  Control mnuEdit{*this, ControlKind::kMenu, "mnuEdit", "&Edit"};
  Control mnuPreferences{*this, ControlKind::kMenu, "mnuPreferences", "Se&ttings..."};
  Control mnuOutbox{*this, ControlKind::kMenu, "mnuOutbox", "&Outbox"};
  Control mnuTryAgain{*this, ControlKind::kMenu, "mnuTryAgain", "&Try Again Now"};
  Control mnuOpenWaiting{*this, ControlKind::kMenu, "mnuOpenWaiting",
                         "Open Folder of &Waiting Messages"};
  Control mnuOpenRefused{*this, ControlKind::kMenu, "mnuOpenRefused",
                         "Open Folder of &Refused Messages"};
  Control mnuDiagnostics{*this, ControlKind::kMenu, "mnuDiagnostics", "&Diagnostics"};
  /// Aliases of the two buttons of the frame.
  Control mnuTest{*this, ControlKind::kMenu, "mnuTest", "&Test (Forward Once)"};
  Control mnuViewLog{*this, ControlKind::kMenu, "mnuViewLog", "&View Log"};
  Control mnuHelp{*this, ControlKind::kMenu, "mnuHelp", "&Help"};
  Control mnuIndex{*this, ControlKind::kMenu, "mnuIndex", "&Help Index..."};
  Control mnuAbout{*this, ControlKind::kMenu, "mnuAbout", "&About..."};
  /// The menu of the icon in the notification area; not in the menu bar.
  Control RcPopup{*this, ControlKind::kMenu, "RcPopup", "RcPopup"};
  Control mnuRestore{*this, ControlKind::kMenu, "mnuRestore", "Restore"};
  /// Shown from a failed check until the next one that succeeds.
  Control lblCheckFailure{*this, ControlKind::kLabel, "lblCheckFailure"};
  /// Which mailbox is watched and how forwards leave.
  Control lblMailbox{*this, ControlKind::kLabel, "lblMailbox"};
  /// Shown while there is no mailbox.
  Control cmdSetUpMail{*this, ControlKind::kButton, "cmdSetUpMail", "Set &up mail..."};
  Control mnuSetUpMail{*this, ControlKind::kMenu, "mnuSetUpMail", "Set &Up Mail..."};

 private:
  void placeInFrames();
  void placeInMenus();
  void giveShortcuts();
};

/// Implements the engine's reports with the main window's controls.
class MainDisplay : public EngineDisplay {
 public:
  /// Both must outlive it. `onTestOver` is called when the engine has ended a test cycle,
  /// `onMinute` when the minutes to the next check have changed.
  MainDisplay(MainControls& window, Screen& screen, std::function<void()> onTestOver,
              std::function<void()> onMinute);

  void lblCurrentActions(const std::string& text) override;
  std::string txtNumberForwarded() const override;
  void txtNumberForwarded(const std::string& text) override;
  void txtMinToNextFwd(const std::string& text) override;
  void cmdForwardNow(bool enabled) override;
  void repaint() override;
  void processPendingEvents() override;

 private:
  MainControls& window_;
  Screen& screen_;
  std::function<void()> onTestOver_;
  std::function<void()> onMinute_;
};

}  // namespace relaybird
