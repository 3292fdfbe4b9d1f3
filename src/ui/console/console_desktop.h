// SPDX-License-Identifier: MIT
// The console in place of a desktop: what the windows need of one (form_world.h), for a terminal or
// a pipe, and the observer that prints what the windows would show.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/main_loop.h"
#include "ui/console/console_output.h"
#include "ui/forms/form_world.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// Changes are printed as they happen, so there is nothing to redraw.
class ConsoleScreen : public Screen {
 public:
  /// `loop` must outlive it.
  explicit ConsoleScreen(MainLoop& loop) : loop_(loop) {}
  /// Sets what ends the program.
  void onEnd(std::function<void()> end) { end_ = std::move(end); }

  void repaint() override {}
  void processPendingEvents() override { loop_.processPending(); }
  void endProgram() override { end_(); }
  /// In columns, one per character: a column is the pixel of this screen.
  std::int32_t textWidth(const std::string& text) const override;

 private:
  MainLoop& loop_;
  std::function<void()> end_ = [] {};
};

/// The terminal's clipboard, set by the control sequence OSC 52. A terminal does not report whether
/// it supports this.
class ConsoleClipboard : public Clipboard {
 public:
  /// `sink` must outlive it; null if there is no terminal.
  ConsoleClipboard(TextSink* sink, ConsoleOutput& out) : sink_(sink), out_(out) {}
  Result<void> setText(const std::string& text) override;

 private:
  TextSink* sink_;
  ConsoleOutput& out_;
};

/// A compiled help file cannot be shown here; `help TOPIC` shows the same topics.
class ConsoleHelpViewer : public HelpViewer {
 public:
  /// `out` must outlive it.
  ConsoleHelpViewer(ConsoleOutput& out, std::vector<std::string> topics)
      : out_(out), topics_(std::move(topics)) {}
  Result<void> show(const std::string& file, const std::string& topic) override;

 private:
  ConsoleOutput& out_;
  std::vector<std::string> topics_;
};

/// Prints the folder or the address.
class ConsoleFolderViewer : public FolderViewer {
 public:
  /// `out` must outlive it.
  explicit ConsoleFolderViewer(ConsoleOutput& out) : out_(out) {}
  Result<void> show(const std::string& folder) override {
    out_.event("folder", folder);
    return {};
  }
  Result<void> browse(const std::string& address) override {
    out_.event("page", address);
    return {};
  }

 private:
  ConsoleOutput& out_;
};

/// A terminal has no notification area.
class NoTray : public TrayPlatform {
 public:
  bool available() override { return false; }
  WindowHandle mainWindow() override { return 0; }
  IconHandle mainIcon() override { return 0; }
  void addIcon(const NotifyIconRecord&) override {}
  void deleteIcon(const NotifyIconRecord&) override {}
  WindowProcedure replaceProcedure(WindowHandle, WindowProcedure) override {
    return [](const WindowMessage&) { return std::intptr_t{0}; };
  }
  void setForegroundWindow(WindowHandle) override {}
};

/// Prints changes that windows would show: the action line, the state, the count of forwards, log
/// lines, and windows that open and close.
class ConsoleObserver : public FormObserver {
 public:
  /// The controls whose changes are printed; null for none.
  struct News {
    const Control* action = nullptr;
    const Control* state = nullptr;
    const Control* forwarded = nullptr;
    const Control* log = nullptr;
    const Control* test = nullptr;  ///< the lines of an account's test
  };

  /// Observes the forms until it is destroyed. All must outlive it.
  ConsoleObserver(std::vector<Form*> forms, News news, ConsoleOutput& out);
  ~ConsoleObserver() override;
  ConsoleObserver(const ConsoleObserver&) = delete;
  ConsoleObserver& operator=(const ConsoleObserver&) = delete;

  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;

 private:
  void printTest(const std::string& text);
  bool isNew(std::string& last, const Control& control) const;

  std::vector<Form*> forms_;
  News news_;
  ConsoleOutput& out_;
  std::string lastAction_;
  std::string lastState_;
  std::string lastForwarded_;
  std::string lastTest_;
};

}  // namespace relaybird
