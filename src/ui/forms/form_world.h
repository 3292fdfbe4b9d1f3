// SPDX-License-Identifier: MIT
// Interfaces to the desktop that the windows run on, apart from boxes (model/dialogs.h): one narrow
// interface each. All calls are made on the user-interface thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/result.h"
#include "platform/system/autostart.h"

namespace relaybird {

/// The screen and its event loop, during long work.
class Screen {
 public:
  virtual ~Screen() = default;
  /// Redraws changed parts at once.
  virtual void repaint() = 0;
  /// Runs the pending events.
  virtual void processPendingEvents() = 0;
  /// Ends the program: the loop returns after the current event. May be called more than once.
  virtual void endProgram() = 0;
  /// Whether minimising is known to take a window off the screen. Some desktops cannot minimise
  /// windows, and some do not report whether they can.
  virtual bool canMinimise() const { return true; }
  /// Width of a text in the log list's font, in units of 1 / twipsPerPixel() pixel.
  virtual std::int32_t textWidth(const std::string& text) const = 0;
  /// Units of textWidth() per pixel; 1 if widths are in pixels.
  virtual std::int32_t twipsPerPixel() const { return 1; }
};

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  /// Replaces the contents. Lines of the text end in CR LF.
  virtual Result<void> setText(const std::string& text) = 0;
};

class HelpViewer {
 public:
  virtual ~HelpViewer() = default;
  /// Shows a page of a compiled help file in front of the main window. `topic` is the page's file
  /// name without ".html"; empty for the first page.
  virtual Result<void> show(const std::string& file, const std::string& topic) = 0;
};

/// Shows folders and web pages in other programs.
class FolderViewer {
 public:
  virtual ~FolderViewer() = default;
  /// Shows a folder to the user, as a file manager does. Returns at once.
  virtual Result<void> show(const std::string& folder) = 0;
  /// Opens a web page, by its full address, in a browser. Returns at once.
  virtual Result<void> browse(const std::string& address) = 0;
};

/// The desktop's system-information tool.
class SystemInformation {
 public:
  virtual ~SystemInformation() = default;
  /// The program to start; empty if the system has no such tool.
  virtual std::optional<std::string> program() = 0;
  /// Starts it with a normal, focused window and returns at once.
  virtual Result<void> start(const std::string& program) = 0;
};

/// A message to a user who does not look at the program's windows.
struct Notification {
  std::string cause;  ///< replaces an earlier notification of the same cause
  std::string title;
  std::string text;
};

class Notifications {
 public:
  virtual ~Notifications() = default;
  /// Whether the user is not looking at the program now and can be notified.
  virtual bool wanted() = 0;
  /// Returns at once. It is not an error if the desktop shows no notifications.
  virtual void show(const Notification& notification) = 0;
  /// Removes a notification that is still shown.
  virtual void withdraw(const std::string& cause) = 0;
};

/// For a front end that reports everything as it happens, and needs no notifications.
class NoNotifications : public Notifications {
 public:
  bool wanted() override { return false; }
  void show(const Notification&) override {}
  void withdraw(const std::string&) override {}
};

}  // namespace relaybird
