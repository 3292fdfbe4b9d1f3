// SPDX-License-Identifier: MIT
// The order of an end: Windows asks every window (WM_QUERYENDSESSION), then announces the end
// (WM_ENDSESSION), and ends the process once all its windows have answered that. A console program
// that has loaded user32.dll, as this one has, gets no event of its console for a log-off.
#include "platform/win32/session_end_window.h"

#include <system_error>
#include <utility>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr const wchar_t* kWindowClass = L"RelaybirdSessionEnd";

ATOM registerClass(WNDPROC procedure) {
  WNDCLASSW kind{};
  kind.lpfnWndProc = procedure;
  kind.hInstance = ::GetModuleHandleW(nullptr);
  kind.lpszClassName = kWindowClass;
  return ::RegisterClassW(&kind);
}

}  // namespace

SessionEndCalls systemSessionEndCalls() {
  return {nullptr,
          [](HWND window, const wchar_t* reason) { ::ShutdownBlockReasonCreate(window, reason); },
          [](HWND window) { ::ShutdownBlockReasonDestroy(window); }};
}

SessionEndWindow::SessionEndWindow(std::function<void()> onEnd, const std::string& reason,
                                   SessionEndCalls calls)
    : onEnd_(std::move(onEnd)),
      reason_(toWide(reason)),
      calls_(std::move(calls)),
      over_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
  if (!over_) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "CreateEvent");
  }
  std::promise<void> made;
  auto isMade = made.get_future();
  thread_ = std::thread(&SessionEndWindow::serve, this, std::move(made));
  isMade.wait();
}

SessionEndWindow::~SessionEndWindow() {
  ::SetEvent(over_.get());
  thread_.join();
}

void SessionEndWindow::serve(std::promise<void> made) {
  static const ATOM kind = registerClass(take);
  HWND window = kind == 0
                    ? nullptr
                    : ::CreateWindowW(kWindowClass, L"", WS_OVERLAPPED, 0, 0, 0, 0, calls_.parent,
                                      nullptr, ::GetModuleHandleW(nullptr), nullptr);
  if (window != nullptr) {
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  made.set_value();
  if (window == nullptr) {
    return;
  }
  const HANDLE over = over_.get();
  while (::MsgWaitForMultipleObjectsEx(1, &over, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) !=
         WAIT_OBJECT_0) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
      ::DispatchMessageW(&message);
    }
  }
  ::DestroyWindow(window);
}

void SessionEndWindow::ask() {
  if (const auto onEnd = std::exchange(onEnd_, nullptr)) {
    onEnd();
  }
}

// The answer to the announcement is the return of this call.
void SessionEndWindow::hold(HWND window) {
  calls_.showReason(window, reason_.c_str());
  ask();
  ::WaitForSingleObject(over_.get(), INFINITE);
  calls_.dropReason(window);
}

LRESULT CALLBACK SessionEndWindow::take(HWND window, UINT message, WPARAM word, LPARAM value) {
  auto* const self =
      reinterpret_cast<SessionEndWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) {
    return ::DefWindowProcW(window, message, word, value);
  }
  switch (message) {
    case WM_QUERYENDSESSION:
      return TRUE;
    case WM_CLOSE:
      self->ask();
      return 0;
    case WM_ENDSESSION:
      // False: somebody else has refused the end.
      if (word != FALSE) {
        self->hold(window);
      }
      return 0;
    default:
      return ::DefWindowProcW(window, message, word, value);
  }
}

}  // namespace relaybird
