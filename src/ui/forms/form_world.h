// SPDX-License-Identifier: MIT
// What the windows need of the desktop that they stand on, beyond boxes: one narrow interface each.
// All calls come on the user-interface thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/result.h"

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
  /// Shows the default topic of a compiled help file, in front of the main window.
  virtual Result<void> show(const std::string& file) = 0;
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

struct ProgramVersion {
  int major = 0;
  int minor = 0;
  int revision = 0;
};

}  // namespace relaybird
