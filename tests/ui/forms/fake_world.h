// SPDX-License-Identifier: MIT
// The world of a program in memory: a mailbox, a disk, a clock that stands still, a desktop that
// records what it is asked to show. Tests and benchmarks make forms over it.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "memory_store/memory_store.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "prefs/fake_files.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/recording_reports.h"
#include "support/scripted_dialogs.h"
#include "ui/forms/fake_mail_setup.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class FakeFolders : public SpecialFolders {
 public:
  std::string GetSpecialFolderPath(int) const override { return "/config"; }
  std::string templatesFolder() const override { return "/templates"; }
  std::string windowsFolder() const override { return windows; }
  std::string stateFolder() const override { return "/state"; }

  std::string windows = "/config";
};

/// A screen on which every character is 7 units wide.
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
    ++measured;
    if (broken) {
      throw std::runtime_error("the window is gone");
    }
    return 7 * static_cast<std::int32_t>(text.size());
  }
  std::int32_t twipsPerPixel() const override { return perPixel; }
  bool canMinimise() const override { return minimises; }

  bool minimises = true;
  bool broken = false;
  std::int32_t perPixel = 1;
  mutable int measured = 0;
  int repaints = 0;
  int ends = 0;
  std::function<void()> onProcessPendingEvents;
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

class FakeHelpViewer : public HelpViewer {
 public:
  Result<void> show(const std::string& file, const std::string& topic) override {
    shown.push_back(topic.empty() ? file : file + "#" + topic);
    if (onShow) {
      onShow();
    }
    return failure.empty() ? Result<void>() : Error{0, failure};
  }
  std::vector<std::string> shown;
  std::string failure;
  std::function<void()> onShow;
};

class FakeFolderViewer : public FolderViewer {
 public:
  Result<void> show(const std::string& folder) override {
    shown.push_back(folder);
    return {};
  }
  Result<void> browse(const std::string& address) override {
    browsed.push_back(address);
    return broken ? Result<void>(Error{0, "No browser"}) : Result<void>();
  }
  std::vector<std::string> shown;
  std::vector<std::string> browsed;
  bool broken = false;
};

/// An outbox whose state the test sets; without a folder at first.
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
  void userAsks() override { ++asks; }
  void minutePassed() override { ++minutes; }
  void forwardingSwitched(bool on) override { switched.push_back(on); }

  OutgoingState now;
  std::size_t waits = 0;
  bool broken = false;
  int tries = 0;
  int asks = 0;
  int minutes = 0;
  std::vector<bool> switched;  ///< forwarding on or off
  std::function<void()> tried;
};

class FakeSystemInformation : public SystemInformation {
 public:
  std::optional<std::string> program() override { return tool; }
  Result<void> start(const std::string& program) override {
    started.push_back(program);
    return broken ? Result<void>(Error{2, "No such file or directory"}) : Result<void>();
  }
  std::optional<std::string> tool = "/usr/bin/about-this-machine";
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

/// A desktop that records the notifications.
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

/// Everything that a program needs from outside, in memory.
class FakeWorld {
 public:
  /// Refers to the members below.
  ProgramWorld world(ProgramVersion version = {3, 1, 2}) {
    return worldOn(screen_, clipboard_, version);
  }
  /// The same on a desktop that is real in part.
  ProgramWorld worldOn(Screen& screen, Clipboard& clipboard, ProgramVersion version) {
    return {.objects = store_.factory(),
            .outgoing = outgoing_,
            .files = files_,
            .profiles = profiles_,
            .folders = folders_,
            .osVersion = osVersion_,
            .clock = clock_,
            .sleeper = sleeper_,
            .timers = timers_,
            .events = events_,
            .trace = trace_,
            .dialogs = dialogs_,
            .screen = screen,
            .clipboard = clipboard,
            .helpViewer = helpViewer_,
            .folderViewer = folderViewer_,
            .systemInformation = systemInformation_,
            .tray = tray_,
            .notifications = notifications_,
            .autostart = autostart_,
            .setup = *mailSetup_,
            .version = version,
            .defaultHelpFile = helpFile_,
            .decimalSeparator = decimalSeparator_};
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
  FakeMailSetup setup_;
  MailSetup* mailSetup_ = &setup_;  ///< what forms that are made later use
  std::string helpFile_ = "/opt/rbx.chm";
  std::string decimalSeparator_ = ".";
};

}  // namespace relaybird
