// SPDX-License-Identifier: MIT
// Where the console's commands come from: a LineSource hands them out line by line. StreamLines
// reads them from a pipe, a file or a device; terminal_lines.h has the lines that a person types.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/main_loop.h"

namespace relaybird {

struct InputLine {
  enum class Kind {
    kText,
    kUnusable,  ///< the line was skipped; `text` says why
    kEnd,       ///< the input has ended
  };
  Kind kind = Kind::kText;
  std::string text;  ///< without its line end
};

/// Longer lines are skipped: nobody types one, and memory stays bounded.
inline constexpr std::size_t kLongestLine = 65536;

/// A source of commands. All calls are made on the user-interface thread.
class LineSource {
 public:
  virtual ~LineSource() = default;
  /// Calls `onLines` from the loop whenever next() has a line. Reads ahead no further than one
  /// read() brings. Called once.
  virtual void listen(std::function<void()> onLines) = 0;
  /// The next line; empty while there is none, and after the end of the input.
  virtual std::optional<InputLine> next() = 0;
  /// What the next line is.
  enum class Typing {
    kCommand,
    kAnswer,    ///< the history does not keep it
    kPassword,  ///< nor does the terminal show it
  };
  /// Sets the prompt. Does nothing for sources without a user.
  virtual void setPrompt(const std::string& /*prompt*/, Typing /*typing*/) {}
};

/// Splits bytes into lines as they arrive. A line ends in LF or CR LF, the last one also at the end
/// of the input. A line that is too long, or that whyNoCommand() refuses, becomes an unusable line.
class LineSplitter {
 public:
  void feed(std::string_view bytes);
  /// The input has ended.
  void end();

  bool empty() const { return lines_.empty(); }
  InputLine take();

 private:
  void append(std::string_view part);
  void endLine();

  std::deque<InputLine> lines_;
  std::string current_;
  bool tooLong_ = false;
  bool ended_ = false;
};

/// Lines of a pipe, a file, a device, or a terminal without line editing. Reads when data is
/// available and never blocks; the descriptor's flags, which other processes may share, are not
/// changed. Reading pauses while lines wait to be used.
class StreamLines : public LineSource {
 public:
  /// The caller keeps the descriptor. All must outlive it.
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
