// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace relaybird {

/// Where work is done that would keep the user-interface thread waiting.
class Executor {
 public:
  virtual ~Executor() = default;
  /// Does the job later on another thread, or at once; one job at a time, in the order of the
  /// calls.
  virtual void run(std::function<void()> job) = 0;
};

/// One thread, started by the first job. Destroying it does the jobs that wait and ends the thread.
class ThreadExecutor : public Executor {
 public:
  ~ThreadExecutor() override;
  void run(std::function<void()> job) override;

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> jobs_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace relaybird
