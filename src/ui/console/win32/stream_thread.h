// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <thread>

namespace relaybird {

/// A thread that reads or writes a standard stream, and may wait for it for ever.
class StreamThread {
 public:
  StreamThread() = default;
  /// `work` owns what it uses: the thread may outlive everything else.
  explicit StreamThread(std::function<void()> work);
  StreamThread(StreamThread&&) = default;
  StreamThread& operator=(StreamThread&&) = default;
  ~StreamThread();

  bool started() const { return thread_.joinable(); }
  /// Waits for the end of the thread, which has been told to end by other means, and breaks off the
  /// reads and writes in which it waits. A thread that has not ended after a quarter of a second is
  /// left behind, and ends with the process. Does nothing where no thread was started.
  void end();

 private:
  std::thread thread_;
};

}  // namespace relaybird
