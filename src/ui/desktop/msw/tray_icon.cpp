// SPDX-License-Identifier: MIT
// The notification-area icon (Shell_NotifyIcon), and the replaced procedure of the main window that
// gets the icon's messages.
//
// The record that the form fills in has the layout of 32-bit programs; here it is translated into
// the system's own one. The system calls one native procedure (trampoline), which passes each
// message on to the form's. When the task bar starts anew it has lost all icons and announces that
// (TaskbarCreated), so the icon is added again. Windows announces it also to let icons be drawn
// anew, when the scale of the screen has changed; they are still there then, and get a picture of
// the new size. An icon that cannot be shown is tried every second; after too long a time
// (IconAbsence) the listener is called, so that the program does not stay hidden without an icon.
#include "ui/desktop/native/tray_icon.h"

#include <windows.h>
// Why here: they need windows.h.
#include <wx/app.h>
#include <wx/string.h>
#include <wx/window.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/win32/notify_icon.h"
#include "ui/desktop/msw/program_icon.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

// The procedure that the system has for the window, as one of the form's.
struct NativeProcedure {
  WNDPROC procedure;
  std::intptr_t operator()(const WindowMessage& message) const {
    return ::CallWindowProcW(procedure, reinterpret_cast<HWND>(message.window), message.message,
                             message.high, message.low);
  }
};

UINT taskBarMade() {
  static const UINT message = ::RegisterWindowMessageW(L"TaskbarCreated");
  return message;
}

}  // namespace

struct TrayIcon::Area {
  explicit Area(TimerMaker& given) : timers(given) {}
  Area(const Area&) = delete;
  Area& operator=(const Area&) = delete;
  ~Area() { remove(); }

  HICON picture() {
    const int size = notifyIconSize();
    return warning.empty() ? icon.get(running ? kRunningIcon : kStoppedIcon, size)
                           : icon.warningSign(size);
  }

  // Shows the icon, or tries it again later. The task bar may be starting just now.
  void tryToShow() {
    const bool shown = showNotifyIcon(
        call, [this] { return picture(); }, record);
    absence->seen(shown ? IconArea::kShown : IconArea::kGone);
  }

  void showState() {
    if (absence) {
      record.hIcon = picture();
      call(NIM_MODIFY, record);
    }
  }

  void remove() {
    if (absence) {
      absence.reset();
      call(NIM_DELETE, record);
    }
  }

  void lost() const {
    // A copy, because the listener may replace itself.
    if (const std::function<void()> listener = onLost) {
      listener();
    }
  }

  static LRESULT CALLBACK trampoline(HWND window, UINT message, WPARAM high, LPARAM low);

  TimerMaker& timers;
  const NotifyIconCall call = systemNotifyIcon();
  bool running = false;
  std::string warning;
  IconResource icon;
  NOTIFYICONDATAW record = {};
  std::unique_ptr<IconAbsence> absence;  // null while the form has added no icon
  WNDPROC native = nullptr;              // the system's procedure while it is replaced
  WindowProcedure procedure;
  std::function<void()> onLost;
  static Area* current;  // a native procedure has no context
};

TrayIcon::Area* TrayIcon::Area::current = nullptr;

LRESULT CALLBACK TrayIcon::Area::trampoline(HWND window, UINT message, WPARAM high, LPARAM low) {
  if (current == nullptr) {
    return ::DefWindowProcW(window, message, high, low);
  }
  if (message == taskBarMade() && current->absence) {
    guarded([] { current->tryToShow(); });
  }
  // A copy, because the message may put the former procedure back.
  const WindowProcedure procedure = current->procedure;
  std::intptr_t result = 0;
  guarded([&] {
    result = procedure(
        {reinterpret_cast<WindowHandle>(window), message, high, static_cast<std::intptr_t>(low)});
  });
  return result;
}

// The pictures are resources of the program.
TrayIcon::TrayIcon(FileSystem&, TimerMaker& timers, std::string)
    : area_(std::make_unique<Area>(timers)) {
  Area::current = area_.get();
}

TrayIcon::~TrayIcon() {
  Area::current = nullptr;
}

void TrayIcon::setMenu(Control&) {}

void TrayIcon::setRunning(bool running) {
  area_->running = running;
  area_->showState();
}

void TrayIcon::setWarning(std::string text) {
  area_->warning = std::move(text);
  area_->showState();
}

bool TrayIcon::available() {
  return ::FindWindowW(L"Shell_TrayWnd", nullptr) != nullptr;
}

WindowHandle TrayIcon::mainWindow() {
  const wxWindow* top = wxTheApp->GetTopWindow();
  return top == nullptr ? 0 : reinterpret_cast<WindowHandle>(top->GetHandle());
}

IconHandle TrayIcon::mainIcon() {
  return reinterpret_cast<IconHandle>(area_->picture());
}

// In the first layout of the record, which has all that ours has. The picture is put in each time
// when the icon is shown.
void TrayIcon::addIcon(const NotifyIconRecord& record) {
  area_->record = {};
  area_->record.cbSize = NOTIFYICONDATAW_V1_SIZE;
  area_->record.hWnd = reinterpret_cast<HWND>(record.window);
  area_->record.uID = record.id;
  area_->record.uFlags = record.flags;
  area_->record.uCallbackMessage = record.callbackMessage;
  const std::wstring tip = toWx(record.tipText()).ToStdWstring();
  constexpr std::size_t kLongestTip = 63;
  std::copy_n(tip.begin(), std::min(tip.size(), kLongestTip), std::begin(area_->record.szTip));
  area_->absence = std::make_unique<IconAbsence>(
      area_->timers, [area = area_.get()] { area->tryToShow(); },
      [area = area_.get()] { area->lost(); });
  area_->tryToShow();
}

void TrayIcon::deleteIcon(const NotifyIconRecord&) {
  area_->remove();
}

WindowProcedure TrayIcon::replaceProcedure(WindowHandle window, WindowProcedure procedure) {
  auto* const target = reinterpret_cast<HWND>(window);
  if (const auto* former = procedure.target<NativeProcedure>()) {
    ::SetWindowLongPtrW(target, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(former->procedure));
    area_->native = nullptr;
    return std::exchange(area_->procedure, nullptr);
  }
  // Set first: the system may send a message at once.
  area_->procedure = std::move(procedure);
  area_->native = reinterpret_cast<WNDPROC>(
      ::SetWindowLongPtrW(target, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Area::trampoline)));
  return NativeProcedure{area_->native};
}

// Otherwise the icon's menu would stay when the user clicks elsewhere.
void TrayIcon::setForegroundWindow(WindowHandle window) {
  ::SetForegroundWindow(reinterpret_cast<HWND>(window));
}

void TrayIcon::onIconLost(std::function<void()> listener) {
  area_->onLost = std::move(listener);
}

}  // namespace relaybird::desktop
