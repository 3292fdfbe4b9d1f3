// SPDX-License-Identifier: MIT
#include "platform/win32/balloon.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr UINT kIcon = 2;  // the id; the program's own icon has another window

NOTIFYICONDATAW recordOf(HWND window) {
  NOTIFYICONDATAW record = {};
  record.cbSize = sizeof record;
  record.hWnd = window;
  record.uID = kIcon;
  return record;
}

// Copies as much of the text as the field holds with its NUL; the rest of the field is zero
// already.
template <std::size_t kSize>
void fill(wchar_t (&field)[kSize], const std::string& text) {
  const std::wstring wide = toWide(text);
  std::size_t length = std::min(wide.size(), kSize - 1);
  // Not between the two halves of one character.
  if (length < wide.size() && IS_HIGH_SURROGATE(wide[length - 1])) {
    --length;
  }
  std::copy_n(wide.begin(), length, std::begin(field));
}

}  // namespace

void Balloon::show(const BalloonOwner& owner, const std::string& cause, const std::string& title,
                   const std::string& text) {
  remove();
  NOTIFYICONDATAW record = recordOf(owner.window);
  record.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_INFO;
  record.uCallbackMessage = owner.message;
  record.dwInfoFlags = NIIF_WARNING;
  fill(record.szTip, title);
  fill(record.szInfoTitle, title);
  fill(record.szInfo, text);
  if (showNotifyIcon(
          call_, [&owner] { return owner.icon; }, record)) {
    window_ = owner.window;
    cause_ = cause;
  }
}

void Balloon::remove() {
  if (!std::exchange(cause_, {}).empty()) {
    NOTIFYICONDATAW record = recordOf(window_);
    call_(NIM_DELETE, record);
  }
}

bool Balloon::clickedBy(UINT event) {
  const bool clicked = event == NIN_BALLOONUSERCLICK || event == WM_LBUTTONUP;
  if (clicked || event == NIN_BALLOONTIMEOUT || event == NIN_BALLOONHIDE) {
    remove();
  }
  return clicked;
}

}  // namespace relaybird
