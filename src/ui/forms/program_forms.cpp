// SPDX-License-Identifier: MIT
// Puts the forms together. The preference object knows no forms; Bridge gives it the settings
// dialog's controls by name, and the few things that it changes in the main window.
#include "ui/forms/program_forms.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/text/ascii_text.h"
#include "prefs/pref_forms.h"

namespace relaybird {

// The forms, as an interface for the preference object.
class ProgramForms::Bridge : public PrefForms {
 public:
  Bridge(frmRelaybird& main, frmPrefs& settings, Dialogs& dialogs)
      : main_(main), settings_(settings), dialogs_(dialogs) {}

  std::string text(std::string_view control) const override { return at(control).text(); }
  void setText(std::string_view control, const std::string& text) override {
    at(control).setText(text);
  }
  int value(std::string_view control) const override { return at(control).value(); }
  void setValue(std::string_view control, int value) override { at(control).setValue(value); }
  void SetCellPrefs(bool cell) override { settings_.SetCellPrefs(cell); }
  void SetMainFrmCellPref(bool cell) override { main_.SetMainFrmCellPref(cell); }
  void SetMainFormFwdToAddresses(const std::string& text, int count) override {
    main_.SetMainFormFwdToAddresses(text, count);
  }
  bool confirm(const std::string& title, const std::string& question) override {
    return dialogs_.messageBox({question, title, BoxButtons::kYesNo}) == BoxAnswer::kYes;
  }

 private:
  Control& at(std::string_view name) const {
    Control* control = settings_.find(name);
    // A name that the preference object asks for and the dialog does not have is a mistake of ours.
    if (control == nullptr) {
      throw std::logic_error("frmPrefs has no control " + std::string(name));
    }
    return *control;
  }

  frmRelaybird& main_;
  frmPrefs& settings_;
  Dialogs& dialogs_;
};

ProgramForms::ProgramForms(const ProgramWorld& world)
    : world_(world),
      log_(world_),
      main_(world_, log_),
      settings_(world_, main_.prf(), main_.engine().session(), log_),
      about_(world_),
      setup_(world_, main_.prf(), log_),
      tray_(world_.tray, [this] { main_.SysTrayMouseEventHandler(); }),
      bridge_(std::make_unique<Bridge>(main_, settings_, world_.dialogs)) {
  main_.connect({log_, settings_, about_, tray_, setup_});
  setup_.onStored([this](const frmSetup::Opened& opened) { reopenMailbox(opened); });
  setup_.onAddressMissing([this] { return main_.addForwardAddress(); });
  main_.prf().connectForms(*bridge_);
  for (Form* form : forms()) {
    form->onHelp([this](const std::string& topic) { main_.help().show(topic); });
  }
}

ProgramForms::~ProgramForms() = default;

bool ProgramForms::start() {
  if (!main_.load()) {
    return false;
  }
  // A box during the load has ended the program.
  if (main_.engine().state().ending) {
    return true;
  }
  main_.show();
  if (main_.prf().bolTurnOnFwdOnStartup()) {
    main_.StartForwarding(true);
  }
  // Only now, and posted: nobody may be there to answer, and forwarding must start anyway.
  if (settings_.startUpOptionsClash()) {
    world_.events.post([this] { settings_.showStartUpRule(); });
  }
  return true;
}

// The format shown in the main window comes from filling the dialog; if the dialog is open and must
// not be filled, it is set directly.
void ProgramForms::readPreferencesAgain() {
  clsPref& prf = main_.prf();
  prf.ReadIniPref();
  if (settings_.visible()) {
    main_.SetMainFrmCellPref(prf.bolFormatForCellPhone());
  } else {
    settings_.fillSilently();
  }
  prf.UpdateEmailAddrOnMainForm();
}

// Forwarding goes on with another mailbox only when the user says so: what counts as existing mail
// depends on when it was switched on. Until the old mailbox is closed the set-up dialog stays open,
// so that no other command can be given but to end the program.
void ProgramForms::reopenMailbox(const frmSetup::Opened& opened) {
  const EngineState& state = main_.engine().state();
  if (state.m_bBusyFwd || state.syncBusy || state.passRunning || main_.owesResult() ||
      main_.startWaits()) {
    return opened(Error{0,
                        "A check or a synchronisation is running. The settings take effect when "
                        "Relaybird is started again, or when you press OK again after the check."});
  }
  const bool wasOn = state.forwardingOn;
  if (wasOn) {
    main_.StopForwarding();
  }
  main_.releaseStore();
  world_.setup.reopen([this, wasOn, opened](const Result<void>& result) {
    if (main_.engine().state().ending) {
      return;
    }
    main_.storeOpened();
    if (result && wasOn) {
      world_.dialogs.messageBox(
          {"Forwarding has been switched off, because the mail settings have changed. Press Start "
           "to switch it on again."});
    }
    opened(result);
  });
}

// A notice may be about something earlier; it then has its own time.
void ProgramForms::handleNotice(const StoreNotice& notice) {
  if (notice.kind == StoreNotice::Kind::kVerbose) {
    return log_.AddToLogV(notice.line);
  }
  const DateTime when = notice.time == kNoDate ? world_.clock.now() : notice.time;
  log_.AddToLog(world_.clock.toText(when) + "--> " + notice.line);
  if (notice.kind == StoreNotice::Kind::kRefused) {
    main_.alerts().forwardRefused(notice.line);
  } else if (notice.kind == StoreNotice::Kind::kStopped) {
    main_.alerts().addressStopped(notice.line);
  }
  main_.outbox().show();
}

void ProgramForms::unexpected(const std::string& what) {
  log_.AddToLog(world_.clock.toText(world_.clock.now()) + "--> Unexpected: " + what);
  if (!std::exchange(reportedUnexpected_, true)) {
    world_.dialogs.messageBox(
        {"Something unexpected happened: " + what +
             "\r\n\r\nForwarding goes on; the log will tell of any more of this.",
         "Error", BoxButtons::kOk, BoxIcon::kExclamation});
  }
}

// A pass on the stack still uses the session, which is then not released here.
void ProgramForms::shutDown() {
  main_.unload();
  if (!main_.engine().state().passRunning) {
    main_.engine().session().release();
  }
}

bool ProgramForms::idle() {
  const EngineState& state = main_.engine().state();
  return !state.m_bBusyFwd && !state.syncBusy && !state.passRunning && !main_.owesResult() &&
         !main_.startWaits() && !(setup_.visible() && setup_.busy());
}

std::vector<Form*> ProgramForms::forms() {
  return {&main_, &settings_, &log_, &about_, &setup_};
}

Form* ProgramForms::find(std::string_view name) {
  const std::string wanted = asciiLower(name);
  const std::vector<Form*> all = forms();
  const auto found = std::find_if(
      all.begin(), all.end(), [&](const Form* form) { return asciiLower(form->name()) == wanted; });
  return found == all.end() ? nullptr : *found;
}

}  // namespace relaybird
