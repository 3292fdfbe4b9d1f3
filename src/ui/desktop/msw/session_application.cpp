// SPDX-License-Identifier: MIT
// The program as the one of its user's session: a message-only window by which a second process
// finds the first one, and notifications as balloons.
//
// The window is found by its class and the id of its process. It also gets the events of the
// balloon.
#include "ui/desktop/native/session_application.h"

#include <windows.h>

#include <string>
#include <utility>

#include "platform/win32/balloon.h"
#include "ui/desktop/msw/program_icon.h"
#include "ui/desktop/msw/title_bars.h"
#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {
namespace {

constexpr const wchar_t* kWindowClass = L"RelaybirdSession";
constexpr UINT kCallTimeout = 3000;  // milliseconds
constexpr UINT kBalloonMessage = WM_APP + 1;

// Asks the window to bring the program to the front. Registered, so that no other program's message
// has this number.
UINT raiseMessage() {
  static const UINT message = ::RegisterWindowMessageW(L"Relaybird.Raise");
  return message;
}

// The message-only window of the process; null if it has none.
HWND windowOf(DWORD process) {
  HWND window = nullptr;
  while ((window = ::FindWindowExW(HWND_MESSAGE, window, kWindowClass, nullptr)) != nullptr) {
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (owner == process) {
      return window;
    }
  }
  return nullptr;
}

}  // namespace

// Windows knows a program by its file, and finds its icon and its shortcuts by that.
void takeApplicationName() {}

Raised raiseRunningProgram(long process) {
  HWND window = process <= 0 ? nullptr : windowOf(static_cast<DWORD>(process));
  if (window == nullptr) {
    return Raised::kNobody;
  }
  // The user has just started this process, so it may hand on the right to come to the front.
  ::AllowSetForegroundWindow(static_cast<DWORD>(process));
  DWORD_PTR answer = 0;
  const LRESULT sent =
      ::SendMessageTimeoutW(window, raiseMessage(), 0, 0, SMTO_ABORTIFHUNG, kCallTimeout, &answer);
  return sent != 0 ? Raised::kDone : Raised::kBusy;
}

struct SessionApplication::Name {
  explicit Name(Listener& told) : listener(told) {
    const WNDCLASSEXW description = {.cbSize = sizeof(WNDCLASSEXW),
                                     .style = 0,
                                     .lpfnWndProc = handle,
                                     .cbClsExtra = 0,
                                     .cbWndExtra = 0,
                                     .hInstance = ::GetModuleHandleW(nullptr),
                                     .hIcon = nullptr,
                                     .hCursor = nullptr,
                                     .hbrBackground = nullptr,
                                     .lpszMenuName = nullptr,
                                     .lpszClassName = kWindowClass,
                                     .hIconSm = nullptr};
    ::RegisterClassExW(&description);
    window = ::CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                               description.hInstance, nullptr);
    if (window != nullptr) {
      ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
  }
  ~Name() { release(); }
  Name(const Name&) = delete;
  Name& operator=(const Name&) = delete;

  void release() {
    balloon.remove();
    if (HWND const held = std::exchange(window, nullptr)) {
      ::DestroyWindow(held);
    }
  }

  static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM high, LPARAM low) {
    auto* self = reinterpret_cast<Name*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == raiseMessage()) {
      guarded(self->listener.raise);
      return 0;
    }
    if (self != nullptr && message == kBalloonMessage) {
      if (self->balloon.clickedBy(LOWORD(low))) {
        guarded(self->listener.raise);
      }
      return 0;
    }
    return ::DefWindowProcW(window, message, high, low);
  }

  Listener& listener;
  HWND window = nullptr;
  TitleBars titleBars;
  IconResource icon;
  Balloon balloon;
};

// Windows has no desktop entries whose actions it could activate.
SessionApplication::SessionApplication(Listener listener, const std::vector<std::string>&)
    : listener_(std::move(listener)), name_(std::make_unique<Name>(listener_)) {}

SessionApplication::~SessionApplication() = default;

void SessionApplication::giveUp() {
  name_->release();
}

bool SessionApplication::wanted() {
  return name_->window != nullptr && !listener_.looksOn();
}

void SessionApplication::show(const Notification& notification) {
  name_->balloon.show(
      {name_->window, kBalloonMessage, name_->icon.get(kProgramIcon, notifyIconSize())},
      notification.cause, notification.title, notification.text);
}

void SessionApplication::withdraw(const std::string& cause) {
  if (name_->balloon.shown() == cause) {
    name_->balloon.remove();
  }
}

}  // namespace relaybird::desktop
