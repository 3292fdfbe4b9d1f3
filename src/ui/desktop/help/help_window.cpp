// SPDX-License-Identifier: MIT
// Shows the manual in the toolkit's help window. wxWidgets on Linux opens HTML help projects (.hhp)
// and not compiled help files (.chm). So all files of the compiled one are copied into the
// toolkit's memory file system, with a small project file of ours beside them.
#include "ui/desktop/help/help_window.h"

#include <chm_lib.h>
#include <wx/filesys.h>
#include <wx/fs_mem.h>
#include <wx/html/helpctrl.h>
#include <wx/html/helpfrm.h>
#include <wx/html/helpwnd.h>

#include <utility>

#include "ui/desktop/help/help_frame.h"

namespace relaybird::desktop {
namespace {

// A limit far above the size of any page of a manual.
constexpr LONGUINT64 kLargestPage = 16U << 20U;

struct Reading {
  const TakeFile& take;
  bool complete = true;
};

int takeEntry(chmFile* book, chmUnitInfo* entry, void* context) {
  auto& reading = *static_cast<Reading*>(context);
  if (entry->length > kLargestPage) {
    reading.complete = false;
    return CHM_ENUMERATOR_CONTINUE;
  }
  std::string bytes(entry->length, '\0');
  const LONGINT64 got =
      ::chm_retrieve_object(book, entry, reinterpret_cast<unsigned char*>(bytes.data()), 0,
                            static_cast<LONGINT64>(entry->length));
  if (got != static_cast<LONGINT64>(entry->length)) {
    reading.complete = false;
    return CHM_ENUMERATOR_CONTINUE;
  }
  std::string path = entry->path;
  path.erase(0, path.find_first_not_of('/'));
  reading.take(path, bytes);
  return CHM_ENUMERATOR_CONTINUE;
}

constexpr const char* kProject = "relaybird-help.hhp";

// The project file that wxHtmlHelpController needs. A compiled help file does not contain the
// project from which it was made.
constexpr std::string_view kProjectText =
    "[OPTIONS]\n"
    "Contents file=rbx.hhc\n"
    "Index file=rbx.hhk\n"
    "Title=Relaybird Help\n"
    "Default topic=welcome.html\n";

// The toolkit owns the handler until the program ends, which the analyser cannot see.
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

Result<void> readChm(const std::string& file, const TakeFile& take) {
  const std::unique_ptr<chmFile, void (*)(chmFile*)> book(::chm_open(file.c_str()), ::chm_close);
  if (!book) {
    return Error{0, "The help file " + file + " cannot be opened."};
  }
  Reading reading{take};
  const int walked =
      ::chm_enumerate(book.get(), CHM_ENUMERATE_NORMAL | CHM_ENUMERATE_FILES, takeEntry, &reading);
  if (walked == 0 || !reading.complete) {
    return Error{0, "The help file " + file + " is damaged."};
  }
  return {};
}

HelpWindow::HelpWindow(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

HelpWindow::~HelpWindow() {
  close();
  unload();
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
  unload();
  const auto read = readChm(file, [this](const std::string& path, std::string_view bytes) {
    addFile(path, bytes);
    pages_.push_back(path);
  });
  if (!read) {
    unload();
    return read;
  }
  addFile(kProject, kProjectText);
  pages_.emplace_back(kProject);
  controller_ = std::make_unique<Controller>(
      wxHF_TOOLBAR | wxHF_CONTENTS | wxHF_INDEX | wxHF_SEARCH | wxHF_PRINT, owner_(), onMade_);
  // Otherwise an open manual would keep the program running.
  controller_->SetShouldPreventAppExit(false);
  if (!controller_->AddBook(wxString("memory:") + kProject)) {
    unload();
    return Error{0, "The help file " + file + " holds no manual."};
  }
  loaded_ = file;
  return {};
}

// Closes the window as the user would. Why: wxHtmlHelpController::Quit() destroys the window later,
// when its pointer to the controller may already dangle.
void HelpWindow::close() {
  if (wxHtmlHelpFrame* frame = controller_ ? controller_->GetFrame() : nullptr) {
    frame->Close(true);
  }
}

// The toolkit's files in memory are shared by the whole program, and a name can be added only once.
void HelpWindow::unload() {
  controller_.reset();
  for (const std::string& page : pages_) {
    wxMemoryFSHandler::RemoveFile(wxString::FromUTF8(page));
  }
  pages_.clear();
  loaded_.clear();
}

}  // namespace relaybird::desktop
