// SPDX-License-Identifier: MIT
// The whole program without a screen: all forms over one ProgramWorld. A front end makes one and
// observes its forms.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mail/outgoing_mail.h"
#include "ui/forms/frm_about.h"
#include "ui/forms/log/frm_log.h"
#include "ui/forms/main/frm_relaybird.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/program_world.h"
#include "ui/forms/settings/frm_prefs.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird {

class ProgramForms {
 public:
  /// Keeps a copy of the world for the forms.
  explicit ProgramForms(const ProgramWorld& world);
  ~ProgramForms();

  /// Loads and shows the main window, and switches forwarding on if the preferences say so. False
  /// if the program cannot work here; the user has been told.
  bool start();
  /// Reads and shows the preference file again, after another program has written it. An open
  /// settings dialog keeps the user's edits.
  void readPreferencesAgain();
  /// Handles a notice of the store: logs it with its own time, and raises an alert if needed.
  void handleNotice(const StoreNotice& notice);
  /// Reports an unexpected failure: in the log every time, in a box the first time. Forwarding
  /// continues.
  void unexpected(const std::string& what);
  /// Ends the program: stops a pass after its current item, and releases the mail application.
  void shutDown();

  /// Whether nothing runs or waits to run: no check, no synchronisation, no start.
  bool idle();

  /// frmRelaybird, frmPrefs, frmLog, frmAbout, frmSetup.
  std::vector<Form*> forms();
  /// Finds a form by name, ignoring letter case; null if there is none.
  Form* find(std::string_view name);

  frmLog& log() { return log_; }
  frmRelaybird& main() { return main_; }
  frmPrefs& settings() { return settings_; }
  frmAbout& about() { return about_; }
  frmSetup& setup() { return setup_; }
  Dialogs& dialogs() { return world_.dialogs; }
  modSystray& tray() { return tray_; }

 private:
  class Bridge;
  void reopenMailbox(const frmSetup::Opened& opened);

  const ProgramWorld world_;
  bool reportedUnexpected_ = false;

  frmLog log_;
  frmRelaybird main_;
  frmPrefs settings_;
  frmAbout about_;
  frmSetup setup_;
  modSystray tray_;
  std::unique_ptr<Bridge> bridge_;
};

}  // namespace relaybird
