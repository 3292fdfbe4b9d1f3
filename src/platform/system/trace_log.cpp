// SPDX-License-Identifier: MIT
#include "platform/system/trace_log.h"

#include <algorithm>
#include <utility>

namespace relaybird {

TraceFile::TraceFile(FileSystem& files, const Clock& clock, std::string traceFile,
                     std::string markerFile, PlainTextForm form,
                     std::function<void(const Error&)> onLost)
    : files_(files),
      clock_(clock),
      traceFile_(std::move(traceFile)),
      markerFile_(std::move(markerFile)),
      form_(std::move(form)),
      onLost_(std::move(onLost)) {}

bool TraceFile::switchedOn() {
  const auto marker = files_.inspect(markerFile_);
  return marker && marker->type != FileType::kFolder;
}

Result<void> TraceFile::write(const std::string& line) {
  auto file = files_.append(traceFile_);
  if (!file) {
    return file.error();
  }
  const auto written = (*file)->write(line);
  const auto closed = (*file)->close();
  return written ? closed : written;
}

void TraceFile::trace(const std::string& text) {
  try {
    if (!switchedOn()) {
      return;
    }
    std::string line = clock_.toText(clock_.now()) + "----->" + text;
    // Texts carry subjects that strangers wrote: a line break in one must not start a new line.
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    line += form_.lineEnd;
    const auto written = write(form_.encode ? form_.encode(line) : line);
    if (!written && onLost_) {
      std::exchange(onLost_, nullptr)(written.error());
    }
  } catch (...) {
    // Tracing is for diagnosis only: a failure in it must not disturb the caller's work.
  }
}

}  // namespace relaybird
