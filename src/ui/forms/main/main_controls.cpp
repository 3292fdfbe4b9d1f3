// SPDX-License-Identifier: MIT
// Sets what the declarations of the controls do not: their places in frames and menus, keys,
// colours, tool tips, and which of them may open a box.
#include "ui/forms/main/main_controls.h"

#include <initializer_list>
#include <utility>

#include "ui/forms/model/dialogs.h"

namespace relaybird {
namespace {

void putInto(Control& parent, std::initializer_list<Control*> parts) {
  for (Control* part : parts) {
    part->setParent(parent);
  }
}

}  // namespace

MainControls::MainControls() : Form("frmRelaybird", std::string(kProgramTitle)) {
  placeInFrames();
  placeInMenus();
  giveShortcuts();
  // These fields only show values. The user must not edit the count of forwards, which the engine
  // reads to decide when to stop.
  for (Control* told : {&txtStatusFwdTo, &txtRunningSince, &txtNumberForwarded, &txtMinToNextFwd,
                        &txtStatus, &txtLog}) {
    told->lock();
  }
  txtStatus.setBackColor(kStoppedRed);
  lblCurrentActions.setForeColor(kStoppedRed);
  cmdToSysTray.setToolTip("Minimize to System Tray");
  cmdPrefs.setToolTip("Settings");
  cmdStart.setToolTip("Start Forwarding Email");
  cmdStop.setToolTip("Stop Forwarding Email");
  cmdStart.setWhyDisabled("Forwarding is on already.");
  cmdStop.setWhyDisabled("Forwarding is off.");
  cmdForwardNow.setWhyDisabled(
      "There can be no test while forwarding is on, or while another test is running.");
  for (Control* shown : {&cmdToSysTray, &cmdPrefs, &cmdStart, &cmdStop, &picTextToEmail, &picDestPc,
                         &picTextFwdToCell, &picDestCellPhone}) {
    shown->setPicture(shown->name());
  }
  cmdStop.setEnabled(false);
  mnuStop.setEnabled(false);
  for (Control* asking : {&cmdStart, &mnuStart, &cmdForwardNow, &cmdToSysTray, &mnuAutostart,
                          &mnuIndex, &mnuTryAgain, &mnuOpenWaiting, &mnuOpenRefused}) {
    asking->setAsks();
  }
  txtLog.setVisible(false);
  lblOutbox.setVisible(false);
  lblCheckFailure.setForeColor(kStoppedRed);
  lblCheckFailure.setVisible(false);
  cmdSetUpMail.setVisible(false);
}

void MainControls::placeInFrames() {
  putInto(fraDiagnostics, {&cmdForwardNow, &cmdViewLog});
  putInto(frmStatus, {&txtStatusFwdTo, &txtRunningSince, &txtNumberForwarded, &txtMinToNextFwd,
                      &txtStatus, &lblStatusFwdTo, &lblCurrentActions, &lblOutbox, &lblCheckFailure,
                      &Label1, &lblNumberForwarded, &lblNextForward, &lblAutomationStatus});
}

// Commands that send without a question, or stop forwarding, have no shortcut: a wrong key press
// must not run them.
void MainControls::giveShortcuts() {
  mnuPreferences.setShortcut("Ctrl+,");
  mnuTest.setShortcut("Ctrl+T");
  mnuViewLog.setShortcut("Ctrl+L");
  mnuIndex.setShortcut("F1");
  mnuExit.setShortcut("Ctrl+Q");
}

void MainControls::placeInMenus() {
  putInto(mnuFile, {&mnuStart, &mnuStop, &mnuAutostart, &mnuExit});
  putInto(mnuEdit, {&mnuPreferences, &mnuSetUpMail});
  putInto(mnuOutbox, {&mnuTryAgain, &mnuOpenWaiting, &mnuOpenRefused});
  putInto(mnuDiagnostics, {&mnuTest, &mnuViewLog});
  mnuTest.makeAliasOf(cmdForwardNow);
  mnuViewLog.makeAliasOf(cmdViewLog);
  putInto(mnuHelp, {&mnuIndex, &mnuAbout});
  putInto(RcPopup, {&mnuRestore});
  RcPopup.setVisible(false);
}

MainDisplay::MainDisplay(MainControls& window, Screen& screen, std::function<void()> onTestOver,
                         std::function<void()> onMinute)
    : window_(window),
      screen_(screen),
      onTestOver_(std::move(onTestOver)),
      onMinute_(std::move(onMinute)) {}

void MainDisplay::lblCurrentActions(const std::string& text) {
  window_.lblCurrentActions.setText(text);
}

std::string MainDisplay::txtNumberForwarded() const {
  return window_.txtNumberForwarded.text();
}

void MainDisplay::txtNumberForwarded(const std::string& text) {
  window_.txtNumberForwarded.setText(text);
}

void MainDisplay::txtMinToNextFwd(const std::string& text) {
  window_.txtMinToNextFwd.setText(text);
  onMinute_();
}

// The engine enables the command only when a test cycle has ended.
void MainDisplay::cmdForwardNow(bool enabled) {
  if (enabled) {
    onTestOver_();
  } else {
    window_.cmdForwardNow.setEnabled(false);
  }
}

void MainDisplay::repaint() {
  screen_.repaint();
}

void MainDisplay::processPendingEvents() {
  screen_.processPendingEvents();
}

}  // namespace relaybird
