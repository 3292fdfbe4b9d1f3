// SPDX-License-Identifier: MIT
#include "ui/desktop/help/help_window.h"

#include <wx/filesys.h>
#include <wx/fs_mem.h>
#include <wx/gdicmn.h>
#include <wx/html/helpctrl.h>
#include <wx/html/helpfrm.h>
#include <wx/html/helpwnd.h>
#include <wx/html/htmlwin.h>
#include <wx/splitter.h>
#include <wx/toolbar.h>
#include <wx/treectrl.h>

#include <utility>

#include "ui/desktop/help/chm_book.h"
#include "ui/desktop/native/native_widgets.h"

namespace relaybird::desktop {
namespace {

constexpr int kWidth = 1020;
constexpr int kHeight = 680;
constexpr int kContentsWidth = 300;

constexpr const char* kProject = "relaybird-help.hhp";

/// What the toolkit's help wants to know of a book; the compiled file does not keep its own
/// project.
constexpr std::string_view kProjectText =
    "[OPTIONS]\n"
    "Contents file=rbx.hhc\n"
    "Index file=rbx.hhk\n"
    "Title=Relaybird Help\n"
    "Default topic=welcome.html\n";

/// The toolkit keeps the handler for the life of the program, which the analyser cannot see.
void serveFromMemory() {
  static bool added = false;
  if (!std::exchange(added, true)) {
    wxFileSystem::AddHandler(new wxMemoryFSHandler);
  }
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)

void addFile(const std::string& name, std::string_view bytes) {
  const wxString path = wxString::FromUTF8(name);
  if (name.ends_with(".html")) {
    wxMemoryFSHandler::AddFileWithMimeType(path, bytes.data(), bytes.size(), "text/html");
  } else {
    wxMemoryFSHandler::AddFile(path, bytes.data(), bytes.size());
  }
}

/// The toolkit puts its help together by itself, and hands out no part of it.
template <class Part>
Part* firstInside(wxWindow& window) {
  for (wxWindow* child : window.GetChildren()) {
    if (auto* part = dynamic_cast<Part*>(child)) {
      return part;
    }
    if (auto* part = firstInside<Part>(*child)) {
      return part;
    }
  }
  return nullptr;
}

/// The toolkit paints the page and the contents, and has pictures alone on its buttons.
void nameParts(wxWindow& window) {
  if (auto* tools = dynamic_cast<wxToolBar*>(&window)) {
    nameTools(*tools);
  } else if (dynamic_cast<wxHtmlWindow*>(&window) != nullptr) {
    setAccessibleName(window, "Page");
  } else if (dynamic_cast<wxTreeCtrl*>(&window) != nullptr) {
    setAccessibleName(window, "Contents");
  }
  for (wxWindow* part : window.GetChildren()) {
    nameParts(*part);
  }
}

}  // namespace

HelpWindow::HelpWindow(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

HelpWindow::~HelpWindow() {
  close();
  forget();
}

Result<void> HelpWindow::show(const std::string& file) {
  if (loaded_ != file) {
    if (auto loaded = load(file); !loaded) {
      return loaded;
    }
  }
  controller_->DisplayContents();
  arrange();
  return {};
}

/// Large enough for a page beside the contents, with all of its chapters in sight.
void HelpWindow::arrange() {
  wxHtmlHelpWindow* help = controller_->GetHelpWindow();
  wxWindow* frame = controller_->FindTopLevelWindow();
  if (arranged_ || help == nullptr || frame == nullptr) {
    return;
  }
  arranged_ = true;
  nameParts(*frame);
  wxSize size = frame->FromDIP(wxSize(kWidth, kHeight));
  size.DecTo(wxGetClientDisplayRect().GetSize());
  frame->SetSize(size);
  frame->CentreOnParent();
  if (auto* parts = firstInside<wxSplitterWindow>(*help)) {
    parts->SetSashPosition(frame->FromDIP(kContentsWidth));
  }
  if (auto* contents = firstInside<wxTreeCtrl>(*help)) {
    contents->ExpandAll();
    contents->EnsureVisible(contents->GetRootItem());
  }
}

Result<void> HelpWindow::load(const std::string& file) {
  serveFromMemory();
  close();
  forget();
  const auto read = readChm(file, [this](const std::string& path, std::string_view bytes) {
    addFile(path, bytes);
    pages_.push_back(path);
  });
  if (!read) {
    forget();
    return read;
  }
  addFile(kProject, kProjectText);
  pages_.emplace_back(kProject);
  controller_ = std::make_unique<wxHtmlHelpController>(
      wxHF_TOOLBAR | wxHF_CONTENTS | wxHF_INDEX | wxHF_SEARCH | wxHF_PRINT, owner_());
  controller_->SetShouldPreventAppExit(false);
  if (!controller_->AddBook(wxString("memory:") + kProject)) {
    forget();
    return Error{0, "The help file " + file + " holds no manual."};
  }
  loaded_ = file;
  return {};
}

void HelpWindow::close() {
  if (controller_) {
    controller_->Quit();
  }
}

void HelpWindow::forget() {
  controller_.reset();
  for (const std::string& page : pages_) {
    wxMemoryFSHandler::RemoveFile(wxString::FromUTF8(page));
  }
  pages_.clear();
  loaded_.clear();
  arranged_ = false;
}

}  // namespace relaybird::desktop
