// SPDX-License-Identifier: MIT
// A console over a small program with two windows, in virtual time: a loop that would sleep
// advances the clock instead, and one that would sleep for ever ends.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/fake_waiter.h"
#include "ui/console/console_desktop.h"
#include "ui/console/console_dialogs.h"
#include "ui/console/console_output.h"
#include "ui/console/console_program.h"
#include "ui/console/console_session.h"
#include "ui/console/line_source.h"
#include "ui/console/terminal_output.h"

namespace relaybird {

class Transcript : public TextSink {
 public:
  void write(std::string_view bytes) override { text += bytes; }
  /// Returns the output since the last call.
  std::string take() { return std::exchange(text, {}); }

  std::string text;
};

/// A line source that the test fills.
class TypedLines : public LineSource {
 public:
  explicit TypedLines(EventQueue& events) : events_(events) {}
  void listen(std::function<void()> onLines) override { onLines_ = std::move(onLines); }
  std::optional<InputLine> next() override {
    if (lines_.empty()) {
      return std::nullopt;
    }
    InputLine line = std::move(lines_.front());
    lines_.pop_front();
    return line;
  }
  void setPrompt(const std::string& prompt, Typing typing) override {
    shownPrompt = prompt;
    shownTyping = typing;
  }

  void put(InputLine line) {
    lines_.push_back(std::move(line));
    events_.post([this] {
      if (onLines_) {
        onLines_();
      }
    });
  }
  std::size_t waiting() const { return lines_.size(); }

  std::string shownPrompt;
  Typing shownTyping = Typing::kCommand;

 private:
  EventQueue& events_;
  std::function<void()> onLines_;
  std::deque<InputLine> lines_;
};

class MainWindow : public Form {
 public:
  MainWindow() : Form("frmMain", "Main \"window\"") { txtState.lock(); }

  Control lblAction{*this, ControlKind::kLabel, "lblAction", "ready"};
  Control txtState{*this, ControlKind::kTextBox, "txtState", "Stopped"};
  Control txtName{*this, ControlKind::kTextBox, "txtName", "Ann"};
  Control chkLoud{*this, ControlKind::kCheckBox, "chkLoud", "&Loud"};
  Control opbRed{*this, ControlKind::kOptionButton, "opbRed", "Red"};
  Control opbBlue{*this, ControlKind::kOptionButton, "opbBlue", "Blue"};
  Control cmbPlace{*this, ControlKind::kComboBox, "cmbPlace"};
  Control lstLog{*this, ControlKind::kListBox, "lstLog"};
  Control cmdGo{*this, ControlKind::kButton, "cmdGo", "&Go"};
  Control mnuPopup{*this, ControlKind::kMenu, "mnuPopup", "Popup"};
  Control mnuRestore{*this, ControlKind::kMenu, "mnuRestore", "&Restore"};
  Control tmrTick{*this, ControlKind::kTimer, "tmrTick"};
};

class DialogWindow : public Form {
 public:
  DialogWindow() : Form("frmDialog", "Dialog") {}
  Control cmdOk{*this, ControlKind::kButton, "cmdOk", "OK"};
};

/// A program whose commands the test scripts.
class SmallProgram : public ConsoleProgram {
 public:
  SmallProgram() {
    for (const char* entry : {"Subject Text", "Message Body Text", "2"}) {
      window.cmbPlace.addItem(entry);
    }
    window.cmbPlace.setValue(0);
    window.mnuRestore.setParent(window.mnuPopup);
    window.show();
  }
  std::vector<Form*> forms() override { return {&window, &dialog}; }
  Result<void> start() override {
    if (onStart) {
      onStart();
    }
    return {};
  }
  Result<void> stop() override { return Error{0, "forwarding is off"}; }
  Result<void> test() override {
    if (onTest) {
      onTest();
    }
    return {};
  }
  Result<void> retry() override { return Error{0, "a try is under way"}; }
  Result<void> waiting() override { return {}; }
  Result<void> refused() override { return {}; }
  Result<void> setUp() override { return {}; }
  Result<void> testSetup() override { return Error{0, "tested"}; }
  Result<void> sendTestMessage() override { return Error{0, "sent"}; }
  std::vector<Fact> status() override { return {{"automation", "Stopped"}}; }
  std::string mailboxLine() override { return "Watches a mailbox."; }
  std::vector<Setting> settings() override {
    return {{"General", "txtName", window.txtName.text(), "Name:"}};
  }
  Result<void> changeSetting(std::string_view name, const std::string& value) override {
    if (name != "txtName") {
      return Error{0, "no such setting"};
    }
    window.txtName.setText(value);
    return {};
  }
  const std::vector<std::string>& log() override { return window.lstLog.list(); }
  std::optional<std::string> helpTopic(std::string_view words) override {
    if (words != "mail rules") {
      return std::nullopt;
    }
    return "Rules decide.\nAll of them.";
  }
  std::vector<std::string> helpTopics() override { return {"mail rules"}; }
  bool idle() override { return isIdle; }
  bool forwardingOn() override { return on; }
  bool logonRefused() override { return logonWasRefused; }

  MainWindow window;
  DialogWindow dialog;
  std::function<void()> onStart;
  std::function<void()> onTest;
  bool isIdle = true;
  bool on = false;
  bool logonWasRefused = false;
};

class ConsoleBench {
 public:
  explicit ConsoleBench(InputKind kind = InputKind::kScript)
      : input(kind),
        dialogs({output(),
                 [this](const std::function<bool()>& done) { return loop.runUntil(done); },
                 kind == InputKind::kPerson}),
        observer(
            program.forms(),
            {&program.window.lblAction, &program.window.txtState, nullptr, &program.window.lstLog},
            output()),
        session({loop, loop, lines, output(), dialogs, program, kind, [this] {
                   ++endings;
                   loop.quit();
                 }}) {
    waiter->onEndlessWait = [this] { loop.quit(); };
  }

  ConsoleOutput& output() {
    if (input == InputKind::kPerson) {
      return terminal;
    }
    return script;
  }
  void begin() {
    session.begin([] {});
  }
  void put(const std::string& line) { lines.put({InputLine::Kind::kText, Secret(line)}); }
  void putEnd() { lines.put({InputLine::Kind::kEnd}); }
  /// Runs everything that needs no further line, and returns the output.
  std::string settle() {
    if (!session.ended()) {
      loop.runUntil([this] { return session.ended(); });
    }
    return transcript.take();
  }
  /// Sends lines one after the other and returns the replies.
  std::string say(const std::string& line) {
    put(line);
    return settle();
  }
  BoxAnswer ask(BoxButtons buttons, const std::string& title = "Title") {
    return dialogs.messageBox({"A question\r\nof two lines", title, buttons, BoxIcon::kCritical});
  }

  std::shared_ptr<FakeWaiter> waiter = std::make_shared<FakeWaiter>();
  std::chrono::milliseconds& now = waiter->now;
  MainLoop loop{waiter};
  InputKind input;
  int endings = 0;
  Transcript transcript;
  ScriptOutput script{transcript};
  TerminalOutput terminal{transcript, {false, true, [] { return 40; }}};
  TypedLines lines{loop};
  SmallProgram program;
  ConsoleDialogs dialogs;
  ConsoleObserver observer;
  ConsoleSession session;
};

}  // namespace relaybird
