// SPDX-License-Identifier: MIT
// relaybird-check: one check of the inbox, for trying out settings and for a machine's own timer.
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "app/check_program.h"

int main() {
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
