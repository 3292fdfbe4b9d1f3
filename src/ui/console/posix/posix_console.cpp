// SPDX-License-Identifier: MIT
// The console on POSIX systems: poll() under the loop, file descriptors for input and output, and
// signals as requests. SIGTERM and SIGINT ask the program to end, and a second one of the same kind
// ends it at once; SIGHUP says that the terminal has gone or, to a service, that its settings have
// changed. Signals are watched from the beginning, so that none is lost during a slow start.
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/posix/poll_waiter.h"
#include "platform/posix/watched_signals.h"
#include "ui/console/console_system.h"
#include "ui/console/posix/descriptor_streams.h"
#include "ui/console/posix/edited_lines.h"

namespace relaybird {
namespace {

bool isNullDevice(int descriptor) {
  struct stat own {};
  struct stat null {};
  return ::fstat(descriptor, &own) == 0 && ::stat("/dev/null", &null) == 0 &&
         S_ISCHR(own.st_mode) && own.st_rdev == null.st_rdev;
}

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view{} : value;
}

int terminalColumns() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

// Without ECHO the terminal still edits the line, so a mistyped password can be corrected.
void showTyping(bool shown) {
  termios mode{};
  if (::tcgetattr(STDIN_FILENO, &mode) != 0) {
    return;
  }
  mode.c_lflag = shown ? mode.c_lflag | ECHO : mode.c_lflag & ~static_cast<tcflag_t>(ECHO);
  (void)::tcsetattr(STDIN_FILENO, TCSANOW, &mode);
}

// The C library's character functions follow the user's locale, or read UTF-8 where that locale
// knows ASCII only.
void useTerminalCharacters() {
  const char* chosen = std::setlocale(LC_CTYPE, "");
  if (chosen == nullptr || std::string_view(::nl_langinfo(CODESET)) == "ANSI_X3.4-1968") {
    std::setlocale(LC_CTYPE, "C.UTF-8");
  }
}

class PosixConsole : public ConsoleSystem {
 public:
  MainLoop& loop() override { return loop_; }

  InputKind inputKind() const override {
    if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1) {
      return InputKind::kPerson;
    }
    return isNullDevice(STDIN_FILENO) ? InputKind::kNothing : InputKind::kScript;
  }

  // By TERM and NO_COLOR (no-color.org).
  TerminalManner terminalManner() const override {
    const std::string_view terminal = variable("TERM");
    const bool able = !terminal.empty() && terminal != "dumb";
    return {able && variable("NO_COLOR").empty(), able, terminalColumns};
  }

  ByteStream& input() override { return input_; }

  // libedit moves the cursor in everything that it does.
  std::unique_ptr<TerminalLines> terminalLines(LineHelp help) override {
    const bool movesCursor = terminalManner().movesCursor;
    std::unique_ptr<TerminalLines> lines;
    if (movesCursor) {
      lines =
          makeEditedLines({loop_, *waiter_, output_, STDIN_FILENO, STDOUT_FILENO, std::move(help)});
    }
    if (!lines) {
      lines = makePlainTerminalLines({loop_, input_, output_, movesCursor, showTyping});
    }
    return lines;
  }

  TextSink& output() override { return output_; }
  void watchOutput(std::function<void()> onBroken) override { onBroken_ = std::move(onBroken); }
  void hurry() override { output_.hurry(); }

  void listen(SystemRequests requests) override {
    requests_ = std::move(requests);
    signalWatch_.reset();
    if (requests_.end) {
      signalWatch_ = waiter_->watchReadable(signals_.descriptor(), [this] { takeSignal(); });
    }
  }

 private:
  void takeSignal() {
    if (signals_.take() == SIGHUP) {
      requests_.hangUp();
    } else {
      requests_.end();
    }
  }

  std::shared_ptr<PollWaiter> waiter_ = std::make_shared<PollWaiter>();
  MainLoop loop_{waiter_};
  WatchedSignals signals_{{{SIGTERM, true}, {SIGINT, true}, {SIGHUP, false}}};
  std::function<void()> onBroken_ = [] {};
  // A waiting signal interrupts a write that waits for its reader.
  DescriptorSink output_{STDOUT_FILENO, signals_.descriptor(), [this] { onBroken_(); }};
  DescriptorStream input_{*waiter_, STDIN_FILENO};
  SystemRequests requests_;
  std::unique_ptr<PollWaiter::Watch> signalWatch_;
};

}  // namespace

std::unique_ptr<ConsoleSystem> openSystemConsole() {
  useTerminalCharacters();
  return std::make_unique<PosixConsole>();
}

}  // namespace relaybird
