// SPDX-License-Identifier: MIT
// frmPrefs: the settings dialog. The settings themselves are in the preference object, which its
// buttons make read or fill the controls; here is how the controls react to edits.
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

  /// Resets what the last use of the dialog changed: the current tab and the caption of the address
  /// check.
  void prepare();
  /// Shows the stored settings. The controls react as to a user's edits. Returns 1, or -1 after a
  /// failure.
  int fill();
  /// The same without a user's request: if both start-up options are stored, the dialog shows both
  /// and opens no box.
  int fillSilently();
  /// Whether both start-up options are checked, although they exclude each other.
  bool startUpOptionsClash() const;
  /// Shows the box about this.
  void showStartUpRule();
  /// Shows which message format is chosen.
  void SetCellPrefs(bool cell);
  /// Whether the last OK or Apply stored everything.
  bool stored() const { return stored_; }
  /// Same as Cancel.
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
  bool mayShowRule_ = true;
  bool stored_ = false;
};

}  // namespace relaybird
