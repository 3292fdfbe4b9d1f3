// SPDX-License-Identifier: MIT
// frmRelaybird: the main window, which shows what forwarding does and takes the user's commands.
// It owns all running state: the preferences, the engine, the location of the help file.
//
// Operations do not throw: what goes wrong is told in a box, in the status line and in the log.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/forwarding_engine.h"
#include "prefs/cls_pref.h"
#include "ui/forms/help_file.h"
#include "ui/forms/main/attention.h"
#include "ui/forms/main/main_controls.h"
#include "ui/forms/main/main_display.h"
#include "ui/forms/main/progress.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class frmAbout;
class frmPrefs;
class modSystray;

/// What the main window opens and fills besides itself. All must outlive it.
struct OtherForms {
  Form& log;
  frmPrefs& settings;
  frmAbout& about;
  modSystray& tray;
};

class frmRelaybird : public MainControls {
 public:
  /// The log must outlive it; the store's OutgoingMail calls back nobody once it is gone.
  frmRelaybird(ProgramWorld world, ActivityLog& log);
  ~frmRelaybird() override;
  /// Before anything else is called.
  void connect(OtherForms forms);

  clsPref& prf() { return prf_; }
  ForwardingEngine& engine() { return engine_; }
  HelpFile& help() { return help_; }
  Alerts& alerts() { return attention_; }
  /// Since when checks have failed, and why; none where the last one succeeded.
  const std::optional<Attention::Failure>& checkFailure() const { return attention_.failure(); }
  /// Of the check or the synchronisation that runs now. Changes together with the status line.
  Progress progress() const;

  /// Reads the preferences, probes the components and fills the window. False when a component is
  /// missing without which the program cannot work; the user has been told.
  bool load();
  /// Ends a pass after the item in hand, lets go of a mail application that is gone, and ends the
  /// program.
  void unload();
  void closeBox() override { unload(); }

  /// Switches forwarding on, when everything needed is there and the user confirms the addresses.
  /// At start-up (`bAutoStart`) without that question, and without a first check. Where a pass that
  /// was stopped still finishes, all of this waits for its end.
  void StartForwarding(bool bAutoStart = false);
  /// Whether a start waits so.
  bool startWaits() const { return startTimer_->enabled(); }
  /// Switches forwarding off, also when it is off. A start that waits is forgotten.
  void StopForwarding();
  /// One check while forwarding is off. False when no check was made: the user has been told why,
  /// or did not want it.
  bool testCycle();
  /// Opens the settings dialog with what is stored.
  void showprefs();

  /// Tries at once all that waits in the outbox, and lets addresses go on that were stopped. The
  /// log says what became of it.
  void tryAgain();
  /// Shows what keeps mail from leaving now.
  void showOutbox();
  /// What has been asked for is done, but not told yet: the end of a test whose forwards are still
  /// on their way out, or of a try to send again.
  bool owesAnswer() const { return testReport_ || !mnuTryAgain.enabled(); }

  /// Asks until the address is a valid one. Returns 1, or -1 when the user cancelled.
  int GetValidEmail(std::string& address);
  void SetMainFormFwdToAddresses(const std::string& addresses, int count);
  void SetMainFrmCellPref(bool cell);

  /// Asks whether to go to the notification area.
  bool confirmToSysTray();
  /// Hides the window behind an icon in the notification area; where there is none, minimises it
  /// and says so.
  void ToSystray();
  /// The right button was pressed over the icon.
  void SysTrayMouseEventHandler();
  /// Back from the notification area.
  void restore();
  /// The notification area has gone for good: back as where there is none, with words in the log.
  void trayLost();

 private:
  EngineState& state() { return engine_.state(); }
  PrefWorld prefWorld();
  EngineWorld engineWorld();
  void wireCommands();
  void wirePictures();
  void markWhatOpensSettings();
  void startWithDesktop(bool wanted);
  void openSettingsAt(int tab);
  bool probeComponents();

  void showFailure();
  void startLater();
  void startTimerTick();

  // Steps of switching on; each tells the user why it failed.
  bool openSession();
  bool openSessionWith(bool getInbox, bool getSync, bool showStatus);
  bool checkVersion();
  bool checkApplication();
  bool askForAddress();
  bool storeSettings();
  bool judge(int result);
  bool confirmAddresses(bool bAutoStart);
  bool addressesListed(int count, std::string_view dialogName);
  bool userConfirms(std::string question, bool once);
  void switchOn(bool bAutoStart);
  void checkAtOnce();
  void showRunning(bool running);

  // Steps of the test cycle.
  bool mayTest();
  bool testPrepared();
  bool testAddressKnown();
  bool testConfirmed();
  void showTypedAddress();
  bool testSessionOpens();
  void runTestCheck();
  void testOver();
  void tellOutcomeOnceSent();
  template <class Step>
  auto bracketed(std::string_view name, Step step);

  // Of outbox_menu.cpp.
  void wireOutbox();
  void showOutbox(const std::string& words);
  void logOutbox();
  void triedAgain(const OutgoingState& before);
  void openFolder(const std::string& folder);

  void logLine(const std::string& words);
  void say(const std::string& text, const std::string& title, BoxIcon icon);
  std::string nowText() const { return world_.clock.toText(world_.clock.now()); }

  ProgramWorld world_;
  ActivityLog& log_;
  std::unique_ptr<OtherForms> forms_;
  MainDisplay display_;
  Attention attention_;
  HelpFile help_;
  clsPref prf_;
  ForwardingEngine engine_;
  /// Held for as long as the window lives, so that the safe-item library stays loaded.
  std::shared_ptr<AutomationObject> utility_;
  OutgoingState beforeTest_;               ///< when the last test cycle began
  std::optional<EngineState> testReport_;  ///< how a test's check ended, until the user is told
  std::unique_ptr<Timer> tmrTestReport_;   ///< looks whether its forwards have been sent
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< gone when the window is
  /// Runs while a start waits for the end of a pass.
  std::unique_ptr<Timer> startTimer_;
};

}  // namespace relaybird
