// SPDX-License-Identifier: MIT
#include "platform/system/executor.h"

#include <utility>

namespace relaybird {

// The thread ends after the jobs that wait already, so each job given to run() is done.
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
  // Started with the first job: most programs never have one.
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
    // Unlocked, as a job may call run(). It is destroyed here too, since its destructor may do the
    // same.
    lock.unlock();
    job();
    job = nullptr;
    lock.lock();
  }
}

}  // namespace relaybird
