// SPDX-License-Identifier: MIT
#include "ui/forms/main/listed_folder_viewer.h"

#include "platform/system/file_exists.h"

namespace relaybird {

Result<void> ListedFolderViewer::show(const std::string& folder) {
  return startWith(folder, "No program that opens folders is installed (xdg-open)");
}

Result<void> ListedFolderViewer::browse(const std::string& address) {
  return startWith(address, "No program that opens pages of the web is installed (xdg-open)");
}

Result<void> ListedFolderViewer::startWith(const std::string& last, const char* whyNot) {
  for (const Program& program : programs_) {
    if (!FileExists(files_, program.path)) {
      continue;
    }
    std::vector<std::string> arguments = program.arguments;
    arguments.push_back(last);
    return starter_(program.path, arguments);
  }
  return Error{0, whyNot};
}

std::vector<ListedFolderViewer::Program> freeDesktopFolderOpeners() {
  return {{"/usr/bin/xdg-open", {}}, {"/usr/bin/gio", {"open"}}};
}

}  // namespace relaybird
