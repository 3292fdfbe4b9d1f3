// SPDX-License-Identifier: MIT
// The manual in the viewer of compiled help files that Windows has. The viewer (hhctrl.ocx) is
// loaded when it is first needed: a program that could not start without it would be of no use on a
// system that has removed it.
#include <windows.h>

#include <wx/string.h>

#include "ui/desktop/help/help_window.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

using HtmlHelp = HWND(WINAPI*)(HWND owner, const wchar_t* file, UINT command, DWORD_PTR data);

// The commands HH_DISPLAY_TOPIC and HH_CLOSE_ALL.
constexpr UINT kDisplayTopic = 0;
constexpr UINT kCloseAll = 0x12;

// Null if the system has no viewer. The library is never freed: the viewer's own thread runs in it.
HtmlHelp loadViewer() {
  HMODULE library = ::LoadLibraryExW(L"hhctrl.ocx", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) {
    return nullptr;
  }
  return reinterpret_cast<HtmlHelp>(
      reinterpret_cast<void*>(::GetProcAddress(library, "HtmlHelpW")));
}

}  // namespace

struct HelpWindow::Book {
  HtmlHelp viewer = nullptr;  // loaded by the first topic
};

HelpWindow::HelpWindow(std::function<wxWindow*()> owner)
    : owner_(std::move(owner)), book_(std::make_unique<Book>()) {}

HelpWindow::~HelpWindow() {
  close();
}

// Why by the page's name: the compiler stores the numbers of topics with the folder of the build,
// where no other machine finds them.
Result<void> HelpWindow::show(const std::string& file, const std::string& topic) {
  if (book_->viewer == nullptr) {
    book_->viewer = loadViewer();
  }
  if (book_->viewer == nullptr) {
    return Error{0, "Windows has no viewer for help files (hhctrl.ocx)."};
  }
  const wxString page = topic.empty() ? toWx(file) : toWx(file + "::/" + topic + ".html");
  const wxWindow* owner = owner_();
  HWND const window = owner == nullptr ? nullptr : static_cast<HWND>(owner->GetHandle());
  if (book_->viewer(window, page.wc_str(), kDisplayTopic, 0) == nullptr) {
    return Error{0, "The help file " + file + " cannot be opened."};
  }
  return {};
}

void HelpWindow::close() {
  if (book_->viewer != nullptr) {
    book_->viewer(nullptr, nullptr, kCloseAll, 0);
  }
}

}  // namespace relaybird::desktop
