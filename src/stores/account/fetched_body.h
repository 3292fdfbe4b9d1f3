// SPDX-License-Identifier: MIT
// The bytes of a message that were fetched from a server: in memory, or in a file if they are many.
//
// Messages are collected under the lock of the session, which the user-interface thread takes too,
// and no disk is touched there. What is to be done on the disk is queued in the BodySpool; the
// session's thread takes it out of the queue, does it without the lock, and tells the outcome under
// the lock again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// A message with more bytes goes to a file.
inline constexpr std::size_t kBodyInMemory = std::size_t{2} << 20;

/// A file for a message that is too large for memory. Its first two members are used by the thread
/// that works on the disk alone, the others under the lock.
struct SpoolFile {
  std::unique_ptr<OutputFile> output;
  std::string path;  ///< empty where there is no file of that name any more

  std::unique_ptr<InputFile> input;  ///< once it is complete
  std::optional<Error> failure;
};

/// Work on the disk for messages that are too large for memory.
class SpoolWork {
 public:
  bool empty() const { return steps_.empty() && abandoned_.empty(); }

 private:
  friend class BodySpool;
  struct Step {
    std::shared_ptr<SpoolFile> file;
    std::string bytes;
    bool last = false;  // the file is complete with these
    std::unique_ptr<InputFile> input;
    std::optional<Error> failure;
  };

  std::vector<Step> steps_;
  std::vector<std::shared_ptr<SpoolFile>> abandoned_;
};

/// The folder for messages that are too large for memory. A file is removed as soon as it is open
/// for reading, so that nothing is left behind; what a crash has left is removed at the start.
class BodySpool {
 public:
  /// The folder is made when it is first needed. `files` must outlive the object.
  BodySpool(FileSystem& files, std::string folder) : files_(files), folder_(std::move(folder)) {}
  ~BodySpool();
  BodySpool(const BodySpool&) = delete;
  BodySpool& operator=(const BodySpool&) = delete;

  // Under the lock.
  /// A new file; nothing happens on the disk yet. One that nobody else holds is removed later.
  std::shared_ptr<SpoolFile> make();
  /// Bytes for the end of the file; `last`: no more follow.
  void append(const std::shared_ptr<SpoolFile>& file, std::string bytes, bool last);
  /// What is to be done on the disk.
  SpoolWork takeWork();
  /// Tells the files what has become of it.
  static void settle(SpoolWork work);

  // Without the lock, on one thread.
  /// Removes what an earlier run has left.
  void clear();
  void perform(SpoolWork& work);

 private:
  Result<void> write(SpoolWork::Step& step);
  void discard(SpoolFile& file);

  FileSystem& files_;
  std::string folder_;
  std::uint64_t last_ = 0;
  SpoolWork waiting_;
  std::vector<std::shared_ptr<SpoolFile>> all_;  // that may be on the disk
};

/// Collects a message. Touches no disk itself.
class FetchedBody {
 public:
  explicit FetchedBody(BodySpool& spool) : spool_(spool) {}

  /// Appends bytes; takes them over where they are the first ones.
  void append(std::string bytes);
  /// Nothing follows.
  void finish();
  /// Whether finish() was called and everything is where open() finds it.
  bool ready() const { return finished_ && (!file_ || file_->input); }
  /// Why the disk does not take it.
  std::optional<Error> failure() const { return file_ ? file_->failure : std::nullopt; }
  std::uint64_t size() const { return size_; }
  /// Once it is ready: the collected message, received at `received`. Leaves the object empty.
  std::unique_ptr<InputFile> open(DateTime received);

 private:
  BodySpool& spool_;
  std::string bytes_;
  std::uint64_t size_ = 0;
  bool finished_ = false;
  std::shared_ptr<SpoolFile> file_;  // null: in `bytes_`
};

/// A message in memory, received at `received`.
std::unique_ptr<InputFile> fetchedMessage(std::string bytes, DateTime received);

}  // namespace relaybird
