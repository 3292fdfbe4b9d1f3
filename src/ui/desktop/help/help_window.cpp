// SPDX-License-Identifier: MIT
#include "ui/desktop/help/help_window.h"

#include <wx/filesys.h>
#include <wx/fs_mem.h>
#include <wx/html/helpctrl.h>
#include <wx/html/helpfrm.h>
#include <wx/html/helpwnd.h>

#include <utility>

#include "ui/desktop/help/chm_book.h"
#include "ui/desktop/help/help_frame.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kProject = "relaybird-help.hhp";

// What the toolkit's help wants to know of a book; the compiled file does not keep its own
// project.
constexpr std::string_view kProjectText =
    "[OPTIONS]\n"
    "Contents file=rbx.hhc\n"
    "Index file=rbx.hhk\n"
    "Title=Relaybird Help\n"
    "Default topic=welcome.html\n";

// The toolkit keeps the handler for the life of the program, which the analyser cannot see.
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

// Once another window has been there, the toolkit asks the window manager how wide its borders are
// before it shows this one, and forgets over the answer where it was to be.
void holdPlace(wxFrame& frame) {
  frame.Bind(wxEVT_SHOW,
             [&frame, place = frame.GetPosition(), held = false](wxShowEvent& event) mutable {
               event.Skip();
               if (!std::exchange(held, true)) {
                 frame.Move(place);
               }
             });
}

// Finishes each window before it is seen: shown as small as the toolkit makes it, its parts would
// have less room than they can do with.
class Controller : public wxHtmlHelpController {
 public:
  using Made = std::function<void(wxTopLevelWindow&)>;

  Controller(int style, wxWindow* owner, const Made& onMade)
      : wxHtmlHelpController(style, owner), onMade_(onMade) {}

 protected:
  wxHtmlHelpFrame* CreateHelpFrame(wxHtmlHelpData* data) override {
    wxHtmlHelpFrame* frame = wxHtmlHelpController::CreateHelpFrame(data);
    finishHelpFrame(*frame, *frame->GetHelpWindow());
    onMade_(*frame);
    holdPlace(*frame);
    return frame;
  }

 private:
  const Made& onMade_;
};

}  // namespace

HelpWindow::HelpWindow(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

HelpWindow::~HelpWindow() {
  close();
  forget();
}

Result<void> HelpWindow::show(const std::string& file, const std::string& topic) {
  if (loaded_ != file) {
    if (auto loaded = load(file); !loaded) {
      return loaded;
    }
  }
  if (topic.empty()) {
    controller_->DisplayContents();
  } else {
    controller_->Display(wxString::FromUTF8(topic + ".html"));
  }
  return {};
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
  controller_ = std::make_unique<Controller>(
      wxHF_TOOLBAR | wxHF_CONTENTS | wxHF_INDEX | wxHF_SEARCH | wxHF_PRINT, owner_(), onMade_);
  controller_->SetShouldPreventAppExit(false);
  if (!controller_->AddBook(wxString("memory:") + kProject)) {
    forget();
    return Error{0, "The help file " + file + " holds no manual."};
  }
  loaded_ = file;
  return {};
}

// As the user does: the toolkit's own way leaves the window, which goes a little later, with a
// pointer to the controller, which may be gone by then.
void HelpWindow::close() {
  if (wxHtmlHelpFrame* frame = controller_ ? controller_->GetFrame() : nullptr) {
    frame->Close(true);
  }
}

void HelpWindow::forget() {
  controller_.reset();
  for (const std::string& page : pages_) {
    wxMemoryFSHandler::RemoveFile(wxString::FromUTF8(page));
  }
  pages_.clear();
  loaded_.clear();
}

}  // namespace relaybird::desktop
