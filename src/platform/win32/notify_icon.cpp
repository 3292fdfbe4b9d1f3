// SPDX-License-Identifier: MIT
#include "platform/win32/notify_icon.h"

namespace relaybird {
namespace {

// IDI_WARNING, whose own form depends on a setting of the build.
constexpr WORD kWarningSign = 32515;

// Windows 10 has these from version 1607 on. Older releases have one scale for all.
using DotsOfWindow = UINT(WINAPI*)(HWND);
using MetricAtDots = int(WINAPI*)(int, UINT);

template <class Function>
Function ofUser32(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"user32.dll"), name)));
}

}  // namespace

NotifyIconCall systemNotifyIcon() {
  return [](DWORD command, NOTIFYICONDATAW& record) {
    return ::Shell_NotifyIconW(command, &record) != FALSE;
  };
}

// An icon that is there cannot be added again, and a task bar that answers too late has added it
// all the same. Only an icon that is there can be changed.
bool showNotifyIcon(const NotifyIconCall& call, const std::function<HICON()>& picture,
                    NOTIFYICONDATAW& record) {
  record.hIcon = picture();
  return call(NIM_ADD, record) || call(NIM_MODIFY, record);
}

int notifyIconSize() {
  static const auto dotsOf = ofUser32<DotsOfWindow>("GetDpiForWindow");
  const HWND taskBar = ::FindWindowW(L"Shell_TrayWnd", nullptr);
  return smallIconSize(dotsOf != nullptr && taskBar != nullptr ? dotsOf(taskBar) : 0);
}

// GetSystemMetrics knows the scale of the time when the program started.
int smallIconSize(UINT dotsPerInch) {
  static const auto metricAt = ofUser32<MetricAtDots>("GetSystemMetricsForDpi");
  return metricAt != nullptr && dotsPerInch > 0 ? metricAt(SM_CXSMICON, dotsPerInch)
                                                : ::GetSystemMetrics(SM_CXSMICON);
}

IconResource::~IconResource() {
  if (icon_ != nullptr) {
    ::DestroyIcon(icon_);
  }
}

// Not a shared icon: the system would give the size that was loaded first, whatever is asked for.
// The notification area has its own copy of what it shows.
HICON IconResource::get(const std::wstring& name, int size) {
  return keep(name, size, [&] {
    const HMODULE module = module_ != nullptr ? module_ : ::GetModuleHandleW(nullptr);
    return ::LoadImageW(module, name.c_str(), IMAGE_ICON, size, size, LR_DEFAULTCOLOR);
  });
}

// The system's own icon is shared, and has the size of a box's. The copy is made of the resource
// that comes nearest; where it is not found, of that icon's dots.
HICON IconResource::warningSign(int size) {
  static const std::wstring noName;
  return keep(noName, size, [size] {
    const HICON shared = ::LoadIconW(nullptr, MAKEINTRESOURCEW(kWarningSign));
    const HANDLE sharp = ::CopyImage(shared, IMAGE_ICON, size, size, LR_COPYFROMRESOURCE);
    return sharp != nullptr ? sharp : ::CopyImage(shared, IMAGE_ICON, size, size, 0);
  });
}

HICON IconResource::keep(const std::wstring& name, int size, const std::function<HANDLE()>& load) {
  if (icon_ == nullptr || name != name_ || size != size_) {
    const HICON former = icon_;
    icon_ = static_cast<HICON>(load());
    name_ = name;
    size_ = size;
    if (former != nullptr) {
      ::DestroyIcon(former);
    }
  }
  return icon_;
}

}  // namespace relaybird
