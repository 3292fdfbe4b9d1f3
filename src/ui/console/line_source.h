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
    kUnusable,  ///< the line was passed over; `text` says why
    kEnd,       ///< nothing more will come
  };
  Kind kind = Kind::kText;
  std::string text;  ///< without its line end
};

/// A longer line is passed over: nobody types one, and memory stays bounded.
inline constexpr std::size_t kLongestLine = 65536;

/// Where commands come from. Everything on the user-interface thread.
class LineSource {
 public:
  virtual ~LineSource() = default;
  /// Calls `onLines` from the loop whenever next() has something. Lines are read ahead of their
  /// use only as far as one reading brings them. Called once.
  virtual void listen(std::function<void()> onLines) = 0;
  /// The next line; none while there is none. After the end come no more.
  virtual std::optional<InputLine> next() = 0;
  /// What stands before the line that the user types; `question` where it is the answer to one,
  /// which no history remembers. Nothing where there is no user.
  virtual void setPrompt(const std::string& /*prompt*/, bool /*question*/) {}
};

/// Makes lines of bytes as they come. A line ends in LF or CR LF, the last one also at the end of
/// the input; one that is too long, or that whyNoCommand() refuses, becomes one unusable line.
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
