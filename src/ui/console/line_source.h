// SPDX-License-Identifier: MIT
// Where the console's commands come from: a LineSource hands them out line by line. StreamLines
// reads them from a pipe, a file or a device; terminal_lines.h has the lines that a person types.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/system/secret.h"

namespace relaybird {

/// The origin of the lines.
enum class InputKind {
  kPerson,   ///< a terminal; its end ends the program
  kScript,   ///< a pipe or file; its end ends the program after the last command
  kNothing,  ///< the null device, as under a service manager: the program runs on
};

/// Bytes that arrive by events, such as those of standard input. All calls are made on the
/// user-interface thread, whatever thread reads them.
class ByteStream {
 public:
  virtual ~ByteStream() = default;
  /// Calls `onBytes` from the loop with what arrives, some kilobytes at a time, and once with
  /// nothing when the input has ended or cannot be read any more. Until pause(), which the call may
  /// make.
  virtual void read(std::function<void(std::string_view bytes)> onBytes) = 0;
  /// No call comes from now on. What has not been read stays where it is, and its writer waits; a
  /// piece that a thread has read meanwhile is kept for the next read().
  virtual void pause() = 0;
};

struct InputLine {
  enum class Kind {
    kText,
    kUnusable,  ///< the line was skipped; `why` says why
    kEnd,       ///< the input has ended
  };
  Kind kind = Kind::kText;
  Secret text{};  ///< without its line end; any line may have a password in it
  std::string why{};
};

/// Longer lines are skipped: nobody types one, and memory stays bounded.
inline constexpr std::size_t kLongestLine = 65536;

/// The beginning of a line, up to one byte more than a line may have. It has room for that from the
/// start, because a text that grows leaves copies behind.
class LineBeginning {
 public:
  std::string_view bytes() const { return room_.bytes().substr(0, size_); }
  /// Whether all of it has found room; the rest is dropped.
  bool append(std::string_view part);
  /// Keeps the first `size` bytes, which must be there, and overwrites the others.
  void cut(std::size_t size);

 private:
  Secret room_ = Secret::ofSize(kLongestLine + 1);
  std::size_t size_ = 0;
};

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
  void endLine();

  std::deque<InputLine> lines_;
  LineBeginning current_;
  bool tooLong_ = false;
  bool ended_ = false;
};

/// Lines of a pipe, a file, a device, or a terminal without line editing. Reading pauses while
/// lines wait to be used.
class StreamLines : public LineSource {
 public:
  /// The stream must outlive it.
  explicit StreamLines(ByteStream& stream) : stream_(stream) {}
  ~StreamLines() override;
  StreamLines(const StreamLines&) = delete;
  StreamLines& operator=(const StreamLines&) = delete;

  void listen(std::function<void()> onLines) override;
  std::optional<InputLine> next() override;

 private:
  void readOrPause();
  void take(std::string_view bytes);

  ByteStream& stream_;
  std::function<void()> onLines_;
  LineSplitter lines_;
  bool ended_ = false;
  bool reading_ = false;
};

}  // namespace relaybird
