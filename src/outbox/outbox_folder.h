// SPDX-License-Identifier: MIT
// The outbox on disk: a Maildir (https://cr.yp.to/proto/maildir.html) with an additional folder
// failed/. Outbox decides what these steps mean for the forward of an inbox item.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// A unique file name. Names sort in the order in which they are made. `session` is a text that no
/// other run has; `counter` differs for every name of a run.
std::string makeOutboxName(DateTime now, std::uint64_t counter, std::string_view session);

/// Whether the name may have been made by makeOutboxName, in this or another run.
bool isOutboxName(std::string_view name);

/// Makes the names of one run. Any thread.
class OutboxNames {
 public:
  OutboxNames(const Clock& clock, std::string session)
      : clock_(clock), session_(std::move(session)) {}
  std::string next() { return makeOutboxName(clock_.now(), ++counter_, session_); }

 private:
  const Clock& clock_;
  std::string session_;  ///< makes the names of this run differ from those of other runs
  std::atomic<std::uint64_t> counter_ = 0;
};

/// Writes a message to the file that it is given, without syncing or closing it.
using MessageWriter = std::function<Result<void>(OutputFile&)>;

/// What is learnt while a message is written, to tell a failing disk from a failing message.
struct WriteAttempt {
  std::uint64_t size = 0;       ///< bytes that the writer gave so far
  bool writeFailed = false;     ///< by the file, not by the source that the writer reads
  bool messageToBlame = false;  ///< the writer failed although the file took all bytes
};

/// Writes, syncs and closes the file.
Result<void> writeMessage(OutputFile& file, const MessageWriter& write, WriteAttempt& attempt);

/// A message while it is written: in memory up to `most` bytes, and in a file that `make` makes
/// from then on. In memory, sync() and close() do nothing.
class SpillingFile : public OutputFile {
 public:
  using Maker = std::function<Result<std::unique_ptr<OutputFile>>()>;

  SpillingFile(std::size_t most, Maker make) : most_(most), make_(std::move(make)) {}
  Result<void> write(std::string_view bytes) override;
  Result<void> sync() override;
  Result<void> close() override;

  bool spilled() const { return file_ != nullptr; }
  /// What was written, unless it has spilled.
  std::string takeText() { return std::move(text_); }

 private:
  std::size_t most_;
  Maker make_;
  std::string text_;
  std::unique_ptr<OutputFile> file_;
};

/// When a message with a name of makeOutboxName was made.
DateTime outboxNameTime(std::string_view name);

/// Any thread.
class OutboxFolder {
 public:
  OutboxFolder(FileSystem& files, std::string path) : files_(files), path_(std::move(path)) {}

  const std::string& path() const { return path_; }
  std::string pathOf(const char* subfolder, const std::string& name) const {
    return joinPath(path_, std::string(subfolder) + "/" + name);
  }

  /// Makes this folder, its subfolders, `journalFolder` and their parents where they are missing,
  /// with durable names.
  Result<void> make(const std::string& journalFolder);

  /// Makes a file in tmp/ under a new name, which is returned in `name`.
  Result<std::unique_ptr<OutputFile>> create(OutboxNames& names, std::string& name);
  /// The regular files in tmp/.
  Result<std::set<std::string>> namesInTmp();
  /// The unique names, without Maildir flags, of the messages in new/, cur/ and failed/.
  Result<std::set<std::string>> placedNames();
  /// Removes abandoned files among these in tmp/: our own, and old files of other programs. Only
  /// while the outbox is locked.
  void clearTmp(const std::set<std::string>& names, DateTime now);

  /// Makes what was renamed or removed in new/ so far durable.
  Result<void> syncNew();
  /// Puts a message into new/ under that name by way of `inTmp`, a free name in tmp/. The file is
  /// durable, but its name is not before new/ is synced. A file that has the name is replaced.
  Result<void> store(const std::string& name, const std::string& inTmp, std::string_view text);
  /// Removes a message that could not be put into new/ durably. True when it is certain that
  /// nothing of it is left in tmp/ and new/.
  bool withdraw(const std::string& name);

  /// Moves a message from new/ to failed/, with the reason in FILE.txt beside it if the disk
  /// allows. Fails if the message is still in new/.
  Result<void> moveToFailed(const std::string& name, const std::string& words);
  /// Moves a file of tmp/ into failed/, durably, as the copy with that number of the message `of`.
  /// On failure it is not in tmp/, and may be in failed/.
  Result<void> putCopyIntoFailed(const std::string& name, const std::string& of, std::size_t number,
                                 const std::string& words);
  /// Whether a message has the name of such a copy, also after somebody has moved it to new/.
  static bool isNameOfCopy(std::string_view name);

  /// Whether the disk takes a message of that size: fills the file with as many bytes, syncs and
  /// closes it.
  Result<void> tryFile(OutputFile& file, std::uint64_t size);
  /// Whether names can be made in new/.
  Result<void> tryNew();

  /// How many messages are in new/, not counting those in `except`; 0 where it cannot be read.
  std::size_t countWaiting(const std::set<std::string>& except) const;

 private:
  FileSystem& files_;
  std::string path_;
};

}  // namespace relaybird
