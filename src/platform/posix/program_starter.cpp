// SPDX-License-Identifier: MIT
#include "platform/posix/program_starter.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

// What the new process needs, made before it exists: between fork and exec nothing may allocate,
// since another thread may hold the allocator's lock for good.
struct Plan {
  const char* program;
  std::vector<char*> arguments;
  int null;    // the null device
  int report;  // where an error number goes; closed by a program that starts
};

// The same file under a number that is not one of the three standard ones, which the new program
// gets others for.
Descriptor aboveStandard(int descriptor) {
  return Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

bool holdsNul(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

std::vector<char*> pointers(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<char*> result{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) {
    result.push_back(const_cast<char*>(argument.c_str()));
  }
  result.push_back(nullptr);
  return result;
}

[[noreturn]] void giveUp(int report) {
  const int code = errno;
  [[maybe_unused]] const auto written = ::write(report, &code, sizeof code);
  ::_exit(1);
}

// The signals as a new program expects them, whatever this one blocks or ignores.
void resetSignals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (const int signal : {SIGPIPE, SIGCHLD, SIGHUP, SIGINT, SIGTERM}) {
    ::sigaction(signal, &standard, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void become(const Plan& plan) {
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::dup2(plan.null, standard) < 0) {
      giveUp(plan.report);
    }
  }
#ifdef CLOSE_RANGE_CLOEXEC
  // Our own descriptors close by themselves; those of libraries may not.
  (void)::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
#endif
  resetSignals();
  ::execv(plan.program, plan.arguments.data());
  giveUp(plan.report);
}

// The process between: its end leaves the program to the system, which waits for its end.
[[noreturn]] void startInSession(const Plan& plan) {
  if (::setsid() < 0) {
    giveUp(plan.report);
  }
  const pid_t process = ::fork();
  if (process < 0) {
    giveUp(plan.report);
  }
  if (process == 0) {
    become(plan);
  }
  ::_exit(0);
}

void waitForEnd(pid_t process) {
  while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// The error number that was reported; 0 where the program has started.
int readReport(int report) {
  int code = 0;
  ssize_t got = 0;
  do {
    got = ::read(report, &code, sizeof code);
  } while (got < 0 && errno == EINTR);
  return got == sizeof code ? code : 0;
}

}  // namespace

Result<void> startProgram(const std::string& program, const std::vector<std::string>& arguments) {
  const std::string what = "start " + program;
  if (holdsNul(program) || std::any_of(arguments.begin(), arguments.end(), holdsNul)) {
    return systemError(what, EINVAL);
  }
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    return systemError(what, errno);
  }
  const Descriptor reader(ends[0]);
  Descriptor lowWriter(ends[1]);
  const Descriptor lowNull(::open("/dev/null", O_RDWR | O_CLOEXEC));
  Descriptor writer = aboveStandard(lowWriter.get());
  const Descriptor null = aboveStandard(lowNull.get());
  if (!writer || !null) {
    return systemError(what, errno);
  }
  (void)lowWriter.close();

  const Plan plan{program.c_str(), pointers(program, arguments), null.get(), writer.get()};
  const pid_t process = ::fork();
  if (process < 0) {
    return systemError(what, errno);
  }
  if (process == 0) {
    startInSession(plan);
  }
  (void)writer.close();
  waitForEnd(process);
  const int code = readReport(reader.get());
  if (code != 0) {
    return systemError(what, code);
  }
  return {};
}

}  // namespace relaybird
