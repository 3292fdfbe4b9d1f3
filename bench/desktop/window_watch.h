// SPDX-License-Identifier: MIT
// What the X server tells about another program's window.
#pragma once

#include <X11/Xlib.h>

#include <chrono>
#include <optional>

namespace relaybird::bench {

/// A connection to the display of the environment. Each call waits until its condition holds, at
/// most until the deadline.
class WindowWatch {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  /// Throws std::runtime_error where there is no display.
  WindowWatch();
  ~WindowWatch();
  WindowWatch(const WindowWatch&) = delete;
  WindowWatch& operator=(const WindowWatch&) = delete;

  /// The first window of that process that the window manager shows.
  std::optional<Window> shown(long process, Deadline deadline);
  /// Until the window has more on it than one colour.
  bool painted(Window window, Deadline deadline);
  /// Until the program has answered the question whether it is alive (_NET_WM_PING), which it does
  /// in the turn of its event loop.
  bool answered(Window window, Deadline deadline);

 private:
  Atom atom(const char* name) { return XInternAtom(display_, name, False); }
  unsigned long number(Window window, const char* property, Atom type);
  bool ofProcess(Window window, long process);
  bool hasSeveralColours(Window window);
  void waitForEvent(Deadline deadline);

  Display* display_;
  Window root_;
};

}  // namespace relaybird::bench
