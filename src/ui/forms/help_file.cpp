// SPDX-License-Identifier: MIT
// A missing help file leads to a question, a file dialog, and a note of the choice in rbx.ini. A
// file that exists but cannot be shown leads to a box from which another file can be chosen. That
// the choice could not be remembered is reported only after the help is shown.
#include "ui/forms/help_file.h"

#include <memory>
#include <utility>

#include "platform/file_system.h"
#include "prefs/preference_location.h"

namespace relaybird {
namespace {

// Longer than the buffer for settings: the longest path of any supported system, and its NUL.
constexpr std::size_t kPathBufferSize = 32768;

const AnswerBox& notFoundBox() {
  static const AnswerBox kBox{
      "The help file could not be found.  This could be caused by the Relaybird program .exe file "
      "being copied or moved away from the location where it was initially installed.  If you "
      "would like to view the help file then please specify its location.  The name of the file is "
      "rbx.chm and the default location is in the directory where the Relaybird program was "
      "initially installed.",
      "Help file (rbx.chm) not found:", BoxButtons::kOkCancel, BoxIcon::kNone};
  return kBox;
}

// The file exists, so only the user can decide whether to use another one.
AnswerBox unreadableBox(const std::string& why) {
  return {why + "\r\n\r\nPress OK to look for another help file.", "Error", BoxButtons::kOkCancel,
          BoxIcon::kExclamation};
}

}  // namespace

HelpFile::HelpFile(const ProgramWorld& world) : world_(world), location_(world.defaultHelpFile) {
  std::string chosenBefore = rememberedFile();
  if (exists(chosenBefore)) {
    location_ = std::move(chosenBefore);
  }
}

// The loop lets the user try one file after another; it ends when a file is shown or the user gives
// up.
void HelpFile::show(const std::string& topic) {
  if (!exists(location_) && !(confirms(notFoundBox()) && chooseFile())) {
    return;
  }
  for (;;) {
    const Result<void> shown = world_.helpViewer.show(location_, topic);
    reportNotRemembered();
    if (shown || !confirms(unreadableBox(shown.error().text)) || !chooseFile()) {
      return;
    }
  }
}

bool HelpFile::exists(const std::string& file) const {
  return FileExists(world_.files, file);
}

std::string HelpFile::rememberedFile() const {
  const std::string memory = helpMemoryFile(world_.folders);
  if (memory.empty()) {
    return {};
  }
  return world_.profiles.read(memory)->get(kHelpSection, kHelpKey, "", kPathBufferSize);
}

bool HelpFile::confirms(const AnswerBox& box) {
  return world_.dialogs.messageBox(box) == BoxAnswer::kOk;
}

// Whether the user chose an existing file, which is now the location.
bool HelpFile::chooseFile() {
  std::optional<std::string> chosen =
      world_.dialogs.openFile({"\"Please locate help file (rbx.chm)\"", "Help File (*.chm)|*.chm"});
  if (!chosen) {
    return false;
  }
  if (!exists(*chosen)) {
    showError("The help file you chose does not exist.");
    return false;
  }
  location_ = std::move(*chosen);
  remembered_ = remember();
  return true;
}

Result<void> HelpFile::remember() {
  const std::string memory = helpMemoryFile(world_.folders);
  if (memory.empty()) {
    return Error{0, "There is no folder to remember it in."};
  }
  const std::unique_ptr<ProfileWriter> file = world_.profiles.write(memory);
  if (file->set(kHelpSection, kHelpKey, location_) && file->commit()) {
    return {};
  }
  return Error{0, file->error()};
}

void HelpFile::reportNotRemembered() {
  if (const Result<void> kept = std::exchange(remembered_, {}); !kept) {
    showError("The location of the help file could not be remembered.\r\n\r\n" + kept.error().text);
  }
}

void HelpFile::showError(const std::string& text) {
  world_.dialogs.messageBox({text, "Error", BoxButtons::kOk, BoxIcon::kExclamation});
}

}  // namespace relaybird
