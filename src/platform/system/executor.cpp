// SPDX-License-Identifier: MIT
#include "platform/system/executor.h"

#include <utility>

namespace relaybird {

ThreadExecutor::~ThreadExecutor() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    wake_.notify_all();
  }
  if (thread_.joinable()) {
    thread_.join();
  }
}

void ThreadExecutor::run(std::function<void()> job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  if (!thread_.joinable()) {
    thread_ = std::thread([this] { work(); });
  }
  wake_.notify_all();
}

void ThreadExecutor::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
    if (jobs_.empty()) {
      return;
    }
    auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    job = nullptr;
    lock.lock();
  }
}

}  // namespace relaybird
