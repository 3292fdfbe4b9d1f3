// SPDX-License-Identifier: MIT
// The main window in three sections: wiring and loading, what it shows, and the way into the
// notification area and back. Switching forwarding on and off, the test cycle, the Outbox menu and
// the line at the top are classes of their own. Every box lets events run, so that a command may
// arrive while another one waits for its answer: flags are read again after a box.
#include "ui/forms/main/frm_relaybird.h"

#include <utility>

#include "compose/cls_security.h"
#include "platform/text/ascii_text.h"
#include "ui/forms/frm_about.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/settings/frm_prefs.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird {
namespace {

// The revision follows the minor number without a separator, as in all former versions.
std::string captionOf(const ProgramVersion& version) {
  return "Relaybird v" + std::to_string(version.major) + "." + std::to_string(version.minor) +
         std::to_string(version.revision);
}

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

std::shared_ptr<AutomationObject> tryCreate(ObjectFactory& objects, std::string_view progId) {
  try {
    return objects.CreateObject(progId);
  } catch (const MailStoreError&) {
    return nullptr;
  }
}

}  // namespace

frmRelaybird::frmRelaybird(const ProgramWorld& world, ActivityLog& log)
    : world_(world),
      log_(log),
      display_(
          *this, world.screen, [this] { test_.checkEnded(); },
          [this] {
            mailbox_.show();
            world_.outgoing.minutePassed();
          }),
      attention_(world.notifications, world.clock, [this] { showFailure(); }),
      help_(world),
      prf_(prefWorld()),
      engine_(engineWorld()),
      steps_(world, log, prf_, engine_),
      outbox_(*this, world, log, attention_),
      mailbox_(*this, world, prf_),
      test_(*this, world, log, steps_, outbox_),
      switch_(*this, world, log, prf_, engine_, steps_, attention_, outbox_) {
  tmrSync.follow(engine_.schedule().tmrSync());
  tmrMinute.follow(engine_.schedule().tmrMinute());
  tmrForLabel.follow(engine_.status().tmrForLabel());
  wireCommands();
  wirePictures();
  markWhatOpensSettings();
}

frmRelaybird::~frmRelaybird() = default;

PrefWorld frmRelaybird::prefWorld() {
  return {.files = world_.files,
          .profiles = world_.profiles,
          .folders = world_.folders,
          .osVersion = world_.osVersion,
          .objects = world_.objects,
          .makeReader = itemReaders(world_.objects),
          .setHelpFile = [this](const std::string& file) { help_.setLocation(file); },
          .logVerbose = [this](const std::string& line) { log_.AddToLogV(line); },
          .log =
              [this](const std::string& text) {
                log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> " + text);
              },
          .decimalSeparator = world_.decimalSeparator};
}

EngineWorld frmRelaybird::engineWorld() {
  return {.objects = world_.objects,
          .prefs = prf_,
          .display = display_,
          .log = log_,
          .alerts = attention_,
          .trace = world_.trace,
          .clock = world_.clock,
          .sleeper = world_.sleeper,
          .timers = world_.timers};
}

frmPrefs& frmRelaybird::settings() {
  return forms_->settings;
}

// The other forms are made after the main window, because they need its preferences and session.
void frmRelaybird::connect(OtherForms forms) {
  forms_ = std::make_unique<OtherForms>(forms);
  switch_.connect(forms.settings);
  switch_.onNoSession([this] { offerSetup(); });
}

void frmRelaybird::wireCommands() {
  outbox_.onShow([this] { mailbox_.show(); });
  cmdClose.onClick([this] { unload(); });
  mnuExit.onClick([this] { unload(); });
  cmdSetUpMail.onClick([this] { openSetup(); });
  mnuSetUpMail.onClick([this] { openSetup(); });
  cmdPrefs.onClick([this] { showprefs(); });
  mnuPreferences.onClick([this] { showprefs(); });
  cmdStart.onClick([this] { StartForwarding(); });
  mnuStart.onClick([this] { StartForwarding(); });
  cmdStop.onClick([this] { StopForwarding(); });
  mnuStop.onClick([this] { StopForwarding(); });
  cmdForwardNow.onClick([this] { testCycle(); });
  cmdViewLog.onClick([this] { forms_->log.show(); });
  cmdToSysTray.onClick([this] {
    if (confirmToSysTray()) {
      ToSystray();
    }
  });
  mnuRestore.onClick([this] { restore(); });
  mnuIndex.onClick([this] { help_.show(); });
  mnuAbout.onClick([this] { forms_->about.open(*this); });
  mnuAutostart.setVisible(world_.autostart.offered());
  mnuAutostart.setValue(world_.autostart.enabled() ? 1 : 0);
  mnuAutostart.onClick([this] { startWithDesktop(mnuAutostart.checked()); });
}

// Opening the dialog asks only when the stored settings contradict each other: filling it then
// shows a box.
void frmRelaybird::markWhatOpensSettings() {
  for (Control* opener : {&cmdPrefs, &mnuPreferences, &picTextToEmail, &picDestPc,
                          &picTextFwdToCell, &picDestCellPhone, &txtStatusFwdTo}) {
    opener->setAsks(
        [this] { return prf_.bolTurnOnFwdOnStartup() && prf_.bolFwdOnActivateForwarding(); });
  }
}

void frmRelaybird::wirePictures() {
  for (Control* picture : {&picTextToEmail, &picDestPc, &picTextFwdToCell, &picDestCellPhone}) {
    picture->onClick([this] { openSettingsAt(kCellPhoneTab); });
  }
  txtStatusFwdTo.onClick([this] { openSettingsAt(kGeneralTab); });
}

// The check mark shows the real state, also after a change that failed.
void frmRelaybird::startWithDesktop(bool wanted) {
  Autostart& autostart = world_.autostart;
  if (autostart.enabled() == wanted) {
    return;
  }
  const Result<void> done = autostart.setEnabled(wanted);
  mnuAutostart.setValue(autostart.enabled() ? 1 : 0);
  if (!done) {
    steps_.say("Could not change what starts with the desktop:\r\n" + done.error().text, "Error",
               BoxIcon::kExclamation);
  }
}

void frmRelaybird::openSettingsAt(int tab) {
  settings().tabPrefs.setValue(tab);
  showprefs();
}

// Filling runs the reactions of the controls: where both start-up options are stored, a box about
// them opens here, before the dialog is shown.
void frmRelaybird::showprefs() {
  settings().fill();
  settings().showModal(*this);
}

void frmRelaybird::openSetup() {
  forms_->setup.open(*this);
}

void frmRelaybird::offerSetup() {
  const bool wanted =
      mailbox_.noMailbox() && modal() == nullptr && !state().ending &&
      world_.dialogs.messageBox({"No mailbox has been set up yet, so there is nothing to check."
                                 "\r\n\r\nDo you want to set up mail now?",
                                 "Set Up Mail", BoxButtons::kYesNo}) == BoxAnswer::kYes;
  if (wanted && modal() == nullptr) {
    openSetup();
  }
}

void frmRelaybird::releaseStore() {
  engine_.session().release();
  utility_.reset();
}

// A try to send again that waited for the former store never ends.
void frmRelaybird::storeOpened() {
  utility_ = tryCreate(world_.objects, prog_id::kUtility);
  mnuTryAgain.setEnabled(true);
  mnuOutbox.setVisible(!world_.outgoing.state().outbox.empty());
  outbox_.show();
  mailbox_.read();
}

// The dialog is filled at start-up already, because switching forwarding on reads the settings from
// it.
bool frmRelaybird::load() {
  settings().prepare();
  engine_.status().SetStatusToPreset();
  engine_.status().ResetMinUntilCheckText();
  prf_.ReadIniPref();
  settings().fillSilently();
  setCaption(captionOf(world_.version));
  const bool complete = probeComponents();
  if (complete) {
    txtMinToNextFwd.setBackColor(kButtonFace);
    txtNumberForwarded.setBackColor(kButtonFace);
  }
  return complete;
}

// Without the utility object forwarding may still work, so its absence is only reported. Without
// the dictionary the program ends.
bool frmRelaybird::probeComponents() {
  if (!world_.setup.whyClosed().empty()) {
    // There is no store that could have components. The line at the top says why, and leads to the
    // set-up.
    prf_.UpdateEmailAddrOnMainForm();
    outbox_.show();
    mailbox_.read();
    return true;
  }
  utility_ = tryCreate(world_.objects, prog_id::kUtility);
  if (!utility_) {
    world_.dialogs.messageBox({"Could not create MAPIUtils object..."});
  }
  prf_.UpdateEmailAddrOnMainForm();
  outbox_.show();
  mailbox_.read();
  if (!tryCreate(world_.objects, prog_id::kDictionary)) {
    steps_.say(
        "You are missing a necessary component on your PC.  You need to have the Microsoft "
        "Scripting Runtime component installed for Relaybird to work properly.",
        "ERROR", BoxIcon::kCritical);
    return false;
  }
  return true;
}

void frmRelaybird::unload() {
  state().ending = true;
  // A pass that is on the stack still needs its objects; it ends after the item in hand.
  if (!state().passRunning) {
    engine_.session().dropIfGone();
  }
  tell(FormChange::kUnloaded);
  world_.screen.endProgram();
}

Progress frmRelaybird::progress() const {
  const EngineState& state = engine_.state();
  // The synchronisation that sends is started by the last step of a pass.
  const bool walking = state.passRunning && state.m_bBusyFwd;
  if (walking && state.itemsInPass > 0) {
    return {Progress::Kind::kSteps, state.itemsVisited, state.itemsInPass};
  }
  if (walking || state.syncBusy) {
    return {Progress::Kind::kUnknown, 0, 0};
  }
  return {};
}

void frmRelaybird::showFailure() {
  const auto& failure = attention_.failure();
  if (failure) {
    lblCheckFailure.setText("Last check failed. None has succeeded since " + failure->since + ".");
    lblCheckFailure.setToolTip(failure->words);
  }
  lblCheckFailure.setVisible(failure.has_value());
}

void frmRelaybird::SetMainFormFwdToAddresses(const std::string& addresses, int count) {
  txtStatusFwdTo.setText(addresses);
  lblStatusFwdTo.setText("Forwards to [" + std::to_string(count) + " " +
                         (count == 1 ? "address" : "addresses") + "]:");
}

void frmRelaybird::SetMainFrmCellPref(bool cell) {
  picTextFwdToCell.setVisible(cell);
  picDestCellPhone.setVisible(cell);
  picTextToEmail.setVisible(!cell);
  picDestPc.setVisible(!cell);
}

bool frmRelaybird::confirmToSysTray() {
  return world_.dialogs.messageBox({kTrayQuestion, kTrayTitle, BoxButtons::kYesNoCancel}) ==
         BoxAnswer::kYes;
}

// The procedure is replaced before the icon is added: a click on the icon must not reach the
// window's own procedure.
void frmRelaybird::ToSystray() {
  modSystray& tray = forms_->tray;
  if (!tray.platform().available()) {
    minimise();
    steps_.say(world_.screen.canMinimise() ? kNoTray : kNoTrayButWindow, kTrayTitle,
               BoxIcon::kNone);
    return;
  }
  tray.onLost([this] { trayLost(); });
  tray.hook();
  tray.addIcon(toolTipOf(txtStatus.text()));
  hide();
}

// A popup menu closes by itself only if its window is the foreground window (Win32,
// TrackPopupMenu).
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

// Without this the program would run with neither a window nor an icon.
void frmRelaybird::trayLost() {
  if (state().ending) {
    return;
  }
  steps_.logLine(world_.screen.canMinimise() ? kTrayLost : kTrayLostButWindow);
  restore();
  // The user has not asked for the window now.
  minimise();
}

}  // namespace relaybird
