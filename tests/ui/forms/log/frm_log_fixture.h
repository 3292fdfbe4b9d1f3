// SPDX-License-Identifier: MIT
// The log window's form over a screen, a clipboard, boxes and a disk that tests can break.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "prefs/fake_files.h"
#include "support/fake_clock.h"
#include "support/scripted_dialogs.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird {

inline constexpr int kKeyV = 86;

/// Every character is 7 units wide.
class FakeScreen : public Screen {
 public:
  void repaint() override {}
  void processPendingEvents() override {}
  void endProgram() override {}
  std::int32_t textWidth(const std::string& text) const override {
    ++measured;
    if (broken) {
      throw std::runtime_error("the window is gone");
    }
    return 7 * static_cast<std::int32_t>(text.size());
  }
  std::int32_t twipsPerPixel() const override { return perPixel; }

  mutable int measured = 0;
  bool broken = false;
  std::int32_t perPixel = 1;
};

class FakeClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& text) override {
    if (broken) {
      return Error{0, "No desktop answers."};
    }
    texts.push_back(text);
    return {};
  }

  std::vector<std::string> texts;
  bool broken = false;
};

class RecordingObserver : public FormObserver {
 public:
  void controlChanged(const Control& control, Change what) override {
    if (broken) {
      throw std::runtime_error("the window is gone");
    }
    if (control.name() == "lstLog") {
      listChanges.push_back(what);
    }
  }
  void formChanged(const Form&, FormChange what) override { formChanges.push_back(what); }

  std::vector<Change> listChanges;
  std::vector<FormChange> formChanges;
  bool broken = false;
};

class FrmLog : public testing::Test {
 protected:
  std::vector<std::string> lines() const { return log_.lstLog.list(); }
  void addLines() {
    for (const char* line : {"one", "two", "three"}) {
      log_.AddToLog(line);
    }
  }
  void reveal() { log_.lstLog.keyDown(kKeyV, 7); }

  FakeClock clock_;
  FakeScreen screen_;
  FakeClipboard clipboard_;
  ScriptedDialogs dialogs_;
  RecordingObserver observer_;
  /// What the user types, letter by letter.
  void type(const std::string& text) {
    for (std::size_t length = 1; length <= text.size(); ++length) {
      log_.txtFind.setText(text.substr(0, length));
    }
  }
  std::set<std::size_t> selected() const { return log_.lstLog.selection(); }
  std::string found() const { return log_.lblFound.text(); }
  void saveAs(const std::string& path) {
    dialogs_.choose(path);
    log_.cmdSaveAs.click();
  }

  FakeFiles files_;
  frmLog log_{{clock_, screen_, clipboard_, dialogs_, files_}};
};

}  // namespace relaybird
