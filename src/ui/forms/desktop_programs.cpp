// SPDX-License-Identifier: MIT
// A listed program counts as installed if its file exists; the list is searched anew at each call,
// because a program may be installed while this one runs.
#include "ui/forms/desktop_programs.h"

#include <algorithm>
#include <utility>

#include "platform/file_system.h"

namespace relaybird {
namespace {

// Where Windows registers its System Information tool: the tool's path, or the folder that it is
// in.
constexpr const char* kToolKey = R"(SOFTWARE\Microsoft\Shared Tools\MSINFO)";
constexpr const char* kToolValue = "PATH";
constexpr const char* kFolderKey = R"(SOFTWARE\Microsoft\Shared Tools Location)";
constexpr const char* kFolderValue = "MSINFO";
constexpr const char* kToolFile = R"(\MSINFO32.EXE)";

struct ValueText {
  // A registry text contains its closing NUL.
  std::string operator()(const std::string& text) const { return text.substr(0, text.find('\0')); }
  // Equal to the number written in hexadecimal digits behind "&h" and read again.
  std::string operator()(std::uint32_t number) const { return std::to_string(number); }
};

}  // namespace

// The desktops' own tools first. Absolute paths, so that a search path cannot put another program
// in their place.
std::vector<ListedProgram> freeDesktopInformationTools() {
  return {{"/usr/bin/gnome-control-center", {"info-overview"}},
          {"/usr/bin/kinfocenter", {}},
          {"/usr/bin/hardinfo2", {}},
          {"/usr/bin/hardinfo", {}}};
}

ListedSystemInformation::ListedSystemInformation(std::vector<ListedProgram> programs,
                                                 FileSystem& files, ListedStarter starter)
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

Result<void> ListedFolderViewer::show(const std::string& folder) {
  return startWith(folder, "No program that opens folders is installed (xdg-open)");
}

Result<void> ListedFolderViewer::browse(const std::string& address) {
  return startWith(address, "No program that opens pages of the web is installed (xdg-open)");
}

Result<void> ListedFolderViewer::startWith(const std::string& last, const char* whyNot) {
  for (const ListedProgram& program : programs_) {
    if (!FileExists(files_, program.path)) {
      continue;
    }
    // What is to be shown comes last, behind the program's own arguments.
    std::vector<std::string> arguments = program.arguments;
    arguments.push_back(last);
    return starter_(program.path, arguments);
  }
  return Error{0, whyNot};
}

std::vector<ListedProgram> freeDesktopFolderOpeners() {
  return {{"/usr/bin/xdg-open", {}}, {"/usr/bin/gio", {"open"}}};
}

bool GetKeyValue(Registry& registry, RegistryRoot root, const std::string& keyName,
                 const std::string& valueName, std::string& result) {
  result.clear();
  const auto key = registry.open(root, keyName);
  if (!key) {
    return false;
  }
  const Result<RegistryValue> value = (*key)->query(valueName, kRegistryBufferSize);
  if (!value) {
    return false;
  }
  result = std::visit(ValueText(), *value);
  return true;
}

RegistrySystemInformation::RegistrySystemInformation(Registry& registry, FileSystem& files,
                                                     Starter starter)
    : registry_(registry), files_(files), starter_(std::move(starter)) {}

std::optional<std::string> RegistrySystemInformation::program() {
  std::string value;
  if (GetKeyValue(registry_, RegistryRoot::kLocalMachine, kToolKey, kToolValue, value)) {
    return value;
  }
  if (!GetKeyValue(registry_, RegistryRoot::kLocalMachine, kFolderKey, kFolderValue, value)) {
    return std::nullopt;
  }
  value += kToolFile;
  if (!FileExists(files_, value)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace relaybird
