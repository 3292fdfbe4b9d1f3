// SPDX-License-Identifier: MIT
// Other programs. A command (the delivery of mail) is fed, listened to and waited for, in a process
// group of its own so that it can be ended with what it started. A program of the desktop (a file
// manager, a mail reader) is started in a session of its own and left alone: it survives this one.
#include "platform/posix/posix_processes.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/posix/descriptor.h"

namespace relaybird {

// Commands that are waited for.

namespace {

using std::chrono::milliseconds;

// A command usually ends with its output. One that closes its output early, or leaves it open to a
// background process, is polled at these intervals.
constexpr milliseconds kFirstLook{2};
constexpr milliseconds kLookAgain{100};

// The streams, signals and process group of a new process.
class SpawnPlan {
 public:
  SpawnPlan(int input, int output, int errors) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, errors, STDERR_FILENO);
#if defined(__GLIBC__) && defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
    // Our own descriptors are close-on-exec; those of libraries may not be.
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
#endif
#endif
    // A child inherits the signals that are blocked and ignored here. Ignoring SIGPIPE is unusual,
    // and a command that does not expect it could write to a closed pipe forever.
    posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes_, &none);
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &pipe);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  // 0, or an error number.
  // No shell: arguments reach the command as they are, whatever an address contains.
  int start(const std::vector<std::string>& arguments, pid_t& process) const {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
      pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    return posix_spawn(&process, pointers[0], &actions_, &attributes_, pointers.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

// What a command writes. The beginning is kept, the rest is read and dropped. All of it is
// overwritten at the end, as it may be a password.
class Stream {
 public:
  Stream(Descriptor from, std::size_t limit)
      : from_(std::move(from)), limit_(limit), bytes_(Secret::ofSize(limit + kRest)) {}

  bool open() const { return static_cast<bool>(from_); }
  pollfd toPoll() const { return {from_.get(), POLLIN, 0}; }

  void listen() {
    // Bounded, so that a background process that writes without end cannot keep us here.
    for (int round = 0; round < 64 && from_; ++round) {
      const auto room = bytes_.writable().subspan(size_);
      const ssize_t count = read(from_.get(), room.data(), room.size());
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count < 0 && errno == EAGAIN) {
        return;
      }
      if (count <= 0) {
        (void)from_.close();
        return;
      }
      size_ = std::min(limit_, size_ + static_cast<std::size_t>(count));
    }
  }

  Secret take() {
    bytes_.cut(size_);
    return std::move(bytes_);
  }

 private:
  static constexpr std::size_t kRest = 4096;  // where bytes beyond the limit are read to

  Descriptor from_;
  std::size_t limit_;
  Secret bytes_;
  std::size_t size_ = 0;
};

// A command while it runs. Its two outputs may be one stream, `output`.
class Run {
 public:
  Run(pid_t process, Descriptor input, std::uint64_t inputSize, Stream output, Stream secrets)
      : process_(process),
        input_(std::move(input)),
        inputSize_(inputSize),
        output_(std::move(output)),
        secrets_(std::move(secrets)) {}

  // The command and this program share the file position. A command that opens its input anew as
  // /dev/stdin counts as having read nothing.
  bool hasAllInput() const {
    return lseek(input_.get(), 0, SEEK_CUR) >= static_cast<off_t>(inputSize_);
  }
  bool ended() const { return status_.has_value(); }

  // Reads the output until `wakeUp` is readable (-1: none) or the time is over, then checks whether
  // the command has ended.
  void step(milliseconds longest, int wakeUp) {
    const bool silent = !output_.open() && !secrets_.open();
    const milliseconds look = silent ? std::exchange(look_, nextLook()) : kLookAgain;
    std::array<pollfd, 3> waits = {output_.toPoll(), secrets_.toPoll(), {wakeUp, POLLIN, 0}};
    const int timeout = static_cast<int>(std::min(longest, look).count());
    if (poll(waits.data(), waits.size(), timeout) > 0) {
      listen();
    }
    reap(WNOHANG);
    // What the command wrote just before its end is still in the pipe.
    if (ended()) {
      listen();
    }
  }

  // The whole group, so that a helper of the command does not go on alone.
  void end() {
    kill(-process_, SIGKILL);
    reap(0);
  }

  SecretCommandResult result() {
    CommandResult result;
    const bool exited = WIFEXITED(*status_);
    result.end = exited ? CommandResult::End::kExited : CommandResult::End::kKilled;
    result.code = exited ? WEXITSTATUS(*status_) : WTERMSIG(*status_);
    result.output = std::string(output_.take().bytes());
    return {std::move(result), secrets_.take()};
  }

 private:
  milliseconds nextLook() const { return std::min(kLookAgain, 2 * look_); }

  void listen() {
    output_.listen();
    secrets_.listen();
  }

  void reap(int flags) {
    int status = 0;
    pid_t found = 0;
    do {
      found = waitpid(process_, &status, flags);
    } while (found < 0 && errno == EINTR);
    if (found == process_) {
      status_ = status;
    }
    // The status was collected elsewhere: the result is unknown and must not count as success.
    if (found < 0) {
      status_ = SIGKILL;
    }
  }

  pid_t process_;
  Descriptor input_;
  std::uint64_t inputSize_;
  Stream output_;
  Stream secrets_;
  milliseconds look_ = kFirstLook;
  std::optional<int> status_;
};

SecretCommandResult endedBy(Run& run, CommandResult::End end) {
  run.end();
  SecretCommandResult result = run.result();
  result.command.end = end;
  return result;
}

SecretCommandResult notStarted(int code) {
  return {{CommandResult::End::kNotStarted, code, {}}, {}};
}

struct Limits {
  milliseconds time;
  milliseconds patience;  // after a stop was requested
};

// `secrets` tells whether the two outputs are kept apart.
SecretCommandResult runCommand(const std::vector<std::string>& arguments, const CommandInput& input,
                               bool secrets, Limits limits, std::stop_token stop,
                               const std::function<milliseconds()>& steadyTime) {
  std::uint64_t inputSize = 0;
  bool inputFailed = false;
  auto in = makeInput([&] {
    auto piece = input();
    inputFailed = !piece;
    inputSize += piece ? piece->size() : 0;
    return piece;
  });
  if (inputFailed) {
    return {{CommandResult::End::kNoInput, in.error().code, in.error().text}, {}};
  }
  if (!in) {
    return notStarted(in.error().code);
  }
  auto out = makePipe();
  auto secretOut = secrets ? makePipe() : Pipe{};
  auto wakeUp = makePipe();
  if (!out || !secretOut || !wakeUp) {
    return notStarted(EMFILE);
  }
  setNonBlocking(out->read);
  setNonBlocking(secretOut->read);

  pid_t process = 0;
  const Pipe& first = secrets ? *secretOut : *out;
  const SpawnPlan plan(in->get(), first.write.get(), out->write.get());
  if (const int failure = plan.start(arguments, process)) {
    return notStarted(failure);
  }
  // Only the command holds this end now; otherwise its output would never end.
  (void)out->write.close();
  (void)secretOut->write.close();
  Run run(process, std::move(*in), inputSize, Stream(std::move(out->read), kOutputLimit),
          Stream(std::move(secretOut->read), kSecretOutputLimit));

  // Runs on the thread that requests the stop, so it only wakes the loop below.
  const std::stop_callback onStop(stop, [&wakeUp] {
    const char sign = 0;
    (void)!write(wakeUp->write.get(), &sign, 1);
  });
  milliseconds deadline = steadyTime() + limits.time;
  bool stopping = false;
  while (!run.ended()) {
    const milliseconds now = steadyTime();
    if (!stopping && stop.stop_requested()) {
      stopping = true;
      // A command without all its input cannot have sent the message, and is ended at once. One
      // with all of it may be sending, and gets time to finish.
      deadline = run.hasAllInput() ? std::min(deadline, now + limits.patience) : now;
    }
    if (now >= deadline) {
      return endedBy(run,
                     stopping ? CommandResult::End::kCancelled : CommandResult::End::kTimedOut);
    }
    run.step(deadline - now, stopping ? -1 : wakeUp->read.get());
  }
  return run.result();
}

}  // namespace

CommandResult PosixCommandRunner::run(const std::vector<std::string>& arguments,
                                      const CommandInput& input, milliseconds timeLimit,
                                      std::stop_token stop) {
  return runCommand(arguments, input, false, {timeLimit, kStopPatience}, std::move(stop),
                    steadyTime_)
      .command;
}

SecretCommandResult PosixCommandRunner::runForSecret(const std::vector<std::string>& arguments,
                                                     milliseconds timeLimit, std::stop_token stop) {
  return runCommand(arguments, wholeInput({}), true, {timeLimit, milliseconds{0}}, std::move(stop),
                    steadyTime_);
}

// Programs that are left alone.

namespace {

// Prepared before the fork: between fork and exec nothing may allocate, because another thread may
// have held the allocator's lock at the fork, and nobody will release it.
struct Plan {
  const char* program;
  std::vector<char*> arguments;
  int null;    // the null device
  int report;  // where an error number goes; closed by a program that starts
};

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

// Gives the new program default signals, whatever this one blocks or ignores.
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
  // Our own descriptors are close-on-exec; those of libraries may not be.
  (void)::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
#endif
  resetSignals();
  ::execv(plan.program, plan.arguments.data());
  giveUp(plan.report);
}

// The intermediate process. It ends at once, so the program is adopted by init, which reaps it.
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

// The reported error number; 0 when the program has started.
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
  std::optional<Pipe> report = makePipe();
  if (!report) {
    return systemError(what, errno);
  }
  // Above the standard streams, which the new program replaces.
  const Descriptor null = aboveStandardStreams(Descriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
  if (!null) {
    return systemError(what, errno);
  }

  // Everything that a child needs is made here.
  const Plan plan{program.c_str(), pointers(program, arguments), null.get(), report->write.get()};
  const pid_t process = ::fork();
  if (process < 0) {
    return systemError(what, errno);
  }
  if (process == 0) {
    startInSession(plan);
  }
  (void)report->write.close();
  waitForEnd(process);
  const int code = readReport(report->read.get());
  if (code != 0) {
    return systemError(what, code);
  }
  return {};
}

}  // namespace relaybird
