// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <string_view>

#include "platform/win32/object_handle.h"
#include "ui/console/console_output.h"
#include "ui/console/win32/stream_thread.h"

namespace relaybird {

/// How a piece was written.
enum class WriteOutcome {
  kWritten,
  kLost,    ///< a full disk, for example; later pieces are tried again
  kBroken,  ///< the reader has gone
};
/// Writes all of a piece and waits for it. Called on one thread, one after the other.
using PieceWriter = std::function<WriteOutcome(std::string_view bytes)>;

/// UTF-8 as it is into a pipe or a file, as text onto a console. The caller keeps the handle open.
/// Null, or what is no open stream, is the output of a program that was started without one: its
/// text is lost, and there is no reader who could go.
PieceWriter writerOf(HANDLE output);

/// A TextSink whose pieces a thread writes. write() waits for it, so that a slow reader holds the
/// program up, apart from the calls that others make to its objects, until `interrupt` is set: what
/// cannot be written soon is dropped from then on, so that a program that is told to end can end. A
/// write that still waits when the sink goes is broken off, or left behind, as StreamThread::end()
/// says.
class HandleOutput : public TextSink {
 public:
  /// `onBroken` is called once, from within write(), when the reader has gone. `interrupt` is an
  /// event that stays set; it must outlive the sink.
  HandleOutput(PieceWriter writer, HANDLE interrupt, std::function<void()> onBroken);
  ~HandleOutput() override;
  HandleOutput(const HandleOutput&) = delete;
  HandleOutput& operator=(const HandleOutput&) = delete;

  void write(std::string_view bytes) override;
  /// As if `interrupt` were set.
  void hurry() { hurry_ = true; }

 private:
  struct State;

  bool waitForWriter();

  std::shared_ptr<State> state_;
  StreamThread thread_;
  HANDLE interrupt_;
  std::function<void()> onBroken_;
  bool broken_ = false;
  bool hurry_ = false;
};

}  // namespace relaybird
