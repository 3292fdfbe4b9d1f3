// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <functional>
#include <future>
#include <string>
#include <thread>

#include "platform/win32/object_handle.h"

namespace relaybird {

/// What a SessionEndWindow needs of the system, so that a test needs no screen and can see the
/// reason. The two functions run on the window's thread.
struct SessionEndCalls {
  HWND parent = nullptr;  ///< null: a window of the top level, the only kind that is asked
  std::function<void(HWND window, const wchar_t* reason)> showReason;
  std::function<void(HWND window)> dropReason;
};
/// ShutdownBlockReasonCreate and ShutdownBlockReasonDestroy.
SessionEndCalls systemSessionEndCalls();

/// A hidden window that Windows tells of the end of the session: log-off, shut-down, or an
/// installer that needs the program's files. It agrees to each such question. When the end is
/// announced it calls back once and keeps Windows waiting until this object is destroyed, which the
/// program does when everything is saved. Windows waits five seconds; then it shows the user
/// `reason` (UTF-8) and lets the user decide. A request to close the window (taskkill without /F)
/// calls back too, and keeps nobody waiting.
///
/// The window has a thread of its own, because the program's may be in a call for longer than
/// Windows waits for an answer. A system without a screen refuses the window; that is no error, as
/// nobody logs off there.
class SessionEndWindow {
 public:
  /// Returns when the window is there. `onEnd` is called on the window's thread and must not wait
  /// for the destruction of this object.
  SessionEndWindow(std::function<void()> onEnd, const std::string& reason,
                   SessionEndCalls calls = systemSessionEndCalls());
  /// Waits for the thread. Not from within `onEnd`.
  ~SessionEndWindow();
  SessionEndWindow(const SessionEndWindow&) = delete;
  SessionEndWindow& operator=(const SessionEndWindow&) = delete;

 private:
  static LRESULT CALLBACK take(HWND window, UINT message, WPARAM word, LPARAM value);
  void serve(std::promise<void> made);
  void ask();
  void hold(HWND window);

  std::function<void()> onEnd_;
  std::wstring reason_;
  SessionEndCalls calls_;
  ObjectHandle over_;  // set when the program has saved everything
  std::thread thread_;
};

}  // namespace relaybird
