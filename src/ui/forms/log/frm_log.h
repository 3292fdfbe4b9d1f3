// SPDX-License-Identifier: MIT
// frmLog: the activity log and the window that shows it. The lines are held once, in lstLog, and
// nowhere but in memory. All calls on the user-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "engine/report/activity_log.h"
#include "platform/clock.h"
#include "ui/forms/form_world.h"
#include "ui/forms/model/dialogs.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// What the window works with. All must outlive it.
struct LogFormWorld {
  const Clock& clock;
  const Screen& screen;
  Clipboard& clipboard;
  Dialogs& dialogs;
};

class frmLog : public Form, public ActivityLog {
 public:
  explicit frmLog(LogFormWorld world);

  void AddToLog(const std::string& text) override;
  void AddToLogV(const std::string& text) override;
  bool verbose() const override { return chkVerboseLog.checked(); }

  /// Lists a line without its leading and trailing blanks, shown or hidden; a text of blanks alone
  /// makes an empty line. May throw what the screen throws; the line is then listed all the same.
  void AddLine(const std::string& text);
  void ClearLog();

  /// Pixels of the widest line and its margin; 0 when there is no line.
  std::int32_t widestLine() const { return widest_; }
  /// The selected lines in their order, or all where none is selected, each followed by CR LF.
  std::string copyText() const;

  /// While set, as at first, the close box hides the window and keeps its lines.
  void setKeep(bool keep) { keep_ = keep; }
  /// Hides the window. Without the keep flag it is unloaded too: the lines are gone, the verbose
  /// switch is off and hidden.
  void closeBox() override;

  Control lstLog{*this, ControlKind::kListBox, "lstLog"};
  /// Hidden until Shift+Ctrl+Alt+V goes down in the list.
  Control chkVerboseLog{*this, ControlKind::kCheckBox, "chkVerboseLog", "Verbose log"};
  Control cmdCopyToClip{*this, ControlKind::kButton, "cmdCopyToClip", "Copy to Clipboard"};
  /// Hides the window, always.
  Control cmdClose{*this, ControlKind::kButton, "cmdClose", "Close"};

 private:
  void copyToClipboard();

  LogFormWorld world_;
  std::int32_t widest_ = 0;
  bool keep_ = true;
};

}  // namespace relaybird
