// SPDX-License-Identifier: MIT
// frmPrefs: the settings dialog. It holds no settings: its buttons hand its controls to the
// preference object, and its controls react to edits.
#pragma once

#include <string>

#include "engine/engine_world.h"
#include "engine/mail_session.h"
#include "prefs/cls_pref.h"
#include "ui/forms/program_world.h"
#include "ui/forms/settings/prefs_controls.h"

namespace relaybird {

class frmPrefs : public PrefsControls {
 public:
  /// All must outlive it.
  frmPrefs(const ProgramWorld& world, clsPref& prf, MailSession& session, ActivityLog& log);

  /// Puts back what the last use of the dialog left behind: the first tab, the caption of the
  /// address check.
  void prepare();
  /// Shows what is stored. The controls react as to a user's edits. Returns 1; -1 after a failure.
  int fill();
  /// The same where no user has asked for it: the rule of the start-up options opens no box then,
  /// and the dialog shows both where both are stored.
  int fillSilently();
  /// Whether the dialog shows both start-up options, which exclude each other.
  bool startUpOptionsClash() const;
  /// Says in a box that they do.
  void tellStartUpRule();
  /// Shows which message format is chosen.
  void SetCellPrefs(bool cell);
  /// Whether the last OK or Apply has stored everything.
  bool stored() const { return stored_; }
  /// As Cancel.
  void closeBox() override { cancel(); }

 protected:
  std::string helpTopic() const override;

 private:
  void wireFormat();
  void wireFilters();
  void wireGeneral();
  void showHours();
  void checkStartUpRule(Control& justClicked);
  void apply();
  void acceptAndClose();
  void cancel();
  void validateAddresses();
  void fail(const std::string& text);

  const ProgramWorld& world_;
  clsPref& prf_;
  MailSession& session_;
  ActivityLog& log_;
  bool ruleHolds_ = true;
  bool stored_ = false;
};

}  // namespace relaybird
