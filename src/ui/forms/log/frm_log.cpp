// SPDX-License-Identifier: MIT
// The log's lines live in the list box, so that the window, the search and the saved file all read
// the same data. The extent of the list only grows: each line is measured once, when it is added,
// and not again for a log of many thousand lines.
#include "ui/forms/log/frm_log.h"

#include <cerrno>

#include "platform/text/ascii_text.h"
#include "platform/text/character_kind.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

// Margin beside a line, so that the widest one does not touch the frame.
constexpr const char* kMargin = "  ";

// Shift, Ctrl and Alt together with V.
constexpr int kVerboseKey = 86;
constexpr int kVerboseShift = 7;

std::int32_t widthInPixels(const Screen& screen, const std::string& text) {
  const std::int32_t width = screen.textWidth(text);
  const std::int32_t unit = screen.twipsPerPixel();
  return unit > 1 ? static_cast<std::int32_t>(roundHalfEven(double(width) / unit)) : width;
}

}  // namespace

frmLog::frmLog(const ProgramWorld& world) : Form("frmLog", "Activity Log"), world_(world) {
  chkVerboseLog.setVisible(false);
  lstLog.onKeyDown([this](int keyCode, int shift) {
    // The switch for the verbose log is for support and stays out of the way of other users.
    if (keyCode == kVerboseKey && shift == kVerboseShift) {
      chkVerboseLog.setVisible(true);
    }
  });
  chkVerboseLog.onClick([this] { world_.verbose->store(chkVerboseLog.checked()); });
  cmdClose.setShortcut("Ctrl+W");
  cmdClose.onClick([this] { hide(); });
  wireFind();
  wireCommands();
}

void frmLog::wireFind() {
  lblFound.setVisible(false);
  txtFind.onChange([this] { typed(); });
  cmdFindNext.setShortcut("F3");
  cmdFindNext.onClick([this] { showHit(search_.next(currentLine())); });
  cmdFindPrevious.setShortcut("Shift+F3");
  cmdFindPrevious.onClick([this] { showHit(search_.previous(currentLine())); });
}

void frmLog::wireCommands() {
  lstLog.setContextMenu(mnuLog);
  for (Control* entry : {&mnuCopy, &mnuCopyAll, &mnuSaveAs}) {
    entry->setParent(mnuLog);
  }
  for (Control* asking : {&cmdCopyToClip, &cmdSaveAs, &mnuCopy, &mnuCopyAll, &mnuSaveAs}) {
    asking->setAsks();
  }
  mnuCopy.setShortcut("Ctrl+C");
  mnuSaveAs.setShortcut("Ctrl+S");
  for (Control* copying : {&cmdCopyToClip, &mnuCopy}) {
    copying->onClick([this] { copyToClipboard(copyText()); });
  }
  mnuCopyAll.onClick([this] { copyToClipboard(allLines()); });
  for (Control* saving : {&cmdSaveAs, &mnuSaveAs}) {
    saving->onClick([this] { saveAs(); });
  }
}

void frmLog::AddToLog(const std::string& text) {
  try {
    AddLine(text);
  } catch (...) {
    // A failure to log must never interrupt the work that is being logged.
  }
}

void frmLog::AddToLogV(const std::string& text) {
  if (!verbose()) {
    return;
  }
  try {
    AddLine(world_.clock.toText(world_.clock.now()) + " [v]-->" + text);
  } catch (...) {
    // As above.
  }
}

void frmLog::AddLine(const std::string& text) {
  const std::string line = trimBlanks(text);
  lstLog.addItem(line);
  // Measured with a margin that scales with the font.
  const std::int32_t width = widthInPixels(world_.screen, kMargin + line);
  if (width > widest_) {
    widest_ = width;
  }
  lstLog.setHorizontalExtent(widest_);
}

void frmLog::ClearLog() {
  lstLog.clearList();
  search_.forget();
  showFound({});
  widest_ = 0;
  lstLog.setHorizontalExtent(widest_);
}

std::size_t frmLog::currentLine() const {
  return lstLog.selection().empty() ? 0 : *lstLog.selection().begin();
}

void frmLog::typed() {
  const auto hit = search_.type(txtFind.text(), currentLine());
  if (txtFind.text().empty()) {
    showFound({});
  } else {
    showHit(hit);
  }
}

void frmLog::showHit(const std::optional<LineSearch::Hit>& hit) {
  if (!hit) {
    showFound(txtFind.text().empty() ? "" : "Nothing found");
    return;
  }
  // Before the selection moves: going back, the hit lies behind the line that was current.
  const bool back = hit->line > currentLine();
  lstLog.setSelection({hit->line});
  showFound("Line " + std::to_string(hit->line + 1) + " of " +
            std::to_string(lstLog.list().size()) +
            (hit->aroundTheEnd ? (back ? ", from the end again" : ", from the top again") : ""));
}

void frmLog::showFound(const std::string& words) {
  lblFound.setText(words);
  lblFound.setVisible(!words.empty());
}

// Without a selection, everything: a user who only presses Copy expects the log.
std::string frmLog::copyText() const {
  if (lstLog.selection().empty()) {
    return allLines();
  }
  std::string text;
  for (const std::size_t position : lstLog.selection()) {
    text.append(lstLog.list().at(position)).append("\r\n");
  }
  return text;
}

std::string frmLog::allLines() const {
  std::string text;
  for (const std::string& line : lstLog.list()) {
    text.append(line).append("\r\n");
  }
  return text;
}

void frmLog::copyToClipboard(const std::string& text) {
  const Result<void> copied = world_.clipboard.setText(text);
  if (!copied) {
    world_.dialogs.messageBox({"The log could not be copied.\r\n\r\n" + copied.error().text,
                               "Error", BoxButtons::kOk, BoxIcon::kExclamation});
  }
}

// The dialog itself does not ask before replacing a file, so that the question is the same in a
// window and at the console.
void frmLog::saveAs() {
  const auto path = world_.dialogs.saveFile(
      {"Save the Activity Log", "Text files (*.txt)|*.txt|All files|*", "relaybird-log.txt"});
  if (!path || !mayBeReplaced(*path)) {
    return;
  }
  if (const Result<void> saved = save(*path); !saved) {
    world_.dialogs.messageBox(
        {"The log could not be saved as " + *path + ".\r\n\r\n" + saved.error().text, "Error",
         BoxButtons::kOk, BoxIcon::kExclamation});
  }
}

// Whether the path is free, or the user agrees to replace the file.
bool frmLog::mayBeReplaced(const std::string& path) {
  if (!world_.files.inspect(path)) {
    return true;
  }
  return world_.dialogs.messageBox(
             {"There is a file " + path + " already.\r\n\r\nDo you want to replace it?",
              "Save the Activity Log", BoxButtons::kYesNo, BoxIcon::kExclamation}) ==
         BoxAnswer::kYes;
}

// Writes the lines with visible codes for control characters: a subject must neither break a line
// nor control the terminal on which the file is read.
Result<void> frmLog::save(const std::string& path) {
  const auto place = world_.files.resolve(path);
  if (!place) {
    return place.error();
  }
  if (const auto there = world_.files.inspect(*place)) {
    if (there->type != FileType::kRegular) {
      return Error{EINVAL, "This is no file for text."};
    }
    if (auto allowed = world_.files.mayWrite(*place); !allowed) {
      return allowed;
    }
  }
  std::string text;
  for (const std::string& line : lstLog.list()) {
    text.append(withCodes(line)).append("\n");
  }
  return replaceFile(world_.files, *place, text);
}

}  // namespace relaybird
