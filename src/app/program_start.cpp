// SPDX-License-Identifier: MIT
// The start of both programs: the command line, the release's version, and the place of the help
// file. What the system itself is asked is in program_platform.h.
#include "app/program_start.h"

#include <cstdlib>
#include <utility>

#include "platform/paths.h"

namespace relaybird {

ProgramIdentity programIdentity(std::string name) {
  return {std::move(name),
          RELAYBIRD_VERSION,
          {RELAYBIRD_VERSION_MAJOR, RELAYBIRD_VERSION_MINOR, RELAYBIRD_VERSION_PATCH}};
}

std::optional<CommandLineAnswer> answerArguments(const ProgramIdentity& identity,
                                                 std::string_view help,
                                                 const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return std::nullopt;
  }
  if (arguments == std::vector<std::string>{"--help"}) {
    return CommandLineAnswer{EXIT_SUCCESS, std::string(help)};
  }
  if (arguments == std::vector<std::string>{"--version"}) {
    return CommandLineAnswer{EXIT_SUCCESS, "Relaybird " + identity.versionText + "\n"};
  }
  return CommandLineAnswer{kSettingsForbid,
                           identity.name + " takes no options but --help and --version, not \"" +
                               arguments.front() + "\"\n"};
}

std::string defaultHelpFile(FileSystem& files, const std::string& folder) {
  const std::string installed = joinPath(parentFolder(folder), "share/relaybird/rbx.chm");
  const std::string beside = joinPath(folder, "rbx.chm");
  return !FileExists(files, installed) && FileExists(files, beside) ? beside : installed;
}

}  // namespace relaybird
