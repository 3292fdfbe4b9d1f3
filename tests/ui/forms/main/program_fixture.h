// SPDX-License-Identifier: MIT
// The whole program over a mailbox in memory, a disk in memory and a clock that stands still: what
// a user sees and does, by the names of the controls.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "memory_store/memory_store.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "prefs/fake_files.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/recording_log.h"
#include "support/scripted_dialogs.h"
#include "ui/forms/program_forms.h"

namespace relaybird {

class FakeFolders : public SpecialFolders {
 public:
  std::string GetSpecialFolderPath(int) const override { return "/config"; }
  std::string templatesFolder() const override { return "/templates"; }
  std::string windowsFolder() const override { return "/config"; }
  std::string stateFolder() const override { return "/state"; }
};

class FakeScreen : public Screen {
 public:
  void repaint() override { ++repaints; }
  void processPendingEvents() override {
    if (onProcessPendingEvents) {
      onProcessPendingEvents();
    }
  }
  void endProgram() override { ++ends; }
  std::int32_t textWidth(const std::string& text) const override {
    return static_cast<std::int32_t>(text.size()) * 7;
  }
  bool canMinimise() const override { return minimises; }

  bool minimises = true;
  int repaints = 0;
  int ends = 0;
  std::function<void()> onProcessPendingEvents;
};

class FakeClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& value) override {
    if (broken) {
      return Error{0, "No desktop answers."};
    }
    text = value;
    return {};
  }
  std::string text;
  bool broken = false;
};

class FakeHelpViewer : public HelpViewer {
 public:
  Result<void> show(const std::string& file, const std::string& topic) override {
    shown.push_back(topic.empty() ? file : file + "#" + topic);
    return {};
  }
  std::vector<std::string> shown;
};

class FakeFolderViewer : public FolderViewer {
 public:
  Result<void> show(const std::string& folder) override {
    shown.push_back(folder);
    return {};
  }
  Result<void> browse(const std::string& address) override {
    browsed.push_back(address);
    return broken ? Result<void>(Error{0, "No program that opens pages"}) : Result<void>();
  }
  std::vector<std::string> shown;
  std::vector<std::string> browsed;
  bool broken = false;
};

/// An outbox that stands as the test says; one without a folder until then.
class FakeOutgoing : public OutgoingMail {
 public:
  OutgoingState state() override { return now; }
  std::size_t waiting() override { return waits; }
  void tryAgain(std::function<void()> done) override {
    if (broken) {
      throw MailStoreError("The outbox is locked");
    }
    ++tries;
    tried = std::move(done);
  }

  OutgoingState now;
  std::size_t waits = 0;
  bool broken = false;
  int tries = 0;
  std::function<void()> tried;
};

class FakeSystemInformation : public SystemInformation {
 public:
  std::optional<std::string> program() override { return "/usr/bin/about-this-machine"; }
  Result<void> start(const std::string& program) override {
    if (broken) {
      return Error{2, "No such file or directory"};
    }
    started.push_back(program);
    return {};
  }
  std::vector<std::string> started;
  bool broken = false;
};

/// A notification area that keeps the icon's record.
class FakeTray : public TrayPlatform {
 public:
  bool available() override { return present; }
  WindowHandle mainWindow() override { return 4711; }
  IconHandle mainIcon() override { return 12; }
  void addIcon(const NotifyIconRecord& record) override { icon = record; }
  void deleteIcon(const NotifyIconRecord&) override { icon.reset(); }
  WindowProcedure replaceProcedure(WindowHandle, WindowProcedure with) override {
    return std::exchange(procedure, std::move(with));
  }
  void setForegroundWindow(WindowHandle window) override { foreground = window; }
  void onIconLost(std::function<void()> listener) override { lost = std::move(listener); }

  bool present = true;
  std::optional<NotifyIconRecord> icon;
  WindowProcedure procedure = [](const WindowMessage&) -> std::intptr_t { return 1; };
  WindowHandle foreground = 0;
  std::function<void()> lost;
};

/// A desktop that keeps what it was given to show.
class FakeNotifications : public Notifications {
 public:
  bool wanted() override { return away; }
  void show(const Notification& notification) override { shown.push_back(notification); }
  void withdraw(const std::string& cause) override { withdrawn.push_back(cause); }

  bool away = true;
  std::vector<Notification> shown;
  std::vector<std::string> withdrawn;
};

class FakeAutostart : public Autostart {
 public:
  bool offered() const override { return true; }
  bool enabled() override { return on; }
  Result<void> setEnabled(bool enabled) override {
    if (broken) {
      return Error{30, "Read-only file system"};
    }
    on = enabled;
    return {};
  }

  bool on = false;
  bool broken = false;
};

class ProgramTest : public testing::Test {
 protected:
  ProgramTest() {
    clock_.set(kNine);
    files_.addFolder("/config");
    files_.addFolder("/templates");
    files_.addFolder("/state");
  }
  ~ProgramTest() override { store_.setHook({}); }

  static constexpr DateTime kNine =
      std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + std::chrono::hours{9};
  static constexpr const char* kPrefFile = "/config/rbx/rbx_prefs.ini";

  /// What the preference file holds, as the lines of its section.
  void preferences(const std::string& lines) {
    files_.addFolder("/config/rbx");
    files_.addFile(kPrefFile, "[default]\n" + lines);
  }
  void oneAddress(const std::string& moreLines = {}) {
    preferences("mstrFwdToAddress_num=1\nmstrFwdToAddress_1=5550100@sms.example.net\n" + moreLines);
  }

  /// The program as it is after start-up. Made once per test.
  ProgramForms& program() {
    if (!program_) {
      makeProgram();
      started_ = program_->start();
    }
    return *program_;
  }
  void makeProgram(ProgramVersion version = {3, 1, 2}) {
    program_ = std::make_unique<ProgramForms>(ProgramWorld{store_.factory(),
                                                           outgoing_,
                                                           files_,
                                                           profiles_,
                                                           folders_,
                                                           osVersion_,
                                                           clock_,
                                                           sleeper_,
                                                           timers_,
                                                           events_,
                                                           trace_,
                                                           dialogs_,
                                                           screen_,
                                                           clipboard_,
                                                           helpViewer_,
                                                           folderViewer_,
                                                           systemInformation_,
                                                           tray_,
                                                           notifications_,
                                                           autostart_,
                                                           version,
                                                           "/opt/rbx.chm",
                                                           decimalSeparator_});
  }
  frmRelaybird& main() { return program().main(); }
  EngineState& state() { return main().engine().state(); }

  Control& control(std::string_view form, std::string_view name) {
    Form* found = program().find(form);
    Control* part = found == nullptr ? nullptr : found->find(name);
    if (part == nullptr) {
      throw std::invalid_argument(std::string(form) + "." + std::string(name));
    }
    return *part;
  }
  /// What the user does; a control that takes no input is a fault of the test.
  void click(std::string_view form, std::string_view name) {
    Control& part = control(form, name);
    const std::string why = whyNoInput(part);
    if (!why.empty()) {
      throw std::logic_error(why);
    }
    part.click();
  }
  std::string text(std::string_view name) { return control("frmRelaybird", name).text(); }
  std::string status() { return text("lblCurrentActions"); }
  const std::vector<std::string>& log() { return program().log().lstLog.list(); }

  /// Switches on as the user does who confirms the addresses.
  void switchOn() {
    dialogs_.answer(BoxAnswer::kYes);
    click("frmRelaybird", "cmdStart");
  }

  static MemoryItem mail(const std::string& subject, DateTime received) {
    MemoryItem item;
    item.subject = subject;
    item.body = "text of " + subject;
    item.senderName = "Bob Example";
    item.senderAddress = "bob@example.com";
    item.received = received;
    item.modified = received;
    return item;
  }
  void deliver(const std::string& subject) { store_.deliver(mail(subject, clock_.now())); }
  std::vector<std::string> sentSubjects() const {
    std::vector<std::string> subjects;
    for (const auto& message : store_.outbox()) {
      subjects.push_back(message.subject);
    }
    return subjects;
  }
  /// Lets time go by, and what waits run.
  void letPass(std::chrono::seconds duration) {
    timers_.advance(duration);
    events_.runUntilIdle();
  }

  FakeClock clock_;
  FakeTimers timers_{clock_};
  FakeEventQueue events_;
  RecordingSleeper sleeper_{clock_};
  RecordingTrace trace_;
  MemoryStore store_{events_};
  FakeFiles files_;
  FakeFolders folders_;
  NotWindows osVersion_;
  ProfileFile profiles_{files_};
  ScriptedDialogs dialogs_;
  FakeScreen screen_;
  FakeClipboard clipboard_;
  FakeHelpViewer helpViewer_;
  FakeFolderViewer folderViewer_;
  FakeOutgoing outgoing_;
  FakeSystemInformation systemInformation_;
  FakeTray tray_;
  FakeNotifications notifications_;
  FakeAutostart autostart_;
  std::string decimalSeparator_ = ".";
  bool started_ = false;
  std::unique_ptr<ProgramForms> program_;
};

}  // namespace relaybird
