// SPDX-License-Identifier: MIT
// The console of Windows: threads that read and write the standard streams, the events of the
// console window (Ctrl+C, its close button), which the system brings on a thread of its own, and
// the end of the session, of which only a window is told.
#include <windows.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/win32/message_waiter.h"
#include "platform/win32/object_handle.h"
#include "platform/win32/session_end_window.h"
#include "ui/console/console_system.h"
#include "ui/console/win32/handle_input.h"
#include "ui/console/win32/handle_output.h"

namespace relaybird {
namespace {

bool isConsole(HANDLE stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(stream, &mode) != 0;
}

// Devices that are no console: the null device, which service managers hand over; or no stream at
// all, as of a program that was started without a console.
bool isNothing(HANDLE stream) {
  const DWORD kind = ::GetFileType(stream);
  return kind == FILE_TYPE_UNKNOWN || (kind == FILE_TYPE_CHAR && !isConsole(stream));
}

ObjectHandle newEvent() {
  ObjectHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "CreateEvent");
  }
  return event;
}

// The events of the console window. The second Ctrl+C ends a program that does not react, after
// what the shell needs of the console was put back. The system ends the process as soon as the
// handler of the other events returns, or after a few seconds, so that handler waits for the
// program to end by itself.
class ConsoleEvents {
 public:
  // `putBack` is called on another thread, right before the process ends.
  ConsoleEvents(EventQueue& loop, std::function<void()> putBack)
      : loop_(loop), asked_(newEvent()), putBack_(std::move(putBack)) {
    const std::lock_guard lock(mutex_);
    current_ = this;
    ::SetConsoleCtrlHandler(take, TRUE);
  }
  ~ConsoleEvents() {
    ::SetConsoleCtrlHandler(take, FALSE);
    const std::lock_guard lock(mutex_);
    current_ = nullptr;
  }
  ConsoleEvents(const ConsoleEvents&) = delete;
  ConsoleEvents& operator=(const ConsoleEvents&) = delete;

  // Set since the program was asked to end.
  HANDLE asked() const { return asked_.get(); }

  // On any thread.
  void ask() {
    ::SetEvent(asked_.get());
    post();
  }

  void listen(std::function<void()> onEnd) {
    onEnd_ = std::move(onEnd);
    if (onEnd_ && ::WaitForSingleObject(asked_.get(), 0) == WAIT_OBJECT_0) {
      post();
    }
  }

 private:
  static BOOL WINAPI take(DWORD event) {
    {
      const std::lock_guard lock(mutex_);
      const bool again =
          current_ == nullptr || ::WaitForSingleObject(current_->asked_.get(), 0) == WAIT_OBJECT_0;
      if (again && (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT)) {
        if (current_ != nullptr) {
          current_->putBack_();
        }
        return FALSE;
      }
      if (!again) {
        current_->ask();
      }
    }
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
      ::Sleep(INFINITE);
    }
    return TRUE;
  }

  // Only the loop's thread may ask whether somebody listens.
  void post() {
    loop_.post([this] {
      if (onEnd_) {
        onEnd_();
      }
    });
  }

  // The handler has no other data.
  static inline std::mutex mutex_;
  static inline ConsoleEvents* current_ = nullptr;

  EventQueue& loop_;
  ObjectHandle asked_;
  std::function<void()> putBack_;
  std::function<void()> onEnd_;
};

// A console's mode while the program runs; the former one is for the shell afterwards.
class ConsoleMode {
 public:
  explicit ConsoleMode(HANDLE stream) : stream_(stream) {
    known_ = ::GetConsoleMode(stream, &former_) != 0;
  }
  ~ConsoleMode() { putBack(); }
  ConsoleMode(const ConsoleMode&) = delete;
  ConsoleMode& operator=(const ConsoleMode&) = delete;

  bool change(DWORD add, DWORD remove) {
    return known_ && ::SetConsoleMode(stream_, (former_ | add) & ~remove) != 0;
  }
  void putBack() const {
    if (known_) {
      ::SetConsoleMode(stream_, former_);
    }
  }

 private:
  HANDLE stream_;
  DWORD former_ = 0;
  bool known_ = false;
};

// In a console that selects text by a click (QuickEdit), one click would hold up all that is
// written to it, and the program with that, until a key is pressed. The switch is the input's,
// which the program may have from elsewhere.
class NoSelectionByClick {
 public:
  explicit NoSelectionByClick(HANDLE output)
      : keyboard_(keyboardOf(output)), mode_(keyboard_.get()) {
    mode_.change(ENABLE_EXTENDED_FLAGS, ENABLE_QUICK_EDIT_MODE);
  }
  void putBack() const { mode_.putBack(); }

 private:
  // Null where the output is no console.
  static ObjectHandle keyboardOf(HANDLE output) {
    const HANDLE keyboard =
        isConsole(output)
            ? ::CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr)
            : INVALID_HANDLE_VALUE;
    return ObjectHandle(keyboard == INVALID_HANDLE_VALUE ? nullptr : keyboard);
  }

  ObjectHandle keyboard_;
  ConsoleMode mode_;
};

// What other parts of the program write to the console, such as the reason why it cannot start, is
// UTF-8 as well.
class ConsoleCodePage {
 public:
  ConsoleCodePage() : former_(::GetConsoleOutputCP()) { ::SetConsoleOutputCP(CP_UTF8); }
  ~ConsoleCodePage() { putBack(); }
  ConsoleCodePage(const ConsoleCodePage&) = delete;
  ConsoleCodePage& operator=(const ConsoleCodePage&) = delete;

  void putBack() const {
    if (former_ != 0) {
      ::SetConsoleOutputCP(former_);
    }
  }

 private:
  UINT former_;
};

bool isSet(const wchar_t* variable) {
  return ::GetEnvironmentVariableW(variable, nullptr, 0) > 1;
}

class Win32Console : public ConsoleSystem {
 public:
  MainLoop& loop() override { return loop_; }

  InputKind inputKind() const override {
    if (isConsole(inputHandle_) && isConsole(outputHandle_)) {
      return InputKind::kPerson;
    }
    return isNothing(inputHandle_) ? InputKind::kNothing : InputKind::kScript;
  }

  // Consoles before Windows 10 do not know the sequences. NO_COLOR: no-color.org.
  TerminalManner terminalManner() const override {
    return {movesCursor_ && !isSet(L"NO_COLOR"), movesCursor_, [this] { return columns(); }};
  }

  ByteStream& input() override { return input_; }

  // The console itself edits the line, and keeps a history of its own.
  std::unique_ptr<TerminalLines> terminalLines(LineHelp) override {
    return makePlainTerminalLines({loop_, input_, output_, movesCursor_, [this](bool shown) {
                                     inputMode_.change(shown ? ENABLE_ECHO_INPUT : 0,
                                                       shown ? 0 : ENABLE_ECHO_INPUT);
                                   }});
  }

  TextSink& output() override { return output_; }
  void watchOutput(std::function<void()> onBroken) override { onBroken_ = std::move(onBroken); }
  void hurry() override { output_.hurry(); }
  void listen(SystemRequests requests) override { events_.listen(std::move(requests.end)); }

 private:
  // In the order of the destructors, as each mode was found under the one before.
  void putBack() const {
    outputMode_.putBack();
    inputMode_.putBack();
    noSelection_.putBack();
    codePage_.putBack();
  }

  int columns() const {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const bool known = ::GetConsoleScreenBufferInfo(outputHandle_, &info) != 0;
    const int width = info.srWindow.Right - info.srWindow.Left + 1;
    return known && width > 1 ? width : 80;
  }

  const HANDLE inputHandle_ = ::GetStdHandle(STD_INPUT_HANDLE);
  const HANDLE outputHandle_ = ::GetStdHandle(STD_OUTPUT_HANDLE);
  ConsoleCodePage codePage_;
  // Before the mode below, which keeps to what it finds.
  const NoSelectionByClick noSelection_{outputHandle_};
  ConsoleMode inputMode_{inputHandle_};
  ConsoleMode outputMode_{outputHandle_};
  const bool movesCursor_ =
      outputMode_.change(ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING, 0);
  MainLoop loop_{std::make_shared<MessageWaiter>()};
  ConsoleEvents events_{loop_, [this] { putBack(); }};
  SessionEndWindow sessionEnd_{[this] { events_.ask(); },
                               "A check of the inbox is brought to its end."};
  std::function<void()> onBroken_ = [] {};
  HandleOutput output_{writerOf(outputHandle_), events_.asked(), [this] { onBroken_(); }};
  HandleInput input_{loop_, readerOf(inputHandle_)};
};

}  // namespace

std::unique_ptr<ConsoleSystem> openSystemConsole() {
  return std::make_unique<Win32Console>();
}

}  // namespace relaybird
