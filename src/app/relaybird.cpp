// SPDX-License-Identifier: MIT
// relaybird: the program in its windows.
#include <wx/init.h>

#include <utility>

#include "app/desktop_application.h"
#include "app/program_start.h"

namespace {

constexpr const char* kHelp =
    "relaybird watches an inbox and forwards what passes your rules, in a window.\n"
    "It takes no options: what it does is set in its settings dialog.\n";

}  // namespace

int main(int argc, char** argv) {
  relaybird::prepareSystemProcess();
  relaybird::ProgramPlatform platform = relaybird::systemPlatform();
  const relaybird::ProgramIdentity identity = relaybird::programIdentity("relaybird");
  if (const auto answer = relaybird::answerArguments(identity, kHelp, {argv + 1, argv + argc})) {
    platform.streams.tellStarter(answer->text, answer->status != 0);
    return answer->status;
  }
  wxApp::SetInstance(new relaybird::DesktopApplication(identity, std::move(platform)));
  return wxEntry(argc, argv);
}
