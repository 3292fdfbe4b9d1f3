// SPDX-License-Identifier: MIT
// The line at the top of the main window: which mailbox is watched and how forwards leave, or that
// there is no mailbox yet. The commands for setting mail up are there only where there is something
// to set up.
#pragma once

#include <string>

#include "prefs/cls_pref.h"
#include "ui/forms/main/main_controls.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class MailboxLine {
 public:
  /// All must outlive it.
  MailboxLine(MainControls& window, const ProgramWorld& world, clsPref& prf);

  /// Reads the settings and shows them.
  void read();
  /// Shows how much waits and how much has left now.
  void show();
  /// No mailbox is set up, and there is none where one is looked for.
  bool noMailbox() const { return noMailbox_; }
  /// The mailbox is that of another program: there is nothing to set up.
  bool given() const { return given_; }
  const std::string& watched() const { return watched_; }
  const std::string& delivery() const { return delivery_; }
  /// Since when the numbers of messages are counted.
  std::string since() const { return since_; }

 private:
  void readSettings();

  MainControls& window_;
  const ProgramWorld& world_;
  clsPref& prf_;
  bool noMailbox_ = false;
  bool given_ = false;
  bool mistaken_ = false;  ///< the settings are wrong, or their mailbox could not be opened
  std::string watched_;
  std::string delivery_;
  std::string since_;
};

}  // namespace relaybird
