// SPDX-License-Identifier: MIT
// What the outbox must remember across a crash, so that no forward gets lost and none goes out
// twice: which inbox item a message belongs to, how far its forward came, and which messages were
// handed over although their files may still exist. It also holds whole messages: those that are
// about to be delivered and have no file (hold()). They are in memory too; the outbox bounds them.
//
// An append-only text file with one line for each event. Every line has a check sum. A line that a
// crash or a full disk cut short fails the check and counts as never written. After a failure to
// write, the next change rewrites the file from the records in memory, because the system may have
// dropped data that it reported as failed. The file is rewritten in the same atomic way when it has
// grown far beyond the size of its records.
//
// One thread at a time; Outbox sees to that by a mutex, which the journal releases while it waits
// for the disk. So other threads can write meanwhile, and one wait serves all that have written
// before it began.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// The forward of one inbox item.
struct ForwardRecord {
  enum class State {
    kIntended,  ///< its file may be in tmp/ or new/
    kSent,      ///< its file is, or was, in the outbox for good
    kVoid,      ///< it failed; only the Message-ID is kept, for the next try
  };

  std::string messageId;
  std::string file;  ///< name of the outbox file
  State state = State::kIntended;
  std::int64_t time = 0;  ///< of the intent, in seconds since 1970
};

class Journal {
 public:
  /// Reads the file. A missing file is an empty journal, which the first event writes. The folder
  /// must exist. Fails when the file cannot be read. `held`, if there is one, is held by the caller
  /// of every other function; those that return once something is on disk release it meanwhile, so
  /// other calls can come in between.
  static Result<std::unique_ptr<Journal>> open(FileSystem& files, const Clock& clock,
                                               std::string path, std::mutex* held = nullptr);
  /// The names of the messages that the journal of an outbox that is not open holds. None where it
  /// cannot be read.
  static std::set<std::string> namesHeldIn(FileSystem& files, const std::string& path);
  /// Best-effort sync of what was written without one.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// The record of the latest intent of the entry; null where there is none. Identifiers and names
  /// are arbitrary bytes.
  const ForwardRecord* find(const std::string& entryId) const;
  const std::unordered_map<std::string, ForwardRecord>& records() const { return records_; }
  /// Files that were handed over and whose removal may not be durable yet.
  const std::set<std::string>& delivered() const { return delivered_; }
  /// The recipients that need no further try for a file that still waits for others: those who have
  /// the message, and those for whom a copy is in failed/.
  std::set<std::string> settledFor(const std::string& file) const;
  /// When a file was sent to a server that gave no answer, in seconds since 1970.
  std::optional<std::int64_t> unansweredSince(const std::string& file) const;
  /// Whether a file was begun, and nothing that ends this came since.
  bool begun(const std::string& file) const { return begun_.contains(file); }
  /// Files that a record of recipients, of a missing answer or of a beginning exists for.
  std::set<std::string> filesUnderWay() const;
  /// Drops these records of a file that is no longer in the outbox, which the next rewrite leaves
  /// out.
  void dropUnderWay(const std::string& file);
  /// Files that were recorded as sent, but not as handed over, when the journal was opened. Their
  /// entries may be settled already.
  const std::set<std::string>& calledDone() const { return calledDone_; }
  /// The messages that the journal holds, by the names that their files would have.
  const std::map<std::string, std::string>& texts() const { return texts_; }
  std::size_t textBytes() const { return textBytes_; }
  /// Complete lines that failed their check sum when the file was read.
  std::size_t damagedLines() const { return damagedLines_; }

  /// Returns once the intent is on disk. On failure the record reads as void.
  Result<void> intend(const std::string& entryId, const std::string& messageId,
                      const std::string& file);
  /// The forward is sent: the journal itself holds the message, under the name `file`, until
  /// deliver(), annul() or stored(). Returns once that is on disk. On failure the record reads as
  /// void, and `certain` tells whether the message is certainly not on disk; else the next change
  /// that succeeds takes it back.
  Result<void> hold(const std::string& entryId, const std::string& messageId,
                    const std::string& file, std::string text, bool& certain);
  /// These messages have files now, so the journal need not hold them. Returns once that is on
  /// disk.
  Result<void> stored(const std::vector<std::string>& files);
  /// Rewrites the file if it has messages and none of them is held any more, so that no text stays
  /// on the disk for long after its message has left.
  Result<void> dropTexts();
  /// The file is in the outbox for good.
  Result<void> done(const std::string& file);
  /// The forward failed and its file is not in the outbox.
  Result<void> annul(const std::string& file);
  /// The entry's read mark is on disk, or no mark is wanted: drops its record.
  Result<void> settle(const std::string& entryId);
  /// The files were handed over. The end of this program cannot undo that any more; a power cut
  /// can, until sync().
  Result<void> deliver(const std::vector<std::string>& files);
  /// The same for some recipients of a file, which the file keeps waiting for the others.
  Result<void> deliverTo(const std::string& file, const std::vector<std::string>& recipients);
  /// The file was sent whole, and no answer came. Returns once that is on disk.
  Result<void> unanswered(const std::string& file);
  /// The file is about to be sent whole; ended by ended(), deliver() or dropUnderWay(). A power cut
  /// can undo both lines until sync().
  Result<void> begin(const std::string& file);
  Result<void> ended(const std::string& file);
  /// The removal of the files is durable.
  Result<void> removed(const std::vector<std::string>& files);

  /// Returns once all changes are on disk, also those that could not be written so far. Does
  /// nothing if they are.
  Result<void> sync();
  /// The same for the changes up to that number of writes().
  Result<void> syncUpTo(std::uint64_t write);
  std::uint64_t writes() const { return written_; }
  /// Waits until another thread has waited for the disk for the changes up to that number, at most
  /// for that time. False if none has.
  bool leaveToOthers(std::uint64_t write, std::chrono::milliseconds patience);

  // A change that could not be written still counts until the program ends, and is written with the
  // next one.

 private:
  Journal(FileSystem& files, const Clock& clock, std::string path, std::mutex* held);

  Result<void> load();
  void apply(std::string_view line);
  void replay(const std::vector<std::string>& fields);
  void setState(const std::string& file, ForwardRecord::State state);
  void forget(const std::string& entryId);
  void keepText(const std::string& file, std::string text);
  void dropText(const std::string& file);
  Result<void> change(std::string_view event, const std::string& subject, bool sync);
  bool mayAppend() const;
  Result<void> append(std::string_view lines, bool sync);
  Result<void> noteWritten(Result<void> written);
  Result<void> write(std::string_view lines);
  Result<void> makeDurable();
  void syncFile();
  Result<void> rewrite();
  std::string snapshot(std::size_t& textSize);

  FileSystem& files_;
  const Clock& clock_;
  std::string path_;
  std::mutex* held_;
  std::shared_ptr<OutputFile> file_;  ///< kept open between events
  bool intact_ = true;                ///< the file has all records
  bool failed_ = false;               ///< the last change could not be written
  std::size_t size_ = 0;              ///< bytes of the file
  std::size_t compactedSize_ = 0;     ///< bytes after it was last rewritten
  std::size_t textSize_ = 0;          ///< how much of the file are messages
  std::size_t compactedTextSize_ = 0;
  std::size_t damagedLines_ = 0;

  // Writes are counted from the start.
  std::uint64_t written_ = 0;
  std::uint64_t durable_ = 0;  ///< all up to this one are on disk
  std::uint64_t lost_ = 0;     ///< those up to this one that are not durable failed
  Error lossReason_;           ///< why
  bool syncing_ = false;       ///< a thread waits for the disk
  std::condition_variable_any synced_;

  std::unordered_map<std::string, ForwardRecord> records_;  ///< by entry identifier
  std::unordered_map<std::string, std::string> entryOfFile_;
  std::set<std::string> delivered_;
  std::set<std::string> calledDone_;
  std::map<std::string, std::set<std::string>> settledFor_;  ///< recipients by file
  std::map<std::string, std::int64_t> unanswered_;           ///< seconds since 1970 by file
  std::set<std::string> begun_;
  std::map<std::string, std::string> texts_;  ///< messages by file
  std::size_t textBytes_ = 0;
};

}  // namespace relaybird
