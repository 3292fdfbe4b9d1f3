// SPDX-License-Identifier: MIT
#include "ui/forms/about/listed_system_information.h"

#include <algorithm>
#include <utility>

#include "platform/system/file_exists.h"

namespace relaybird {

std::vector<ListedProgram> freeDesktopInformationTools() {
  return {{"/usr/bin/gnome-control-center", {"info-overview"}},
          {"/usr/bin/kinfocenter", {}},
          {"/usr/bin/hardinfo2", {}},
          {"/usr/bin/hardinfo", {}}};
}

ListedSystemInformation::ListedSystemInformation(std::vector<ListedProgram> programs,
                                                 FileSystem& files, Starter starter)
    : programs_(std::move(programs)), files_(files), starter_(std::move(starter)) {}

std::optional<std::string> ListedSystemInformation::program() {
  const auto found =
      std::find_if(programs_.begin(), programs_.end(),
                   [&](const ListedProgram& listed) { return FileExists(files_, listed.path); });
  if (found == programs_.end()) {
    return std::nullopt;
  }
  return found->path;
}

Result<void> ListedSystemInformation::start(const std::string& program) {
  const auto found =
      std::find_if(programs_.begin(), programs_.end(),
                   [&](const ListedProgram& listed) { return listed.path == program; });
  return starter_(program,
                  found == programs_.end() ? std::vector<std::string>{} : found->arguments);
}

}  // namespace relaybird
