// SPDX-License-Identifier: MIT
#include "ui/forms/log/frm_log.h"

#include "platform/text/number_text.h"

namespace relaybird {
namespace {

/// Kept free beside a line, so that the widest one does not touch the frame.
constexpr const char* kMargin = "  ";

/// Shift, Ctrl and Alt together with V.
constexpr int kVerboseKey = 86;
constexpr int kVerboseShift = 7;

std::int32_t widthInPixels(const Screen& screen, const std::string& text) {
  const std::int32_t width = screen.textWidth(text);
  const std::int32_t unit = screen.twipsPerPixel();
  return unit > 1 ? static_cast<std::int32_t>(roundHalfEven(double(width) / unit)) : width;
}

}  // namespace

frmLog::frmLog(LogFormWorld world) : Form("frmLog", "Activity Log"), world_(world) {
  chkVerboseLog.setVisible(false);
  lstLog.onKeyDown([this](int keyCode, int shift) {
    if (keyCode == kVerboseKey && shift == kVerboseShift) {
      chkVerboseLog.setVisible(true);
    }
  });
  cmdCopyToClip.setAsks();
  cmdCopyToClip.onClick([this] { copyToClipboard(); });
  setCancelButton(cmdClose);
  cmdClose.onClick([this] { hide(); });
}

void frmLog::AddToLog(const std::string& text) {
  try {
    AddLine(text);
  } catch (...) {
    // Failing to show a line never disturbs the work that the line is about.
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
  const std::int32_t width = widthInPixels(world_.screen, kMargin + line);
  if (width > widest_) {
    widest_ = width;
  }
  lstLog.setHorizontalExtent(widest_);
}

void frmLog::ClearLog() {
  lstLog.clearList();
  widest_ = 0;
  lstLog.setHorizontalExtent(widest_);
}

void frmLog::closeBox() {
  hide();
  if (keep_) {
    return;
  }
  ClearLog();
  chkVerboseLog.setValue(0);
  chkVerboseLog.setVisible(false);
  tell(FormChange::kUnloaded);
}

std::string frmLog::copyText() const {
  std::string text;
  const auto append = [&](const std::string& line) { text.append(line).append("\r\n"); };
  for (const std::size_t position : lstLog.selection()) {
    append(lstLog.list().at(position));
  }
  if (lstLog.selection().empty()) {
    for (const std::string& line : lstLog.list()) {
      append(line);
    }
  }
  return text;
}

void frmLog::copyToClipboard() {
  const Result<void> copied = world_.clipboard.setText(copyText());
  if (!copied) {
    world_.dialogs.messageBox({"The log could not be copied.\r\n\r\n" + copied.error().text,
                               "Error", BoxButtons::kOk, BoxIcon::kExclamation});
  }
}

}  // namespace relaybird
