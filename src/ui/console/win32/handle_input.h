// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/event_queue.h"
#include "ui/console/line_source.h"
#include "ui/console/win32/stream_thread.h"

namespace relaybird {

/// Reads the next piece of an input and waits for it; empty at the end, or where nothing can be
/// read any more. Called on one thread, one after the other.
using PieceReader = std::function<std::string()>;

/// Pieces of a pipe or a file as they are, those of a console in UTF-8. The caller keeps the
/// handle open.
PieceReader readerOf(HANDLE input);

/// A ByteStream whose pieces a thread reads, one piece ahead at most: nothing else can wait for
/// every kind of input. The thread starts with the first read(). A read that cannot be broken off
/// is left behind, as StreamThread::end() says.
class HandleInput : public ByteStream {
 public:
  /// `events` must outlive it.
  HandleInput(EventQueue& events, PieceReader reader);
  ~HandleInput() override;
  HandleInput(const HandleInput&) = delete;
  HandleInput& operator=(const HandleInput&) = delete;

  void read(std::function<void(std::string_view bytes)> onBytes) override;
  void pause() override;

 private:
  struct State;
  std::shared_ptr<State> state_;
  StreamThread thread_;
};

}  // namespace relaybird
