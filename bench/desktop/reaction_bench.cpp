// SPDX-License-Identifier: MIT
// How long a window does not react: asks a program again and again whether it is alive, as a window
// manager does, until standard input ends. The program answers in the turn of its event loop, so
// what it takes for that is what a click would wait.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "window_watch.h"

namespace relaybird::bench {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{10000};
constexpr milliseconds kBetweenQuestions{5};

// Whether somebody has closed the other end, after the pause between two questions.
bool inputEnded() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return ::poll(&input, 1, static_cast<int>(kBetweenQuestions.count())) > 0;
}

void measure(long process) {
  WindowWatch watch;
  const auto window = watch.shown(process, Clock::now() + kPatience);
  if (!window) {
    throw std::runtime_error("the program shows no window");
  }
  int answers = 0;
  Clock::duration longest{};
  std::puts("watching");
  std::fflush(stdout);
  while (!inputEnded()) {
    const auto asked = Clock::now();
    if (!watch.answered(*window, asked + kPatience)) {
      throw std::runtime_error("the program does not answer");
    }
    longest = std::max(longest, Clock::now() - asked);
    ++answers;
  }
  std::printf("%d %.4f\n", answers, std::chrono::duration<double>(longest).count());
}

}  // namespace
}  // namespace relaybird::bench

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: relaybird_reaction_bench PROCESS\n");
    return 2;
  }
  try {
    relaybird::bench::measure(std::stol(argv[1]));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "relaybird_reaction_bench: %s\n", error.what());
    return 1;
  }
}
