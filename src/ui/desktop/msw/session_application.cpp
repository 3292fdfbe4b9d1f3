// SPDX-License-Identifier: MIT
// The program as the one of its user's session: a message-only window by which a second process
// finds the first one, and notifications as balloons.
//
// The window is found by its class and the id of its process. A balloon needs an icon in the
// notification area, so one is shown for as long as the balloon is; Windows 10 and later show the
// balloon as a notification of their own. There is one balloon at a time: a newer one replaces it.
#include "ui/desktop/native/session_application.h"

#include <windows.h>
// Why here: it needs windows.h.
#include <shellapi.h>
#include <wx/string.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "ui/desktop/msw/program_icon.h"
#include "ui/desktop/msw/title_bars.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

constexpr const wchar_t* kWindowClass = L"RelaybirdSession";
constexpr UINT kCallTimeout = 3000;  // milliseconds
constexpr UINT kBalloonMessage = WM_APP + 1;
constexpr UINT kBalloonIcon = 2;  // the id; the program's own icon has another window

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

// Copies as much of the text as the field holds; the rest of the field is zero.
template <std::size_t kSize>
void fill(wchar_t (&field)[kSize], const std::string& text) {
  const std::wstring wide = toWx(text).ToStdWstring();
  std::size_t length = std::min(wide.size(), kSize - 1);
  // Not between the two halves of one character.
  if (length < wide.size() && IS_HIGH_SURROGATE(wide[length - 1])) {
    --length;
  }
  std::fill(std::begin(field), std::end(field), L'\0');
  std::copy_n(wide.begin(), length, std::begin(field));
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
    removeBalloon();
    if (HWND const held = std::exchange(window, nullptr)) {
      ::DestroyWindow(held);
    }
  }

  NOTIFYICONDATAW balloonRecord() const {
    NOTIFYICONDATAW record = {};
    record.cbSize = sizeof record;
    record.hWnd = window;
    record.uID = kBalloonIcon;
    return record;
  }

  void showBalloon(const Notification& notification) {
    removeBalloon();
    NOTIFYICONDATAW record = balloonRecord();
    record.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_INFO;
    record.uCallbackMessage = kBalloonMessage;
    record.hIcon = trayIcon(kProgramIcon);
    record.dwInfoFlags = NIIF_WARNING;
    fill(record.szTip, notification.title);
    fill(record.szInfoTitle, notification.title);
    fill(record.szInfo, notification.text);
    if (::Shell_NotifyIconW(NIM_ADD, &record) != FALSE) {
      shown = notification.cause;
    }
  }

  void removeBalloon() {
    if (!std::exchange(shown, {}).empty()) {
      NOTIFYICONDATAW record = balloonRecord();
      ::Shell_NotifyIconW(NIM_DELETE, &record);
    }
  }

  // Clicks on the icon count too: it stays while a notification waits in the notification centre.
  void balloonEvent(UINT event) {
    const bool clicked = event == NIN_BALLOONUSERCLICK || event == WM_LBUTTONUP;
    if (clicked || event == NIN_BALLOONTIMEOUT || event == NIN_BALLOONHIDE) {
      removeBalloon();
    }
    if (clicked) {
      guarded(listener.raise);
    }
  }

  static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM high, LPARAM low) {
    auto* self = reinterpret_cast<Name*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == raiseMessage()) {
      guarded(self->listener.raise);
      return 0;
    }
    if (self != nullptr && message == kBalloonMessage) {
      self->balloonEvent(LOWORD(low));
      return 0;
    }
    return ::DefWindowProcW(window, message, high, low);
  }

  Listener& listener;
  HWND window = nullptr;
  TitleBars titleBars;
  std::string shown;  // the cause of the balloon that is shown; empty if none
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
  name_->showBalloon(notification);
}

void SessionApplication::withdraw(const std::string& cause) {
  if (name_->shown == cause) {
    name_->removeBalloon();
  }
}

}  // namespace relaybird::desktop
