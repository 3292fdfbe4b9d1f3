// SPDX-License-Identifier: MIT
// relaybird-console: the program at a terminal, for servers, for people without a screen, and for
// scripts.
#include <cstdlib>
#include <exception>
#include <iostream>

#include "app/console_application.h"
#include "app/console_manual.h"
#include "app/process_setup.h"
#include "app/program_words.h"
#include "app/standard_streams.h"

namespace {

constexpr const char* kHelp =
    "relaybird-console watches an inbox and forwards what passes your rules.\n"
    "It reads commands from standard input, a line each: help lists them, quit ends it.\n"
    "It takes no options: what it does is set in the preference file, rbx/rbx_prefs.ini in\n"
    "$XDG_CONFIG_HOME or ~/.config, which the command settings changes.\n"
    "Exit status: 0 a clean end; 1 it could not start, or nobody reads what it prints; 2 the\n"
    "settings do not allow a start.\n";

}  // namespace

int main(int argc, char** argv) {
  relaybird::prepareProcess();
  const relaybird::ProgramIdentity identity = relaybird::programIdentity("relaybird-console");
  if (const auto status = relaybird::answerWords(identity, kHelp, {argv + 1, argv + argc})) {
    return *status;
  }
  relaybird::useTerminalCharacters();
  try {
    relaybird::ConsoleApplication application(identity, relaybird::consoleManual(), std::cerr);
    return application.run();
  } catch (const std::exception& error) {
    std::cerr << identity.name << ": " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
