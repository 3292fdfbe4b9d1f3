// SPDX-License-Identifier: MIT
#include "ui/console/win32/stream_thread.h"

#include <windows.h>

#include <pthread.h>

#include <utility>

namespace relaybird {
namespace {

constexpr DWORD kLook = 10;  // milliseconds
constexpr int kLooks = 25;

// The thread may be on its way into the next call of the system, so that one request is not enough.
bool endsAfterCancelling(HANDLE thread) {
  for (int look = 0; look < kLooks; ++look) {
    ::CancelSynchronousIo(thread);
    if (::WaitForSingleObject(thread, kLook) == WAIT_OBJECT_0) {
      return true;
    }
  }
  return false;
}

}  // namespace

StreamThread::StreamThread(std::function<void()> work) : thread_(std::move(work)) {}

StreamThread::~StreamThread() {
  end();
}

// A thread that ends while the process ends would use what is taken down meanwhile.
void StreamThread::end() {
  if (!thread_.joinable()) {
    return;
  }
  const auto handle = static_cast<HANDLE>(::pthread_gethandle(thread_.native_handle()));
  if (endsAfterCancelling(handle)) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

}  // namespace relaybird
