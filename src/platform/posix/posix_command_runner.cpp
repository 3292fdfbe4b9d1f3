// SPDX-License-Identifier: MIT
#include "platform/posix/posix_command_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "platform/posix/posix_pipe.h"

namespace relaybird {

namespace {

using std::chrono::milliseconds;

// The end of a command shows in the end of its output, unless it closed that early or left it to a
// process in the background: then looking now and then has to do.
constexpr milliseconds kFirstLook{2};
constexpr milliseconds kLookAgain{100};

// What a new process begins with.
class SpawnPlan {
 public:
  SpawnPlan(int input, int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
#if defined(__GLIBC__) && defined(__GLIBC_PREREQ)
#if __GLIBC_PREREQ(2, 34)
    // Our own descriptors close by themselves; those of libraries may not.
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
#endif
#endif
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

// A command while it runs.
class Run {
 public:
  Run(pid_t process, FileDescriptor input, FileDescriptor output, std::size_t inputSize)
      : process_(process),
        input_(std::move(input)),
        output_(std::move(output)),
        inputSize_(inputSize) {}

  // The command and this program share the file's position. One that opens its input anew, as
  // /dev/stdin, counts as one that has read nothing.
  bool hasAllInput() const {
    return lseek(input_.get(), 0, SEEK_CUR) >= static_cast<off_t>(inputSize_);
  }
  bool ended() const { return status_.has_value(); }

  // Reads what the command prints, at most until `wakeUp` is readable (-1 for none) or the time
  // has passed; then looks whether the command has ended.
  void step(milliseconds longest, int wakeUp) {
    const milliseconds look = output_.isOpen() ? kLookAgain : std::exchange(look_, nextLook());
    std::array<pollfd, 2> waits = {pollfd{output_.get(), POLLIN, 0}, {wakeUp, POLLIN, 0}};
    const int timeout = static_cast<int>(std::min(longest, look).count());
    if (poll(waits.data(), waits.size(), timeout) > 0 && waits[0].revents != 0) {
      listen();
    }
    reap(WNOHANG);
    if (ended()) {
      listen();
    }
  }

  void end() {
    kill(-process_, SIGKILL);
    reap(0);
  }

  CommandResult result() {
    CommandResult result;
    const bool exited = WIFEXITED(*status_);
    result.end = exited ? CommandResult::End::kExited : CommandResult::End::kKilled;
    result.code = exited ? WEXITSTATUS(*status_) : WTERMSIG(*status_);
    result.output = std::move(heard_);
    return result;
  }

 private:
  milliseconds nextLook() const { return std::min(kLookAgain, 2 * look_); }

  void listen() {
    std::array<char, 4096> buffer;
    // Bounded, so that a chatterer in the background cannot hold us here.
    for (int round = 0; round < 64 && output_.isOpen(); ++round) {
      const ssize_t count = read(output_.get(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count < 0 && errno == EAGAIN) {
        return;
      }
      if (count <= 0) {
        output_.close();
        return;
      }
      const std::size_t room = kOutputLimit - heard_.size();
      heard_.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
    }
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
    // Somebody else took the status: how it ended is not known, and must not count as success.
    if (found < 0) {
      status_ = SIGKILL;
    }
  }

  pid_t process_;
  FileDescriptor input_;
  FileDescriptor output_;
  std::size_t inputSize_;
  std::string heard_;
  milliseconds look_ = kFirstLook;
  std::optional<int> status_;
};

CommandResult endedBy(Run& run, CommandResult::End end) {
  run.end();
  CommandResult result = run.result();
  result.end = end;
  return result;
}

CommandResult notStarted(int code) {
  return {CommandResult::End::kNotStarted, code, {}};
}

}  // namespace

CommandResult PosixCommandRunner::run(const std::vector<std::string>& arguments,
                                      std::string_view input, milliseconds timeLimit,
                                      std::stop_token stop) {
  auto in = makeInput(input);
  if (!in.isOpen()) {
    return notStarted(errno);
  }
  auto out = makePipe();
  auto wakeUp = makePipe();
  if (!out || !wakeUp) {
    return notStarted(EMFILE);
  }
  setNonBlocking(out->read);

  pid_t process = 0;
  const int failure = SpawnPlan(in.get(), out->write.get()).start(arguments, process);
  if (failure != 0) {
    return notStarted(failure);
  }
  out->write.close();
  Run run(process, std::move(in), std::move(out->read), input.size());

  const std::stop_callback onStop(stop, [&wakeUp] {
    const char sign = 0;
    (void)!write(wakeUp->write.get(), &sign, 1);
  });
  milliseconds deadline = steadyTime_() + timeLimit;
  bool stopping = false;
  while (!run.ended()) {
    const milliseconds now = steadyTime_();
    if (!stopping && stop.stop_requested()) {
      stopping = true;
      deadline = run.hasAllInput() ? std::min(deadline, now + kStopPatience) : now;
    }
    if (now >= deadline) {
      return endedBy(run,
                     stopping ? CommandResult::End::kCancelled : CommandResult::End::kTimedOut);
    }
    run.step(deadline - now, stopping ? -1 : wakeUp->read.get());
  }
  return run.result();
}

}  // namespace relaybird
