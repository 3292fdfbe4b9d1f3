// SPDX-License-Identifier: MIT
// A library of Linux, preloaded into one program that Wine runs: the clocks by which it measures
// times stand still while there is a file of the name STILL_CLOCK. A pause of the program lasts
// then until a test has seen what it wants to see. Timers and limits that Wine's server keeps, and
// the time of day, go on.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

bool standsStill() {
  static const char* const name = std::getenv("STILL_CLOCK");
  return name != nullptr && access(name, F_OK) == 0;
}

// When the clock was found to stand still; 0 while it goes.
std::atomic<std::int64_t>* stopOf(clockid_t clock) {
  static std::atomic<std::int64_t> monotonic{0};
  static std::atomic<std::int64_t> raw{0};
  static std::atomic<std::int64_t> coarse{0};
  switch (clock) {
    case CLOCK_MONOTONIC:
      return &monotonic;
    case CLOCK_MONOTONIC_RAW:
      return &raw;
    case CLOCK_MONOTONIC_COARSE:
      return &coarse;
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (syscall(SYS_clock_gettime, clock, time) != 0) {
    return -1;
  }
  std::atomic<std::int64_t>* const stop = stopOf(clock);
  if (stop == nullptr) {
    return 0;
  }
  if (!standsStill()) {
    *stop = 0;
    return 0;
  }
  const std::int64_t now = time->tv_sec * kSecond + time->tv_nsec;
  std::int64_t stopped = 0;
  if (!stop->compare_exchange_strong(stopped, now)) {
    *time = {stopped / kSecond, stopped % kSecond};
  }
  return 0;
}
