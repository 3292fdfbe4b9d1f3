// SPDX-License-Identifier: MIT
// The whole program without a screen: every form, put together over one world. A front end makes
// one, observes its forms, and lets them work.
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

namespace relaybird {

class ProgramForms {
 public:
  /// Keeps a copy of the world for the forms.
  explicit ProgramForms(const ProgramWorld& world);
  ~ProgramForms();

  /// Loads and shows the main window, and switches forwarding on where the preferences say so.
  /// False when the program cannot work here; the user has been told.
  bool start();
  /// Reads the preference file again, as somebody else has written it, and shows what it holds. An
  /// open settings dialog keeps what the user is typing.
  void readPreferencesAgain();
  /// The store has something to tell: puts it into the log, under the time at which it happened,
  /// and raises it where it matters.
  void storeTells(const StoreNotice& notice);
  /// Something failed that no part of the program had expected: the log tells it each time, a box
  /// the first time. Forwarding goes on.
  void unexpected(const std::string& what);
  /// Ends a pass after the item in hand, and lets go of the mail application. The program is over.
  void shutDown();

  /// Nothing runs and nothing waits to: no check, no synchronisation, no start.
  bool idle();

  /// frmRelaybird, frmPrefs, frmLog, frmAbout.
  std::vector<Form*> forms();
  /// By name, letter case aside; null where there is none.
  Form* find(std::string_view name);

  frmLog& log() { return log_; }
  frmRelaybird& main() { return main_; }
  frmPrefs& settings() { return settings_; }
  frmAbout& about() { return about_; }
  modSystray& tray() { return tray_; }

 private:
  class Bridge;

  const ProgramWorld world_;
  bool toldOfUnexpected_ = false;

  frmLog log_;
  frmRelaybird main_;
  frmPrefs settings_;
  frmAbout about_;
  modSystray tray_;
  std::unique_ptr<Bridge> bridge_;
};

}  // namespace relaybird
