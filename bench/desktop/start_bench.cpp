// SPDX-License-Identifier: MIT
// relaybird_start_bench TIME MEMORY ROUNDS PROGRAM OTHER...: from the start of each program to its
// window being on the screen, painted, and answering, and its resident memory some seconds later;
// all in turns. Exit status 1 when the first one needs more than TIME or MEMORY times what the best
// of the others does.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "window_watch.h"

namespace relaybird::bench {
namespace {

constexpr std::chrono::seconds kPatience{60};
// After its start a program may still load what it needs later; then it rests.
constexpr std::chrono::seconds kSettling{3};

struct Program {
  std::string command;
  std::vector<double> milliseconds;
  std::vector<double> megabytes;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::string fileName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

pid_t start(const std::string& command) {
  const pid_t process = ::fork();
  if (process == 0) {
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int stream : {0, 1, 2}) {
      ::dup2(nowhere, stream);
    }
    ::execlp(command.c_str(), command.c_str(), nullptr);
    ::_exit(127);
  }
  return process;
}

// VmRSS: all pages of the process that are in memory, shared ones too. Shared pages count the same
// for all programs, because these run one at a time and use the same libraries.
double residentMegabytes(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") {
      double kilobytes = 0;
      status >> kilobytes;
      return kilobytes / 1024;
    }
  }
  throw std::runtime_error("no memory of process " + std::to_string(process));
}

class Run {
 public:
  explicit Run(const std::string& command)
      : command_(command), begin_(std::chrono::steady_clock::now()), process_(start(command)) {}
  ~Run() {
    ::kill(process_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (::waitpid(process_, nullptr, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        ::kill(process_, SIGKILL);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  double untilUsable(WindowWatch& watch) {
    const auto deadline = begin_ + kPatience;
    const auto window = watch.shown(process_, deadline);
    if (!window || !watch.painted(*window, deadline) || !watch.answered(*window, deadline)) {
      throw std::runtime_error(command_ + " shows no window that answers");
    }
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin_)
        .count();
  }
  double megabytes() { return residentMegabytes(process_); }

 private:
  std::string command_;
  std::chrono::steady_clock::time_point begin_;
  pid_t process_;
};

void measure(WindowWatch& watch, Program& program, bool counts) {
  Run run(program.command);
  const double usable = run.untilUsable(watch);
  std::this_thread::sleep_for(kSettling);
  const double memory = run.megabytes();
  if (counts) {
    program.milliseconds.push_back(usable);
    program.megabytes.push_back(memory);
  }
}

bool holds(const char* what, const std::vector<Program>& programs,
           std::vector<double> Program::*values, double limit) {
  std::vector<double> others;
  for (const Program& other : programs) {
    std::printf("%-30s %-24s %9.1f\n", what, fileName(other.command).c_str(),
                median(other.*values));
    others.push_back(median(other.*values));
  }
  const double best = *std::min_element(others.begin() + 1, others.end());
  const double ratio = others.front() / best;
  const bool within = ratio <= limit;
  std::printf("%-30s %-24s %9.2f  limit %.2f%s\n\n", what, "against the best other", ratio, limit,
              within ? "" : "  EXCEEDED");
  return within;
}

struct Limits {
  double time;
  double memory;
};

bool compare(Limits limits, int rounds, std::vector<Program> programs) {
  WindowWatch watch;
  // The first round is not counted: it fills the disk cache, and programs set up a new user.
  for (int round = 0; round <= rounds; ++round) {
    for (Program& program : programs) {
      measure(watch, program, round > 0);
    }
  }
  const bool fast = holds("usable after, ms", programs, &Program::milliseconds, limits.time);
  const bool small = holds("resident, MB", programs, &Program::megabytes, limits.memory);
  return fast && small;
}

}  // namespace
}  // namespace relaybird::bench

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr, "usage: relaybird_start_bench TIME MEMORY ROUNDS PROGRAM OTHER...\n");
    return 2;
  }
  try {
    std::vector<relaybird::bench::Program> programs;
    for (int i = 4; i < argc; ++i) {
      programs.push_back({argv[i], {}, {}});
    }
    const relaybird::bench::Limits limits{std::stod(argv[1]), std::stod(argv[2])};
    return relaybird::bench::compare(limits, std::stoi(argv[3]), programs) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "relaybird_start_bench: %s\n", error.what());
    return 1;
  }
}
