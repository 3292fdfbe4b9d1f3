// SPDX-License-Identifier: MIT
// relaybird: the program in its windows.
#include <wx/init.h>

#include "app/desktop_application.h"
#include "app/program_start.h"

namespace {

constexpr const char* kHelp =
    "relaybird watches an inbox and forwards what passes your rules, in a window.\n"
    "It takes no options: what it does is set in its settings dialog.\n";

}  // namespace

int main(int argc, char** argv) {
  relaybird::prepareSystemProcess();
  const relaybird::ProgramIdentity identity = relaybird::programIdentity("relaybird");
  if (const auto answer = relaybird::answerArguments(identity, kHelp, {argv + 1, argv + argc})) {
    relaybird::tellStarter(answer->text, answer->status != 0);
    return answer->status;
  }
  wxApp::SetInstance(new relaybird::DesktopApplication(identity, relaybird::systemPlatform));
  return wxEntry(argc, argv);
}
