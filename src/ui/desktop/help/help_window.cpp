// SPDX-License-Identifier: MIT
// Shows the manual in the toolkit's help window. wxWidgets on Linux opens HTML help projects (.hhp)
// and not compiled help files (.chm). So all files of the compiled one are copied into the
// toolkit's memory file system, with a small project file of ours beside them.
#include "ui/desktop/help/help_window.h"

#include <wx/filesys.h>
#include <wx/fs_mem.h>
#include <wx/html/helpctrl.h>
#include <wx/html/helpfrm.h>
#include <wx/html/helpwnd.h>
#include <wx/image.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ui/desktop/help/chm_book.h"
#include "ui/desktop/help/help_frame.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kProject = "relaybird-help.hhp";

// The project file that wxHtmlHelpController needs. A compiled help file does not contain the
// project from which it was made.
constexpr std::string_view kProjectText =
    "[OPTIONS]\n"
    "Contents file=rbx.hhc\n"
    "Index file=rbx.hhk\n"
    "Title=Relaybird Help\n"
    "Default topic=welcome.html\n";

// The manual's pictures are PNG. The toolkit owns the handlers until the program ends, which the
// analyser cannot see.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks)
void serveFromMemory() {
  static bool added = false;
  if (!std::exchange(added, true)) {
    wxFileSystem::AddHandler(new wxMemoryFSHandler);
    wxImage::AddHandler(new wxPNGHandler);
  }
}
// NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)

void addFile(const std::string& name, std::string_view bytes) {
  const wxString path = wxString::FromUTF8(name);
  if (name.ends_with(".html")) {
    wxMemoryFSHandler::AddFileWithMimeType(path, bytes.data(), bytes.size(), "text/html");
  } else {
    wxMemoryFSHandler::AddFile(path, bytes.data(), bytes.size());
  }
}

// Why: if another window was shown before, wxGTK asks the window manager for the width of its
// borders before it shows this one, and loses the position that was set. So it is set again when
// the window appears.
void restorePositionOnShow(wxFrame& frame) {
  frame.Bind(wxEVT_SHOW,
             [&frame, place = frame.GetPosition(), moved = false](wxShowEvent& event) mutable {
               event.Skip();
               if (!std::exchange(moved, true)) {
                 frame.Move(place);
               }
             });
}

// Adapts each window before it is shown. In the small size that the toolkit chooses, its parts
// would have too little room, and GTK would print warnings.
class Controller : public wxHtmlHelpController {
 public:
  using Made = std::function<void(wxTopLevelWindow&)>;

  Controller(int style, wxWindow* owner, const Made& onMade)
      : wxHtmlHelpController(style, owner), onMade_(onMade) {}

 protected:
  wxHtmlHelpFrame* CreateHelpFrame(wxHtmlHelpData* data) override {
    wxHtmlHelpFrame* frame = wxHtmlHelpController::CreateHelpFrame(data);
    adaptHelpFrame(*frame, *frame->GetHelpWindow());
    onMade_(*frame);
    restorePositionOnShow(*frame);
    return frame;
  }

 private:
  const Made& onMade_;
};

}  // namespace

struct HelpWindow::Book {
  std::unique_ptr<wxHtmlHelpController> controller;
  std::string loaded;              // the help file; empty if none
  std::vector<std::string> pages;  // names in the toolkit's memory

  Result<void> load(const std::string& file, wxWindow* owner, const Controller::Made& onMade);
  void close();
  void unload();
};

HelpWindow::HelpWindow(std::function<wxWindow*()> owner)
    : owner_(std::move(owner)), book_(std::make_unique<Book>()) {}

HelpWindow::~HelpWindow() {
  close();
  book_->unload();
}

Result<void> HelpWindow::show(const std::string& file, const std::string& topic) {
  if (book_->loaded != file) {
    if (auto loaded = book_->load(file, owner_(), onMade_); !loaded) {
      return loaded;
    }
  }
  if (topic.empty()) {
    book_->controller->DisplayContents();
  } else {
    book_->controller->Display(wxString::FromUTF8(topic + ".html"));
  }
  return {};
}

void HelpWindow::close() {
  book_->close();
}

Result<void> HelpWindow::Book::load(const std::string& file, wxWindow* owner,
                                    const Controller::Made& onMade) {
  serveFromMemory();
  close();
  unload();
  const auto read = readChm(file, [this](const std::string& path, std::string_view bytes) {
    addFile(path, bytes);
    pages.push_back(path);
  });
  if (!read) {
    unload();
    return read;
  }
  addFile(kProject, kProjectText);
  pages.emplace_back(kProject);
  controller = std::make_unique<Controller>(
      wxHF_TOOLBAR | wxHF_CONTENTS | wxHF_INDEX | wxHF_SEARCH | wxHF_PRINT, owner, onMade);
  // Otherwise an open manual would keep the program running.
  controller->SetShouldPreventAppExit(false);
  if (!controller->AddBook(wxString("memory:") + kProject)) {
    unload();
    return Error{0, "The help file " + file + " holds no manual."};
  }
  loaded = file;
  return {};
}

// Closes the window as the user would. Why: wxHtmlHelpController::Quit() destroys the window later,
// when its pointer to the controller may already dangle.
void HelpWindow::Book::close() {
  if (wxHtmlHelpFrame* frame = controller ? controller->GetFrame() : nullptr) {
    frame->Close(true);
  }
}

// The toolkit's files in memory are shared by the whole program, and a name can be added only once.
void HelpWindow::Book::unload() {
  controller.reset();
  for (const std::string& page : pages) {
    wxMemoryFSHandler::RemoveFile(wxString::FromUTF8(page));
  }
  pages.clear();
  loaded.clear();
}

}  // namespace relaybird::desktop
