// SPDX-License-Identifier: MIT
// relaybird-check: one check of the inbox, for trying out settings and for a machine's own timer.
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "app/check_program.h"

namespace {

constexpr const char* kHelp =
    "relaybird-check checks the inbox once, forwards what passes the rules, and ends.\n"
    "It takes no options: what it does is set in the preference file, rbx/rbx_prefs.ini in\n"
    "$XDG_CONFIG_HOME or ~/.config.\n"
    "Exit status: 0 the check was completed, 1 it was not, 2 the settings do not allow one.\n";

/// Answers the words on the command line, where there are any, with an exit status.
std::optional<int> answerWords(const std::vector<std::string>& words) {
  if (words.empty()) {
    return std::nullopt;
  }
  if (words.front() == "--help") {
    std::cout << kHelp;
    return EXIT_SUCCESS;
  }
  if (words.front() == "--version") {
    std::cout << "Relaybird " RELAYBIRD_VERSION "\n";
    return EXIT_SUCCESS;
  }
  std::cerr << "relaybird-check takes no options, not \"" << words.front() << "\"\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto status = answerWords({argv + 1, argv + argc})) {
    return *status;
  }
  // A parent may have handed this down as ignored; the exit status of a delivery command, which
  // tells whether a message was taken, would then be lost.
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return relaybird::CheckProgram(std::cout, std::cerr).run();
  } catch (const std::exception& error) {
    std::cerr << "relaybird-check: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
