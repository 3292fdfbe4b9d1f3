// SPDX-License-Identifier: MIT
// frmLog: the activity log and its window. The lines are kept in memory only, in lstLog, unless the
// user saves them. All calls are made on the user-interface thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "engine/engine_world.h"
#include "platform/result.h"
#include "ui/forms/log/line_search.h"
#include "ui/forms/model/form.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class frmLog : public Form, public ActivityLog {
 public:
  /// `world` must outlive it.
  explicit frmLog(const ProgramWorld& world);

  void AddToLog(const std::string& text) override;
  void AddToLogV(const std::string& text) override;
  bool verbose() const override { return chkVerboseLog.checked(); }

  /// Adds a line without its leading and trailing blanks, also while the window is hidden; a text
  /// of only blanks makes an empty line. May throw what the screen throws; the line has been added
  /// then.
  void AddLine(const std::string& text);
  void ClearLog();

  /// The selected lines in order, or all lines if none is selected, each followed by CR LF.
  std::string copyText() const;

  /// The text to find, ignoring letter case. Typing moves to the first line that contains it.
  Control lblFind{*this, ControlKind::kLabel, "lblFind", "Find:"};
  Control txtFind{*this, ControlKind::kTextBox, "txtFind"};
  Control cmdFindPrevious{*this, ControlKind::kButton, "cmdFindPrevious", "&Previous"};
  Control cmdFindNext{*this, ControlKind::kButton, "cmdFindNext", "&Next"};
  /// The number of the line found, or that there is none; hidden while the search field is empty.
  Control lblFound{*this, ControlKind::kLabel, "lblFound"};
  Control lstLog{*this, ControlKind::kListBox, "lstLog"};
  /// Hidden until Shift+Ctrl+Alt+V is pressed in the list.
  Control chkVerboseLog{*this, ControlKind::kCheckBox, "chkVerboseLog", "Verbose log"};
  Control cmdCopyToClip{*this, ControlKind::kButton, "cmdCopyToClip", "&Copy to Clipboard"};
  Control cmdSaveAs{*this, ControlKind::kButton, "cmdSaveAs", "&Save As..."};
  /// Hides the window.
  Control cmdClose{*this, ControlKind::kButton, "cmdClose", "C&lose"};
  /// The context menu of the list.
  Control mnuLog{*this, ControlKind::kMenu, "mnuLog", "Log"};
  /// Same as cmdCopyToClip.
  Control mnuCopy{*this, ControlKind::kMenu, "mnuCopy", "&Copy"};
  Control mnuCopyAll{*this, ControlKind::kMenu, "mnuCopyAll", "Copy &All"};
  Control mnuSaveAs{*this, ControlKind::kMenu, "mnuSaveAs", "&Save As..."};

 protected:
  std::string helpTopic() const override { return "activity-log"; }

 private:
  void wireFind();
  void wireCommands();
  std::size_t currentLine() const;
  void typed();
  void showFound(const std::string& words);
  void showHit(const std::optional<LineSearch::Hit>& hit);
  std::string allLines() const;
  void copyToClipboard(const std::string& text);
  void saveAs();
  bool mayBeReplaced(const std::string& path);
  Result<void> save(const std::string& path);

  const ProgramWorld& world_;
  LineSearch search_{lstLog.list()};
  std::int32_t widest_ = 0;  ///< pixels of the widest line and its margin
};

}  // namespace relaybird
