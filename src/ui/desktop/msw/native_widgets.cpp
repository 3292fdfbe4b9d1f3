// SPDX-License-Identifier: MIT
// The Windows side of widgets: what wxWidgets does not offer.
//
// Accessibility: each control gets an object (wxAccessible) that knows its name, description and
// role; everything else stays with the system's own object. A text before a field names it without
// our help, so labels need no calls here. Much of what GTK must be told Windows does by itself;
// those functions are empty.
#include "ui/desktop/native/native_widgets.h"

#include <windows.h>
// Why here: they need windows.h.
#include <wx/access.h>
#include <wx/app.h>
#include <wx/msw/private.h>
#include <wx/textctrl.h>
#include <wx/weakref.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird::desktop {
namespace {

class Described : public wxAccessible {
 public:
  explicit Described(wxWindow* window) : wxAccessible(window) {}

  wxAccStatus GetName(int child, wxString* answer) override { return tell(child, name, answer); }
  wxAccStatus GetDescription(int child, wxString* answer) override {
    return tell(child, description, answer);
  }
  wxAccStatus GetRole(int child, wxAccRole* answer) override {
    if (child != wxACC_SELF || !role) {
      return wxACC_NOT_IMPLEMENTED;
    }
    *answer = *role;
    return wxACC_OK;
  }

  wxString name;
  wxString description;
  std::optional<wxAccRole> role;

 private:
  // Where there is no text of ours the system's own object answers.
  static wxAccStatus tell(int child, const wxString& text, wxString* answer) {
    if (child != wxACC_SELF || text.empty()) {
      return wxACC_NOT_IMPLEMENTED;
    }
    *answer = text;
    return wxACC_OK;
  }
};

// The window owns it.
Described& described(wxWindow& window) {
  auto* found = dynamic_cast<Described*>(window.GetAccessible());
  if (found == nullptr) {
    found = new Described(&window);
    window.SetAccessible(found);
  }
  return *found;
}

using Windows = std::vector<wxWeakRef<wxTopLevelWindow>>;

// What each modal dialog has disabled.
std::map<const wxTopLevelWindow*, Windows>& disabledBy() {
  static std::map<const wxTopLevelWindow*, Windows> windows;
  return windows;
}

std::set<const wxTopLevelWindow*>& exempt() {
  static std::set<const wxTopLevelWindow*> windows;
  return windows;
}

Windows disableOthers(const wxTopLevelWindow& dialog) {
  Windows disabled;
  for (wxWindow* window : wxTopLevelWindows) {
    auto* top = dynamic_cast<wxTopLevelWindow*>(window);
    if (top != nullptr && top != &dialog && !exempt().contains(top) && top->Disable()) {
      disabled.emplace_back(top);
    }
  }
  return disabled;
}

// Presses Cancel if the window is a dialog that the system runs. The toolkit's dialogs have the
// same class.
BOOL CALLBACK cancel(HWND window, LPARAM) {
  constexpr std::wstring_view kDialogClass = L"#32770";
  std::array<wchar_t, 16> name{};
  ::GetClassNameW(window, name.data(), static_cast<int>(name.size()));
  if (kDialogClass == name.data() && ::IsWindowVisible(window) != FALSE &&
      wxFindWinFromHandle(window) == nullptr) {
    ::PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
  }
  return TRUE;
}

// Another program may hold the clipboard for a moment.
bool openClipboard(HWND owner) {
  constexpr int kTries = 10;
  constexpr DWORD kPause = 10;  // milliseconds
  for (int left = kTries; left > 0; --left) {
    if (::OpenClipboard(owner) != FALSE) {
      return true;
    }
    ::Sleep(kPause);
  }
  return false;
}

// The text in memory that the clipboard can take over; null if there is not enough.
HGLOBAL globalCopy(const std::wstring& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, bytes);
  void* place = memory == nullptr ? nullptr : ::GlobalLock(memory);
  if (place == nullptr) {
    ::GlobalFree(memory);
    return nullptr;
  }
  std::memcpy(place, text.c_str(), bytes);
  ::GlobalUnlock(memory);
  return memory;
}

}  // namespace

void setAccessibleName(wxWindow& window, const std::string& name) {
  if (!name.empty()) {
    described(window).name = wxString::FromUTF8(name);
  }
}

void setAccessibleDescription(wxWindow& window, const std::string& text) {
  described(window).description = wxString::FromUTF8(text);
  ::NotifyWinEvent(EVENT_OBJECT_DESCRIPTIONCHANGE, window.GetHandle(), OBJID_CLIENT, CHILDID_SELF);
}

void setLabelFor(wxWindow&, wxWindow*) {}

void setAccessibleRole(wxWindow& window, AccessibleRole role) {
  switch (role) {
    case AccessibleRole::kAlert:
      described(window).role = wxROLE_SYSTEM_ALERT;
      break;
    case AccessibleRole::kDialog:
      described(window).role = wxROLE_SYSTEM_DIALOG;
      break;
    case AccessibleRole::kLink:
      described(window).role = wxROLE_SYSTEM_LINK;
      break;
    case AccessibleRole::kList:
      described(window).role = wxROLE_SYSTEM_LIST;
      break;
  }
}

void nameTools(wxToolBar&) {}

void setTextMargin(wxWindow& field, int pixels) {
  if (auto* text = dynamic_cast<wxTextCtrl*>(&field)) {
    text->SetMargins(pixels, pixels);
  }
}

// The toolkit's height is right. In a higher field the text would stand at the top.
void leaveRoomForText(wxTextCtrl&) {}

void centreCaption(wxButton&) {}

void indentTitle(wxStaticBox&, int) {}

void setLinkColour(wxHyperlinkCtrl& link, const wxColour& colour) {
  link.SetNormalColour(colour);
  link.SetVisitedColour(colour);
}

void showScrollBars(wxWindow&) {}

// Why not wxDialog::ShowModal(): it blocks until the dialog closes, but forms are shown without
// blocking. Why the toolkit's Disable(): a message box that opens meanwhile disables and enables
// windows in the same way, and leaves alone what was disabled before it.
void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow&, bool modal) {
  if (modal && !disabledBy().contains(&dialog)) {
    disabledBy()[&dialog] = disableOthers(dialog);
  } else if (!modal) {
    const auto found = disabledBy().find(&dialog);
    const Windows disabled = found == disabledBy().end() ? Windows() : found->second;
    disabledBy().erase(&dialog);
    for (const auto& window : disabled) {
      if (window) {
        window->Enable();
      }
    }
  }
}

void exemptFromModality(wxTopLevelWindow& window) {
  exempt().insert(&window);
}

bool windowsCanBeMinimised() {
  return true;
}

bool programsPlaceWindows() {
  return true;
}

void cancelNativeDialogs() {
  ::EnumThreadWindows(::GetCurrentThreadId(), cancel, 0);
}

// The clipboard keeps the text when the program ends.
bool putOnClipboard(const std::string& text) {
  const wxWindow* top = wxTheApp->GetTopWindow();
  if (top == nullptr || !openClipboard(top->GetHandle())) {
    return false;
  }
  HGLOBAL memory = globalCopy(wxString::FromUTF8(text).ToStdWstring());
  ::EmptyClipboard();
  const bool taken = memory != nullptr && ::SetClipboardData(CF_UNICODETEXT, memory) != nullptr;
  if (memory != nullptr && !taken) {
    ::GlobalFree(memory);
  }
  ::CloseClipboard();
  return taken;
}

}  // namespace relaybird::desktop
