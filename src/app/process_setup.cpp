// SPDX-License-Identifier: MIT
#include "app/process_setup.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

#include "message/text/libraries.h"

namespace relaybird {

void prepareProcess() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is taken, which is this one.
    if (::fcntl(descriptor, F_GETFD) < 0) {
      (void)::open("/dev/null", O_RDWR);
    }
  }
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  prepareLibraries();
}

}  // namespace relaybird
