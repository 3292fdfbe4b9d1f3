// SPDX-License-Identifier: MIT
// modDb: the diagnostic trace, and the file that it is written to.
#pragma once

#include <functional>
#include <string>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace relaybird {

/// The diagnostic trace: shows what the program did on a user's machine. Never fails towards its
/// caller.
class TraceLog {
 public:
  virtual ~TraceLog() = default;
  virtual void trace(const std::string& text) = 0;
};

/// What the user's programs expect of plain text files.
struct PlainTextForm {
  std::string lineEnd = "\n";
  std::function<std::string(const std::string&)> encode;  ///< from UTF-8; null: it stays that
};

/// Writes a line per trace call while a marker file exists. The file is opened and closed for every
/// line, so that it is complete even when the program stops abruptly. The references must outlive
/// it.
class TraceFile : public TraceLog {
 public:
  /// `onLost` is told, from within trace(), why the first line that cannot be written is lost.
  /// Nobody is told of later ones: a user who may not write the file would be told at each step.
  TraceFile(FileSystem& files, const Clock& clock, std::string traceFile, std::string markerFile,
            PlainTextForm form = {}, std::function<void(const Error&)> onLost = nullptr);

  /// Whether the marker file exists, whatever its content. Looked up at every call.
  bool switchedOn();
  /// Appends date and time, "----->" and the text as one line; line breaks within the text become
  /// blanks. On failure the line is lost.
  void trace(const std::string& text) override;

 private:
  Result<void> write(const std::string& line);

  FileSystem& files_;
  const Clock& clock_;
  std::string traceFile_;
  std::string markerFile_;
  PlainTextForm form_;
  std::function<void(const Error&)> onLost_;  // null once it has been told
};

}  // namespace relaybird
