// SPDX-License-Identifier: MIT
#include "platform/posix/watched_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace relaybird {
namespace {

// The only data that a signal handler can reach: by signal number, the descriptor to write to plus
// one. 0 while the signal is not watched.
std::array<std::atomic<int>, NSIG> listeners{};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not wait for a lock");

extern "C" void relaybirdOnSignal(int signal) {
  const int before = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // If the pipe is full, enough signals wait in it already.
  const int descriptor = listeners[static_cast<std::size_t>(signal)].load() - 1;
  [[maybe_unused]] const auto written = ::write(descriptor, &byte, 1);
  errno = before;
}

}  // namespace

WatchedSignals::WatchedSignals(const std::vector<WatchedSignal>& signals) {
  int ends[2];
  // Non-blocking, because a handler must never wait.
  if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::system_category(), "pipe2");
  }
  reading_ = Descriptor(ends[0]);
  writing_ = Descriptor(ends[1]);
  try {
    for (const WatchedSignal& signal : signals) {
      watch(signal);
    }
  } catch (...) {
    restore();
    throw;
  }
}

void WatchedSignals::watch(const WatchedSignal& signal) {
  int nobody = 0;
  auto& listener = listeners.at(static_cast<std::size_t>(signal.number));
  // One signal has one listener, since the handler finds it by the number alone.
  if (!listener.compare_exchange_strong(nobody, writing_.get() + 1)) {
    throw std::logic_error("signal " + std::to_string(signal.number) + " is watched already");
  }
  Former& former = former_.emplace_back(Former{signal.number, {}, false});
  ::sigaction(signal.number, nullptr, &former.action);
  // A program started in the background or with nohup must go on ignoring the signal.
  if (former.action.sa_handler == SIG_IGN) {
    return;
  }
  struct sigaction action {};
  action.sa_handler = relaybirdOnSignal;
  // Interrupted system calls go on, as if there had been no signal.
  action.sa_flags = SA_RESTART;
  // The second signal of the kind has its default effect then: an impatient user can end a program
  // that does not react.
  if (signal.once) {
    action.sa_flags |= static_cast<int>(SA_RESETHAND);
  }
  sigemptyset(&action.sa_mask);
  former.replaced = ::sigaction(signal.number, &action, nullptr) == 0;
}

void WatchedSignals::restore() {
  for (const Former& former : former_) {
    if (former.replaced) {
      ::sigaction(former.signal, &former.action, nullptr);
    }
    listeners[static_cast<std::size_t>(former.signal)] = 0;
  }
}

WatchedSignals::~WatchedSignals() {
  restore();
}

int WatchedSignals::take() {
  unsigned char byte = 0;
  ssize_t got;
  do {
    got = ::read(reading_.get(), &byte, 1);
  } while (got < 0 && errno == EINTR);
  return got == 1 ? byte : 0;
}

}  // namespace relaybird
