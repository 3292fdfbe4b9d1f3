// SPDX-License-Identifier: MIT
#include "ui/desktop/msw/title_bars.h"

#include <windows.h>
// Why here: it needs windows.h.
#include <wx/toplevel.h>

namespace relaybird::desktop {
namespace {

// DWMWA_USE_IMMERSIVE_DARK_MODE of Windows 10 from version 20H1 on. Older releases refuse it.
constexpr DWORD kDarkTitleBar = 20;
using SetAttribute = HRESULT(WINAPI*)(HWND, DWORD, const void*, DWORD);

// Null where the system draws no title bars of that kind.
SetAttribute loadSetAttribute() {
  HMODULE library = ::LoadLibraryExW(L"dwmapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return library == nullptr ? nullptr
                            : reinterpret_cast<SetAttribute>(reinterpret_cast<void*>(
                                  ::GetProcAddress(library, "DwmSetWindowAttribute")));
}

// The user's choice in the settings of Windows; light where there is none.
bool darkIsChosen() {
  DWORD light = 1;
  DWORD size = sizeof light;
  ::RegGetValueW(HKEY_CURRENT_USER,
                 L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
                 L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &light, &size);
  return light == 0;
}

}  // namespace

TitleBars::TitleBars() {
  wxEvtHandler::AddFilter(this);
}

TitleBars::~TitleBars() {
  wxEvtHandler::RemoveFilter(this);
}

int TitleBars::FilterEvent(wxEvent& event) {
  if (event.GetEventType() == wxEVT_SHOW) {
    static const SetAttribute setAttribute = loadSetAttribute();
    const auto* window = dynamic_cast<wxTopLevelWindow*>(event.GetEventObject());
    if (setAttribute != nullptr && window != nullptr) {
      const BOOL dark = darkIsChosen() ? TRUE : FALSE;
      setAttribute(window->GetHandle(), kDarkTitleBar, &dark, sizeof dark);
    }
  }
  return Event_Skip;
}

}  // namespace relaybird::desktop
