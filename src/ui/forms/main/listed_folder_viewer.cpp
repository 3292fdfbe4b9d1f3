// SPDX-License-Identifier: MIT
#include "ui/forms/main/listed_folder_viewer.h"

#include "platform/system/file_exists.h"

namespace relaybird {

Result<void> ListedFolderViewer::show(const std::string& folder) {
  for (const Program& program : programs_) {
    if (!FileExists(files_, program.path)) continue;
    std::vector<std::string> arguments = program.arguments;
    arguments.push_back(folder);
    return starter_(program.path, arguments);
  }
  return Error{0, "No program that opens folders is installed (xdg-open)"};
}

std::vector<ListedFolderViewer::Program> freeDesktopFolderOpeners() {
  return {{"/usr/bin/xdg-open", {}}, {"/usr/bin/gio", {"open"}}};
}

}  // namespace relaybird
