// SPDX-License-Identifier: MIT
// relaybird: the program in its windows.
#include <wx/init.h>

#include <csignal>

#include "app/desktop_application.h"
#include "app/program_words.h"

namespace {

constexpr const char* kHelp =
    "relaybird watches an inbox and forwards what passes your rules, in a window.\n"
    "It takes no options: what it does is set in its settings dialog.\n";

}  // namespace

int main(int argc, char** argv) {
  const relaybird::ProgramIdentity identity = relaybird::programIdentity("relaybird");
  if (const auto status = relaybird::answerWords(identity, kHelp, {argv + 1, argv + argc})) {
    return *status;
  }
  // A parent may have handed this down as ignored; the exit status of a delivery command, which
  // tells whether a message was taken, would then be lost.
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  wxApp::SetInstance(new relaybird::DesktopApplication(identity));
  return wxEntry(argc, argv);
}
