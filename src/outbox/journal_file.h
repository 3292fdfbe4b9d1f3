// SPDX-License-Identifier: MIT
// The file of a journal: lines that are appended to it, and when they are on the disk.
//
// The owner has all that the file says in memory too. After a failure to write, the next change
// writes the file anew from there, because a line may be cut short and the system may have dropped
// data that it reported as failed. So one success makes good all that failed before it. The file is
// written anew, in the same atomic way (replaceFile), when it has grown far beyond what it said
// when it was last written so.
//
// One thread at a time, as the owner sees to by a mutex, which is released during the waits for the
// disk. So other threads can write meanwhile, and one wait serves all that have written before it
// began.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

class JournalFile {
 public:
  /// All that the file shall say.
  struct Content {
    std::string lines;
    std::size_t texts = 0;  ///< how many of these bytes are lines with messages
  };

  /// `content` is asked for when the file is written anew, and has all lines whose appending was
  /// tried. `held`, if there is one, is held by the caller of every function; those that wait for
  /// the disk release it meanwhile, so other calls can come in between. What is referred to must
  /// outlive this object.
  JournalFile(FileSystem& files, std::string path, std::function<Content()> content,
              std::mutex* held);
  /// Best-effort sync of what was written without one.
  ~JournalFile();
  JournalFile(const JournalFile&) = delete;
  JournalFile& operator=(const JournalFile&) = delete;

  /// Told each whole line without its LF. Returns whether it has a message.
  using Reader = std::function<bool(std::string_view line)>;
  /// Reads the file. A missing one is empty, and the first line makes it, in a folder that must
  /// exist. The end of the file that has no LF is left out. Called once, before all others.
  Result<void> read(const Reader& reader);

  /// Writes lines without waiting for the disk: the end of this program cannot undo them, but a
  /// power cut can. On failure they are written with the next change.
  Result<void> append(std::string_view lines);
  /// The same, and returns once they are on disk. On failure they may be there.
  Result<void> appendDurably(std::string_view lines);
  /// The same for a line with a message. On failure `certain` tells that the line is not in the
  /// file and will not be, unless `content` has it the next time.
  Result<void> appendText(std::string_view line, bool& certain);
  /// How much of the file are lines with messages, in bytes.
  std::size_t textSize() const { return textSize_; }
  /// Writes the file anew, durably.
  Result<void> rewrite();

  /// Returns once all lines are on disk, also those that could not be written so far. Does nothing
  /// if they are.
  Result<void> sync();
  /// The same for the lines up to that number of writes().
  Result<void> syncUpTo(std::uint64_t write);
  std::uint64_t writes() const { return written_; }
  /// Waits until another thread has waited for the disk for the lines up to that number, at most
  /// for that time. False if none has. Only with a mutex.
  bool leaveToOthers(std::uint64_t write, std::chrono::milliseconds patience);

 private:
  bool mayAppend() const;
  Result<void> noteWritten(Result<void> written);
  Result<void> write(std::string_view lines);
  Result<void> replace();
  Result<void> makeDurable();
  void syncFile();

  FileSystem& files_;
  std::string path_;
  std::function<Content()> content_;
  std::mutex* held_;
  std::shared_ptr<OutputFile> file_;  ///< kept open between lines
  bool intact_ = true;                ///< the file has all lines
  bool failed_ = false;               ///< the last lines could not be written
  std::size_t size_ = 0;              ///< bytes of the file
  std::size_t compactedSize_ = 0;     ///< bytes after it was last written anew, without messages
  std::size_t textSize_ = 0;
  std::size_t compactedTextSize_ = 0;

  // Writes are counted from the start.
  std::uint64_t written_ = 0;
  std::uint64_t durable_ = 0;  ///< all up to this one are on disk
  std::uint64_t lost_ = 0;     ///< those up to this one that are not durable failed
  Error lossReason_;           ///< why
  bool syncing_ = false;       ///< a thread waits for the disk
  std::condition_variable_any synced_;
};

}  // namespace relaybird
