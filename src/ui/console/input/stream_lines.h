// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/posix/main_loop.h"
#include "ui/console/input/line_source.h"
#include "ui/console/input/line_splitter.h"

namespace relaybird {

/// Lines of a pipe, a file, a device, or a terminal without line editing. Reads when there is
/// something to read and never waits; the descriptor's own modes, which other processes may share,
/// are left alone. Reading stops while lines wait to be used.
class StreamLines : public LineSource {
 public:
  /// The descriptor stays the caller's. All must outlive it.
  StreamLines(MainLoop& loop, int descriptor);

  void listen(std::function<void()> onLines) override;
  std::optional<InputLine> next() override;

 private:
  void watch();
  void read();

  MainLoop& loop_;
  int descriptor_;
  std::function<void()> onLines_;
  LineSplitter lines_;
  bool ended_ = false;
  std::unique_ptr<MainLoop::Watch> watch_;
};

}  // namespace relaybird
