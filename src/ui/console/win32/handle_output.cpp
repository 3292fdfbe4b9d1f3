// SPDX-License-Identifier: MIT
// A write to a pipe cannot be given up once it waits for the reader, and the console has no way to
// ask whether it would wait. So a thread makes it, and the program decides how long to wait for the
// thread.
#include "ui/console/win32/handle_output.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/win32/serving_sleeper.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

// A console takes no more units in one call on older releases.
constexpr std::size_t kConsolePiece = 8192;
// "At once", for a thread that has to be woken first.
constexpr DWORD kMoment = 200;

bool readerHasGone(DWORD code) {
  return code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA || code == ERROR_PIPE_NOT_CONNECTED ||
         code == ERROR_INVALID_HANDLE;
}

WriteOutcome failed() {
  return readerHasGone(::GetLastError()) ? WriteOutcome::kBroken : WriteOutcome::kLost;
}

WriteOutcome writeFile(HANDLE output, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto most = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), MAXLONG));
    if (!::WriteFile(output, bytes.data(), most, &written, nullptr)) {
      return failed();
    }
    bytes.remove_prefix(written);
  }
  return WriteOutcome::kWritten;
}

WriteOutcome writeConsole(HANDLE output, std::string_view bytes) {
  const std::wstring text = toWide(bytes);
  for (std::size_t at = 0; at < text.size();) {
    DWORD written = 0;
    const auto most = static_cast<DWORD>(std::min(text.size() - at, kConsolePiece));
    if (!::WriteConsoleW(output, text.data() + at, most, &written, nullptr) || written == 0) {
      return failed();
    }
    at += written;
  }
  return WriteOutcome::kWritten;
}

}  // namespace

PieceWriter writerOf(HANDLE output) {
  if (::GetFileType(output) == FILE_TYPE_UNKNOWN) {
    return [](std::string_view) { return WriteOutcome::kLost; };
  }
  DWORD mode = 0;
  if (::GetConsoleMode(output, &mode)) {
    return [output](std::string_view bytes) { return writeConsole(output, bytes); };
  }
  return [output](std::string_view bytes) { return writeFile(output, bytes); };
}

struct HandleOutput::State {
  explicit State(PieceWriter by) : writer(std::move(by)) {}

  void work();

  std::mutex mutex;
  std::condition_variable wake;
  std::optional<std::string> piece;  // wanted or being written
  bool closed = false;
  WriteOutcome outcome = WriteOutcome::kWritten;
  PieceWriter writer;  // the thread's
  // Set while nothing is being written.
  const ObjectHandle idle{::CreateEventW(nullptr, TRUE, TRUE, nullptr)};
};

void HandleOutput::State::work() {
  std::unique_lock lock(mutex);
  for (;;) {
    wake.wait(lock, [this] { return piece || closed; });
    if (!piece) {
      return;
    }
    const std::string bytes = *piece;
    lock.unlock();
    const WriteOutcome how = writer(bytes);
    lock.lock();
    outcome = how;
    piece.reset();
    ::SetEvent(idle.get());
  }
}

HandleOutput::HandleOutput(PieceWriter writer, HANDLE interrupt, std::function<void()> onBroken)
    : state_(std::make_shared<State>(std::move(writer))),
      thread_([state = state_] { state->work(); }),
      interrupt_(interrupt),
      onBroken_(std::move(onBroken)) {}

HandleOutput::~HandleOutput() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->closed = true;
    state_->wake.notify_one();
  }
  thread_.end();
}

// Whether the thread has nothing to write any more. Calls are served meanwhile: an application
// whose event is not taken would stand still too, as long as the user has text selected in the
// console.
bool HandleOutput::waitForWriter() {
  HANDLE both[] = {state_->idle.get(), interrupt_};
  if (!hurry_ && waitServingCallsForAny(both) == 0) {
    return true;
  }
  return ::WaitForSingleObject(state_->idle.get(), kMoment) == WAIT_OBJECT_0;
}

void HandleOutput::write(std::string_view bytes) {
  // A piece from before the program was told to end may still wait for its reader.
  if (bytes.empty() || broken_ || !waitForWriter()) {
    return;
  }
  {
    const std::lock_guard lock(state_->mutex);
    state_->piece = std::string(bytes);
    ::ResetEvent(state_->idle.get());
    state_->wake.notify_one();
  }
  if (!waitForWriter()) {
    return;
  }
  const std::unique_lock lock(state_->mutex);
  // What a call has written that was served meanwhile may have told of it.
  if (state_->outcome == WriteOutcome::kBroken && !std::exchange(broken_, true)) {
    onBroken_();
  }
}

}  // namespace relaybird
