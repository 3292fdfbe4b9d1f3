// SPDX-License-Identifier: MIT
// frmAbout: the about box, whose button starts the desktop's system-information tool.
#pragma once

#include <string>

#include "ui/forms/form_world.h"
#include "ui/forms/model/dialogs.h"
#include "ui/forms/model/form.h"

namespace relaybird {

class frmAbout : public Form {
 public:
  /// Both must outlive it.
  frmAbout(ProgramVersion version, SystemInformation& information, Dialogs& dialogs);

  /// Fills in the version and shows the box over its owner.
  void open(Form& owner);
  /// Starts the tool; says so in a box where there is none or it does not start.
  void StartSysInfo();

  Control lblTitle{*this, ControlKind::kLabel, "lblTitle", "Relaybird  vX.X.X"};
  Control lblDescription{*this, ControlKind::kLabel, "lblDescription"};
  Control lblDisclaimer{*this, ControlKind::kLabel, "lblDisclaimer"};
  Control cmdOk{*this, ControlKind::kButton, "cmdOk", "OK"};
  Control cmdSysInfo{*this, ControlKind::kButton, "cmdSysInfo", "&System Info..."};

 protected:
  std::string helpTopic() const override { return "licence"; }

 private:
  ProgramVersion version_;
  SystemInformation& information_;
  Dialogs& dialogs_;
};

}  // namespace relaybird
