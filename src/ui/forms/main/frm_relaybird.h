// SPDX-License-Identifier: MIT
// frmRelaybird: the main window, which shows what forwarding does and takes the user's commands.
// It owns all running state: the preferences, the engine, the location of the help file.
//
// Operations do not throw: failures are reported in a box, in the status line and in the log.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "engine/forwarding_engine.h"
#include "prefs/cls_pref.h"
#include "ui/forms/help_file.h"
#include "ui/forms/main/attention.h"
#include "ui/forms/main/forwarding_steps.h"
#include "ui/forms/main/forwarding_switch.h"
#include "ui/forms/main/mailbox_line.h"
#include "ui/forms/main/main_controls.h"
#include "ui/forms/main/outbox_menu.h"
#include "ui/forms/main/test_cycle.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class frmAbout;
class frmSetup;
class modSystray;

/// How far long work has come.
struct Progress {
  enum class Kind {
    kNone,     ///< nothing runs
    kSteps,    ///< `done` of `total` items
    kUnknown,  ///< indeterminate: something runs, for an unknown time
  };
  Kind kind = Kind::kNone;
  int done = 0;
  int total = 0;
  bool operator==(const Progress&) const = default;
};

/// The other forms that the main window opens and fills. All must outlive it.
struct OtherForms {
  Form& log;
  frmPrefs& settings;
  frmAbout& about;
  modSystray& tray;
  frmSetup& setup;
};

class frmRelaybird : public MainControls {
 public:
  /// Both must outlive it.
  frmRelaybird(const ProgramWorld& world, ActivityLog& log);
  ~frmRelaybird() override;
  /// Called before anything else.
  void connect(OtherForms forms);

  clsPref& prf() { return prf_; }
  ForwardingEngine& engine() { return engine_; }
  HelpFile& help() { return help_; }
  Alerts& alerts() { return attention_; }
  OutboxMenu& outbox() { return outbox_; }
  MailboxLine& mailbox() { return mailbox_; }
  frmPrefs& settings();
  /// Since when checks have failed, and why; empty after a check that succeeded.
  const std::optional<Attention::Failure>& checkFailure() const { return attention_.failure(); }
  /// How far the running check or synchronisation has come. Changes together with the status line.
  Progress progress() const;

  /// Reads the preferences, probes the components and fills the window. False when a required
  /// component is missing; the user has been told.
  bool load();
  /// Ends a pass after its current item, drops a mail application that is gone, and ends the
  /// program.
  void unload();
  void closeBox() override { unload(); }

  /// Switches forwarding on when all parts work and the user confirms the addresses. At start-up
  /// (`bAutoStart`) it asks nothing and makes no first check. While a stopped pass still runs, the
  /// start waits for its end.
  void StartForwarding(bool bAutoStart = false) { switch_.start(bAutoStart); }
  /// Whether a start waits for the end of a pass.
  bool startWaits() const { return switch_.startWaits(); }
  /// Switches forwarding off, also when it is off. Cancels a start that waits.
  void StopForwarding() { switch_.stop(); }
  /// Makes one check while forwarding is off (TestCycle::run).
  bool testCycle() { return test_.run(); }
  /// Opens the dialog that sets up mail.
  void openSetup();
  /// Offers to open it if there is no mailbox yet.
  void offerSetup();
  /// Asks for an address to forward to if there is none, and stores it. False if there is none
  /// then.
  bool addForwardAddress() { return switch_.addAddress(); }
  /// Drops all objects of the mail store, before another one is opened. Nothing may be running.
  void releaseStore();
  /// Another store has been opened, or none could be.
  void storeOpened();
  /// Opens the settings dialog with the stored values.
  void showprefs();
  /// The same at one of its tabs (PrefsTab).
  void openSettingsAt(int tab);
  /// Whether the result of a test or of a try to send again has not been reported yet.
  bool owesResult() const { return test_.owesResult() || outbox_.isTrying(); }

  void SetMainFormFwdToAddresses(const std::string& addresses, int count);
  void SetMainFrmCellPref(bool cell);

  /// Asks whether to go to the notification area.
  bool confirmToSysTray();
  /// Hides the window behind an icon in the notification area; without such an area, minimises it
  /// and tells the user.
  void ToSystray();
  /// The right button was pressed over the icon.
  void SysTrayMouseEventHandler();
  /// Back from the notification area.
  void restore();
  /// The notification area has gone for good: shows the window again, minimised, and logs it.
  void trayLost();

 private:
  EngineState& state() { return engine_.state(); }
  PrefWorld prefWorld();
  EngineWorld engineWorld();
  void wireCommands();
  void wirePictures();
  void markWhatOpensSettings();
  void startWithDesktop(bool wanted);
  bool probeComponents();
  void showFailure();

  const ProgramWorld& world_;
  ActivityLog& log_;
  std::unique_ptr<OtherForms> forms_;
  MainDisplay display_;
  Attention attention_;
  HelpFile help_;
  clsPref prf_;
  ForwardingEngine engine_;
  ForwardingSteps steps_;
  OutboxMenu outbox_;
  MailboxLine mailbox_;
  TestCycle test_;
  /// Held for as long as the window lives, so that the safe-item library stays loaded.
  std::shared_ptr<AutomationObject> utility_;
  ForwardingSwitch switch_;
};

}  // namespace relaybird
