// SPDX-License-Identifier: MIT
// A library of Linux, preloaded into everything of one session of Wine: all its clocks are ahead by
// the number of nanoseconds that the file named by SHIFTED_CLOCK begins with. To write a larger
// number there lets the time pass at once for every timer and limit of that session. It has to be
// preloaded into the Wine server too, which keeps the timers.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

const volatile std::int64_t* mapped() {
  const char* const name = std::getenv("SHIFTED_CLOCK");
  const int file = name != nullptr ? open(name, O_RDONLY | O_CLOEXEC) : -1;
  if (file < 0) {
    return nullptr;
  }
  void* const memory = mmap(nullptr, sizeof(std::int64_t), PROT_READ, MAP_SHARED, file, 0);
  close(file);
  return memory == MAP_FAILED ? nullptr : static_cast<const volatile std::int64_t*>(memory);
}

std::int64_t ahead() {
  static const volatile std::int64_t* const shift = mapped();
  return shift == nullptr ? 0 : *shift;
}

bool isWorkTime(clockid_t clock) {
  return clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID || clock < 0;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (syscall(SYS_clock_gettime, clock, time) != 0) {
    return -1;
  }
  if (!isWorkTime(clock)) {
    const std::int64_t nanoseconds = time->tv_nsec + ahead();
    time->tv_sec += nanoseconds / kSecond;
    time->tv_nsec = nanoseconds % kSecond;
  }
  return 0;
}

int gettimeofday(timeval* time, void*) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  *time = {now.tv_sec, now.tv_nsec / 1000};
  return 0;
}

time_t time(time_t* out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (out != nullptr) {
    *out = now.tv_sec;
  }
  return now.tv_sec;
}

}  // extern "C"
