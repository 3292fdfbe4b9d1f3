// SPDX-License-Identifier: MIT
#include "ui/forms/main/frm_relaybird.h"

#include <chrono>
#include <utility>

#include "compose/cls_security.h"
#include "ui/forms/frm_about.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird {
namespace {

// How often a start that waits looks whether its time has come.
constexpr std::chrono::milliseconds kStartLook{200};

// The revision follows the minor number without a separator: users know the caption so.
std::string captionOf(const ProgramVersion& version) {
  return "Relaybird v" + std::to_string(version.major) + "." + std::to_string(version.minor) +
         std::to_string(version.revision);
}

// Whether the forwards of a test have been sent.
constexpr std::chrono::milliseconds kLookAgain{500};

std::shared_ptr<AutomationObject> tryCreate(ObjectFactory& objects, std::string_view progId) {
  try {
    return objects.CreateObject(progId);
  } catch (const MailStoreError&) {
    return nullptr;
  }
}

}  // namespace

frmRelaybird::frmRelaybird(ProgramWorld world, ActivityLog& log)
    : world_(std::move(world)),
      log_(log),
      display_(*this, world_.screen, [this] { testOver(); }),
      attention_(world_.notifications, world_.clock, [this] { showFailure(); }),
      help_({world_.files, world_.profiles, world_.folders, world_.dialogs, world_.helpViewer},
            world_.defaultHelpFile),
      prf_(prefWorld()),
      engine_(engineWorld()),
      tmrTestReport_(world_.timers.makeTimer(kLookAgain, [this] { tellOutcomeOnceSent(); })),
      startTimer_(world_.timers.makeTimer(kStartLook, [this] { startTimerTick(); })) {
  tmrSync.follow(engine_.schedule().tmrSync());
  tmrMinute.follow(engine_.schedule().tmrMinute());
  tmrForLabel.follow(engine_.status().tmrForLabel());
  wireCommands();
  wirePictures();
  markWhatOpensSettings();
  wireOutbox();
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
          .log = [this](const std::string& words) { log_.AddToLog(nowText() + "--> " + words); },
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

void frmRelaybird::connect(OtherForms forms) {
  forms_ = std::make_unique<OtherForms>(forms);
}

void frmRelaybird::wireCommands() {
  cmdClose.onClick([this] { unload(); });
  mnuExit.onClick([this] { unload(); });
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

// Only where the settings that are stored contradict each other: filling the dialog says so.
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

// The mark shows what is so, also where it could not be changed.
void frmRelaybird::startWithDesktop(bool wanted) {
  Autostart& autostart = world_.autostart;
  if (autostart.enabled() == wanted) {
    return;
  }
  const Result<void> done = autostart.setEnabled(wanted);
  mnuAutostart.setValue(autostart.enabled() ? 1 : 0);
  if (!done) {
    say("Could not change what starts with the desktop:\r\n" + done.error().text, "Error",
        BoxIcon::kExclamation);
  }
}

void frmRelaybird::openSettingsAt(int tab) {
  forms_->settings.tabPrefs.setValue(tab);
  showprefs();
}

void frmRelaybird::showprefs() {
  forms_->settings.fill();
  forms_->settings.showModal(*this);
}

bool frmRelaybird::load() {
  forms_->settings.prepare();
  engine_.status().SetStatusToPreset();
  engine_.status().ResetMinUntilCheckText();
  prf_.ReadIniPref();
  forms_->settings.fillSilently();
  setCaption(captionOf(world_.version));
  const bool complete = probeComponents();
  if (complete) {
    txtMinToNextFwd.setBackColor(kButtonFace);
    txtNumberForwarded.setBackColor(kButtonFace);
  }
  return complete;
}

bool frmRelaybird::probeComponents() {
  utility_ = tryCreate(world_.objects, prog_id::kUtility);
  if (!utility_) {
    world_.dialogs.messageBox({"Could not create MAPIUtils object..."});
  }
  prf_.UpdateEmailAddrOnMainForm();
  showOutbox();
  if (!tryCreate(world_.objects, prog_id::kDictionary)) {
    say("You are missing a necessary component on your PC.  You need to have the Microsoft "
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

void frmRelaybird::say(const std::string& text, const std::string& title, BoxIcon icon) {
  world_.dialogs.messageBox({text, title, BoxButtons::kOk, icon});
}

}  // namespace relaybird
