// SPDX-License-Identifier: MIT
// The thread reads a piece when one is wanted, and posts its delivery to the loop. The two share a
// state, so that the thread may be left behind in a read that never ends.
#include "ui/console/win32/handle_input.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kPieceSize = 16384;
// What a user types for the end of the input, at the beginning of a line.
constexpr wchar_t kControlZ = 0x1A;

bool isHighHalf(wchar_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

// Ctrl+C ends a console's read with nothing; the program is told of it elsewhere.
std::wstring readConsole(HANDLE input) {
  std::array<wchar_t, kPieceSize / 2> buffer;
  DWORD got = 0;
  while (got == 0) {
    ::SetLastError(ERROR_SUCCESS);
    if (!::ReadConsoleW(input, buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr)) {
      return {};
    }
    if (got == 0 && ::GetLastError() != ERROR_OPERATION_ABORTED) {
      return {};
    }
  }
  return {buffer.data(), got};
}

// The first half of a character may be the last unit of a piece.
std::string consolePiece(HANDLE input, std::wstring& half) {
  std::wstring text = half + readConsole(input);
  half.clear();
  if (text.starts_with(kControlZ)) {
    return {};
  }
  if (text.size() > 1 && isHighHalf(text.back())) {
    half = text.back();
    text.pop_back();
  }
  return fromWide(text);
}

std::string filePiece(HANDLE input) {
  std::string bytes(kPieceSize, '\0');
  DWORD got = 0;
  // A write of no bytes to a pipe ends a read with nothing, without being the end.
  bool more = true;
  while (got == 0 && more) {
    const bool done =
        ::ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) != 0;
    more = done && ::GetFileType(input) == FILE_TYPE_PIPE;
  }
  bytes.resize(got);
  return bytes;
}

}  // namespace

PieceReader readerOf(HANDLE input) {
  DWORD mode = 0;
  if (::GetConsoleMode(input, &mode)) {
    return [input, half = std::wstring()]() mutable { return consolePiece(input, half); };
  }
  return [input] { return filePiece(input); };
}

struct HandleInput::State : std::enable_shared_from_this<State> {
  State(EventQueue& with, PieceReader by) : events(&with), reader(std::move(by)) {}

  void work();
  void deliver();

  std::mutex mutex;
  std::condition_variable wake;
  EventQueue* events;  // null: the input is gone
  bool wanted = false;
  std::optional<std::string> piece;               // read and not yet delivered
  PieceReader reader;                             // the thread's
  std::function<void(std::string_view)> onBytes;  // the loop's
};

void HandleInput::State::work() {
  std::unique_lock lock(mutex);
  bool ended = false;
  while (!ended) {
    wake.wait(lock, [this] { return wanted || events == nullptr; });
    if (events == nullptr) {
      return;
    }
    wanted = false;
    lock.unlock();
    std::string bytes = reader();
    lock.lock();
    ended = bytes.empty();
    piece = std::move(bytes);
    if (events != nullptr) {
      events->post([weak = weak_from_this()] {
        if (const auto state = weak.lock()) {
          state->deliver();
        }
      });
    }
  }
}

// On the loop's thread.
void HandleInput::State::deliver() {
  // A copy, because the call may begin another read() or end the input.
  const auto call = onBytes;
  if (!call) {
    return;
  }
  std::string bytes;
  {
    const std::lock_guard lock(mutex);
    if (!piece) {
      return;
    }
    bytes = std::move(*piece);
    piece.reset();
  }
  if (bytes.empty()) {
    onBytes = nullptr;
  }
  call(bytes);
  if (onBytes && !bytes.empty()) {
    const std::lock_guard lock(mutex);
    wanted = !piece;
    wake.notify_one();
  }
}

HandleInput::HandleInput(EventQueue& events, PieceReader reader)
    : state_(std::make_shared<State>(events, std::move(reader))) {}

HandleInput::~HandleInput() {
  state_->onBytes = nullptr;
  {
    const std::lock_guard lock(state_->mutex);
    state_->events = nullptr;
    state_->wake.notify_one();
  }
  thread_.end();
}

void HandleInput::read(std::function<void(std::string_view bytes)> onBytes) {
  state_->onBytes = std::move(onBytes);
  const std::lock_guard lock(state_->mutex);
  if (state_->piece) {
    state_->events->post([weak = std::weak_ptr(state_)] {
      if (const auto state = weak.lock()) {
        state->deliver();
      }
    });
    return;
  }
  state_->wanted = true;
  state_->wake.notify_one();
  if (!thread_.started()) {
    thread_ = StreamThread([state = state_] { state->work(); });
  }
}

void HandleInput::pause() {
  state_->onBytes = nullptr;
}

}  // namespace relaybird
