// SPDX-License-Identifier: MIT
// The log window's form over a screen, a clipboard, boxes and a disk that tests can break.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ui/forms/fake_world.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird {

inline constexpr int kKeyV = 86;

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

class FrmLog : public testing::Test, protected FakeWorld {
 protected:
  std::vector<std::string> lines() const { return log_.lstLog.list(); }
  void addLines() {
    for (const char* line : {"one", "two", "three"}) {
      log_.AddToLog(line);
    }
  }
  void reveal() { log_.lstLog.keyDown(kKeyV, 7); }

  /// Types a text letter by letter.
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

  RecordingObserver observer_;
  const ProgramWorld world_ = world();
  frmLog log_{world_};
};

}  // namespace relaybird
