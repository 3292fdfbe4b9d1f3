// SPDX-License-Identifier: MIT
// The console's bytes, in and out, as file descriptors.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/posix/poll_waiter.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"

namespace relaybird {

/// Reads when data is available and never blocks; the descriptor's flags, which other processes may
/// share, are not changed.
class DescriptorStream : public ByteStream {
 public:
  /// The caller keeps the descriptor. All must outlive it.
  DescriptorStream(PollWaiter& waiter, int descriptor) : waiter_(waiter), descriptor_(descriptor) {}

  void read(std::function<void(std::string_view bytes)> onBytes) override;
  void pause() override { watch_.reset(); }

 private:
  void readOnce();

  PollWaiter& waiter_;
  int descriptor_;
  std::function<void(std::string_view)> onBytes_;
  std::unique_ptr<PollWaiter::Watch> watch_;
};

/// Writes to a file descriptor, which the caller keeps. Waits for a slow reader, and the program
/// waits with it, until `interrupt`, another descriptor, becomes readable: output that cannot be
/// written at once is dropped from then on, so that a program that is told to end can end.
class DescriptorSink : public TextSink {
 public:
  /// `onBroken` is called once, from within write(), when the reader has gone: a closed pipe, a
  /// terminal that hung up. `interrupt` may be -1 for none.
  DescriptorSink(int descriptor, int interrupt, std::function<void()> onBroken);
  /// A line that a full disk refuses is lost; later lines are tried again.
  void write(std::string_view bytes) override;
  /// From now on, drops what cannot be written at once.
  void hurry() { hurry_ = true; }

 private:
  bool mayWrite();

  int descriptor_;
  int interrupt_;
  std::function<void()> onBroken_;
  bool broken_ = false;
  bool hurry_ = false;
};

}  // namespace relaybird
