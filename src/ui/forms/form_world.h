// SPDX-License-Identifier: MIT
// What the windows need of the desktop that they stand on, beyond boxes: one narrow interface each.
// All calls come on the user-interface thread.
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
  /// Draws what has changed at once.
  virtual void repaint() = 0;
  /// Runs the events that wait now.
  virtual void processPendingEvents() = 0;
  /// Ends the program: the loop returns once the event that it is in has ended. May be called more
  /// than once.
  virtual void endProgram() = 0;
  /// Whether a window that is to be minimised is known to leave the screen: some desktops have no
  /// place for it to go to, and some do not tell.
  virtual bool canMinimise() const { return true; }
  /// Width of a text in the log list's font, in twips where twipsPerPixel() says so.
  virtual std::int32_t textWidth(const std::string& text) const = 0;
  /// How many units of textWidth make a pixel: 1 where widths are pixels already.
  virtual std::int32_t twipsPerPixel() const { return 1; }
};

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  /// Takes the place of what was there. The text ends its lines in CR LF.
  virtual Result<void> setText(const std::string& text) = 0;
};

class HelpViewer {
 public:
  virtual ~HelpViewer() = default;
  /// Shows a topic of a compiled help file, in front of the main window: the page of that name
  /// without ".html", the default one where it is empty.
  virtual Result<void> show(const std::string& file, const std::string& topic) = 0;
};

/// Shows by other programs what is not in this one.
class FolderViewer {
 public:
  virtual ~FolderViewer() = default;
  /// Shows a folder to the user, as a file manager does. Returns at once.
  virtual Result<void> show(const std::string& folder) = 0;
  /// Shows a page of the web by its whole address, as a browser does. Returns at once.
  virtual Result<void> browse(const std::string& address) = 0;
};

/// The desktop's own tool that tells about the machine.
class SystemInformation {
 public:
  virtual ~SystemInformation() = default;
  /// The program to start; none where the system has no such tool.
  virtual std::optional<std::string> program() = 0;
  /// Starts it with a normal, focused window and returns at once.
  virtual Result<void> start(const std::string& program) = 0;
};

/// A message to a user who does not look at the program's windows.
struct Notification {
  std::string cause;  ///< takes the place of an earlier one of the same cause
  std::string title;
  std::string text;
};

class Notifications {
 public:
  virtual ~Notifications() = default;
  /// Whether the user looks elsewhere now, and can be reached.
  virtual bool wanted() = 0;
  /// Returns at once; a desktop that shows none is no error.
  virtual void show(const Notification& notification) = 0;
  /// Takes back what is still on the screen.
  virtual void withdraw(const std::string& cause) = 0;
};

/// For a front end that tells everything where it happens.
class NoNotifications : public Notifications {
 public:
  bool wanted() override { return false; }
  void show(const Notification&) override {}
  void withdraw(const std::string&) override {}
};

}  // namespace relaybird
