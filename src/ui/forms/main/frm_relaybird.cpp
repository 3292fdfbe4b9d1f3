// SPDX-License-Identifier: MIT
// The main window in four sections: wiring and loading, what it shows, switching forwarding on and
// off, and the way into the notification area and back. The test cycle, the Outbox menu and the
// steps before a check are classes of their own. Every box lets events run, so that a command may
// arrive while another one waits for its answer: flags are read again after a box.
#include "ui/forms/main/frm_relaybird.h"

#include <chrono>
#include <utility>

#include "compose/cls_security.h"
#include "platform/text/ascii_text.h"
#include "ui/forms/frm_about.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/settings/frm_prefs.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird {
namespace {

// How often a start that waits looks whether the pass has ended.
constexpr std::chrono::milliseconds kStartLook{200};

// The revision follows the minor number without a separator, as in all former versions.
std::string captionOf(const ProgramVersion& version) {
  return "Relaybird v" + std::to_string(version.major) + "." + std::to_string(version.minor) +
         std::to_string(version.revision);
}

// Results of the preference object at or below this have been shown to the user already.
constexpr int kToldAlready = -100;

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
          *this, world.screen, [this] { test_.checkEnded(); }, [this] { mailbox_.show(); }),
      attention_(world.notifications, world.clock, [this] { showFailure(); }),
      help_(world),
      prf_(prefWorld()),
      engine_(engineWorld()),
      steps_(world, log, prf_, engine_),
      outbox_(*this, world, log, attention_),
      mailbox_(*this, world, prf_),
      test_(*this, world, log, steps_, outbox_),
      startTimer_(world.timers.makeTimer(kStartLook, [this] { startTimerTick(); })) {
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

// Every step may open a box, and the user may end the program while it waits: `ending` is checked
// before forwarding is switched on.
void frmRelaybird::StartForwarding(bool bAutoStart) {
  world_.trace.trace("StartForwarding Entered");
  if (state().m_bBusyFwd) {
    return;
  }
  if (state().passRunning || state().syncStarting) {
    startLater();
    return;
  }
  startTimer_->setEnabled(false);  // this call replaces a start that waits
  if (!bAutoStart) {
    world_.outgoing.userAsks();
  }
  const bool session = openSession();
  if (!session && !bAutoStart) {
    offerSetup();
  }
  const bool ready = session && askForAddress() && storeSettings() && confirmAddresses(bAutoStart);
  if (ready && !state().ending) {
    switchOn(bAutoStart);
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// A pass on the stack without the busy flag is one that was stopped.
void frmRelaybird::startLater() {
  startTimer_->setEnabled(true);
  engine_.status().SetStatusLabel("Forwarding will be started when the running check has ended...");
}

// A start that waited asks questions: it must not come up over another window or a test.
void frmRelaybird::startTimerTick() {
  if (state().forwardingOn || state().ending) {
    startTimer_->setEnabled(false);
    return;
  }
  const bool free = !state().passRunning && !state().syncStarting && !state().m_bBusyFwd &&
                    cmdForwardNow.enabled();
  if (free && modal() == nullptr) {
    startTimer_->setEnabled(false);
    StartForwarding();
  }
}

// The busy flag keeps the minute timer from starting a check while the session is being opened:
// status texts and boxes let events run.
bool frmRelaybird::openSession() {
  const BusyMark busy(state());
  return steps_.openSession(true, false, true) && steps_.checkVersion();
}

bool frmRelaybird::askForAddress() {
  std::string address = prf_.GetForwardAddress();
  if (!address.empty()) {
    return true;
  }
  if (steps_.GetValidEmail(address) < 0) {
    return false;
  }
  settings().txtAddress.setText(address);
  return true;
}

// The settings are stored and read back even if nothing was edited: what forwarding uses is then
// exactly what is on disk.
bool frmRelaybird::storeSettings() {
  const bool stored =
      judge(prf_.FormToClass()) && judge(prf_.WriteTofile()) && judge(prf_.ReadIniPref());
  if (stored) {
    prf_.UpdateEmailAddrOnMainForm();
  }
  return stored;
}

// Shows the error of a preference operation, unless the operation itself has shown it.
bool frmRelaybird::judge(int result) {
  if (result < 0 && result > kToldAlready) {
    world_.dialogs.messageBox({"Error occured:\r\n" + prf_.mstrErrDesc});
  }
  return result >= 0;
}

bool frmRelaybird::confirmAddresses(bool bAutoStart) {
  std::string question;
  if (!steps_.addressesListed(prf_.GetFwdConfirmMessage(question), "Settings")) {
    return false;
  }
  return bAutoStart || steps_.userConfirms(question, false);
}

// The activation time decides which messages count as existing, so it is set before any check can
// begin. The count of forwards starts at zero, as the text that the engine reads.
void frmRelaybird::switchOn(bool bAutoStart) {
  engine_.pass().ResetIgnoreList();
  attention_.startAnew();
  state().activationTime = world_.clock.now();
  const std::string since = world_.clock.toText(state().activationTime);
  log_.AddToLog("--- Forwarding turned ON at " + since + " ---");
  outbox_.showAndLog();
  state().forwardingOn = true;
  txtRunningSince.setText(since);
  showRunning(true);
  engine_.schedule().startCountdown();
  txtNumberForwarded.setText("0");
  if (prf_.bolFwdOnActivateForwarding() && !bAutoStart) {
    checkAtOnce();
  } else {
    engine_.status().SetStatusToPreset();
  }
}

// A refused check does not touch the status line, so the former text would stay there.
void frmRelaybird::checkAtOnce() {
  const DateTime lastPass = state().passStartTime;
  const bool synchronizing = state().syncBusy;
  engine_.schedule().ForwardTrigger();
  if (synchronizing) {
    engine_.status().showSynchronizing();
  } else if (!state().syncBusy && state().passStartTime == lastPass) {
    engine_.status().SetStatusToPreset();
  }
}

void frmRelaybird::showRunning(bool running) {
  cmdStop.setEnabled(running);
  cmdStart.setEnabled(!running);
  cmdForwardNow.setEnabled(!running && !state().testCycle);
  mnuStop.setEnabled(running);
  mnuStart.setEnabled(!running);
  txtStatus.setText(running ? "Running" : "Stopped");
  txtStatus.setBackColor(running ? kRunningGreen : kStoppedRed);
  const Colour counters = running ? kLightGreen : kButtonFace;
  txtMinToNextFwd.setBackColor(counters);
  txtNumberForwarded.setBackColor(counters);
}

// The busy flag is cleared at once: a pass that is on the stack without it is a stopped one, and
// ends after its current item.
void frmRelaybird::StopForwarding() {
  // The trace names the starting routine. Readers of traces know these lines; they stay.
  world_.trace.trace("StartForwarding Entered before busy check");
  state().m_bBusyFwd = false;
  world_.trace.trace("StartForwarding Entered after busy check");
  engine_.pass().stopAfterItem();
  startTimer_->setEnabled(false);
  state().forwardingOn = false;
  txtRunningSince.setText("-");
  engine_.schedule().stopCountdown();
  showRunning(false);
  engine_.status().ResetMinUntilCheckText();
  // The time is that of switching on, or of the last test cycle.
  log_.AddToLog("--- Forwarding turned OFF at " + world_.clock.toText(state().activationTime) +
                " ---");
  engine_.status().SetStatusToPreset();
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
