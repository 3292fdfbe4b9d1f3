// SPDX-License-Identifier: MIT
#include "platform/curl/end_watch.h"

#if __has_include(<sys/epoll.h>)
#include <sys/epoll.h>
#include <unistd.h>
#endif

namespace relaybird {

#if __has_include(<sys/epoll.h>)

// The system does not wake who waits for it when data arrives. Errors are always among the events.
EndWatch::EndWatch(int socket) : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  epoll_event end{};
  end.events = EPOLLRDHUP;
  if (epoll_ >= 0 && ::epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &end) != 0) {
    ::close(epoll_);
    epoll_ = -1;
  }
}

EndWatch::~EndWatch() {
  if (epoll_ >= 0) {
    ::close(epoll_);
  }
}

#else

EndWatch::EndWatch(int) {}
EndWatch::~EndWatch() = default;

#endif

}  // namespace relaybird
