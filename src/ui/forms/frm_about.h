// SPDX-License-Identifier: MIT
// frmAbout: the about box. Its button starts the desktop's system-information tool, its link opens
// the program's web page.
#pragma once

#include <string>

#include "ui/forms/model/form.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class frmAbout : public Form {
 public:
  /// `world` must outlive it.
  explicit frmAbout(const ProgramWorld& world);

  /// Fills in the version and shows the box over its owner.
  void open(Form& owner);
  /// Starts the tool; shows a box if there is none or it does not start.
  void StartSysInfo();

  Control lblTitle{*this, ControlKind::kLabel, "lblTitle", "Relaybird  vX.X.X"};
  Control lblDescription{*this, ControlKind::kLabel, "lblDescription"};
  Control lblDisclaimer{*this, ControlKind::kLabel, "lblDisclaimer"};
  Control cmdOk{*this, ControlKind::kButton, "cmdOk", "OK"};
  Control cmdSysInfo{*this, ControlKind::kButton, "cmdSysInfo", "&System Info..."};
  Control lblCopyright{*this, ControlKind::kLabel, "lblCopyright"};
  /// The version alone, for copying into a report.
  Control lblVersion{*this, ControlKind::kLabel, "lblVersion", "Version:"};
  Control txtVersion{*this, ControlKind::kTextBox, "txtVersion"};
  Control lblHomepage{*this, ControlKind::kLabel, "lblHomepage", "Web page:"};
  Control lnkHomepage{*this, ControlKind::kLink, "lnkHomepage"};

 protected:
  std::string helpTopic() const override { return "licence"; }

 private:
  void showHomepage();

  const ProgramWorld& world_;
};

}  // namespace relaybird
