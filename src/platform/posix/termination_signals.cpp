// SPDX-License-Identifier: MIT
#include "platform/posix/termination_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace relaybird {
namespace {

// The one thing that a signal handler can reach. -1 while nobody listens.
std::atomic<int> handlerDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not wait for a lock");

extern "C" void relaybirdOnTermination(int signal) {
  const int before = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // A full pipe holds more than enough requests to end.
  [[maybe_unused]] const auto written = ::write(handlerDescriptor.load(), &byte, 1);
  errno = before;
}

}  // namespace

TerminationSignals::TerminationSignals() {
  int ends[2];
  if (::pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::system_category(), "pipe2");
  }
  reading_ = Descriptor(ends[0]);
  writing_ = Descriptor(ends[1]);
  int nobody = -1;
  if (!handlerDescriptor.compare_exchange_strong(nobody, writing_.get())) {
    throw std::logic_error("termination signals are watched already");
  }
  struct sigaction action {};
  action.sa_handler = relaybirdOnTermination;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (Former& former : former_) {
    ::sigaction(former.signal, nullptr, &former.action);
    // Somebody who starts a program in the background or with nohup means it.
    if (former.action.sa_handler == SIG_IGN) continue;
    former.replaced = ::sigaction(former.signal, &action, nullptr) == 0;
  }
}

TerminationSignals::~TerminationSignals() {
  for (const Former& former : former_) {
    if (former.replaced) ::sigaction(former.signal, &former.action, nullptr);
  }
  handlerDescriptor = -1;
}

int TerminationSignals::take() {
  unsigned char byte = 0;
  ssize_t got;
  do {
    got = ::read(reading_.get(), &byte, 1);
  } while (got < 0 && errno == EINTR);
  return got == 1 ? byte : 0;
}

}  // namespace relaybird
