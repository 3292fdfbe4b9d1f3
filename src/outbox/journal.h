// SPDX-License-Identifier: MIT
// What the outbox must remember across a crash, so that no forward gets lost and none goes out
// twice: which inbox item a message belongs to, how far its forward came, and which messages were
// handed over although their files may still exist. It also holds whole messages: those that are
// about to be delivered and have no file (hold()). They are in memory too; the outbox bounds them.
//
// An append-only text file with one line for each event (journal_records.h). Every line has a check
// sum. A line that a crash or a full disk cut short fails the check and counts as never written.
// journal_file.h has the steps on the disk.
//
// One thread at a time; Outbox sees to that by a mutex, which the journal releases while it waits
// for the disk.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "outbox/journal_file.h"
#include "outbox/journal_records.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

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
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// What is known. A change that could not be written still counts until the program ends, and is
  /// written with the next one.
  const JournalRecords& records() const { return records_; }
  /// Files that were recorded as sent, but not as handed over, when the journal was opened. Their
  /// entries may be settled already.
  const std::set<std::string>& calledDone() const { return calledDone_; }
  /// Complete lines that failed their check sum when the file was read.
  std::size_t damagedLines() const { return damagedLines_; }

  /// Drops what is known of the delivery of a file that is no longer in the outbox, which the next
  /// rewrite leaves out.
  void dropUnderWay(const std::string& file) { records_.dropUnderWay(file); }
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
  /// The file was sent whole, and no answer came; `forAll` if nobody needs it any more if it has
  /// arrived. Returns once that is on disk.
  Result<void> unanswered(const std::string& file, bool forAll);
  /// The file is about to be sent whole; ended by ended(), deliver() or dropUnderWay(). A power cut
  /// can undo both lines until sync().
  Result<void> begin(const std::string& file);
  Result<void> ended(const std::string& file);
  /// The removal of the files is durable.
  Result<void> removed(const std::vector<std::string>& files);

  // As in JournalFile; a write is a change, or several that were written together.
  Result<void> sync() { return file_.sync(); }
  Result<void> syncUpTo(std::uint64_t write) { return file_.syncUpTo(write); }
  std::uint64_t writes() const { return file_.writes(); }
  bool leaveToOthers(std::uint64_t write, std::chrono::milliseconds patience) {
    return file_.leaveToOthers(write, patience);
  }

 private:
  Journal(FileSystem& files, const Clock& clock, std::string path, std::mutex* held);

  bool read(std::string_view line);
  std::string take(std::vector<std::string> event);
  std::string take(std::string_view event, const std::vector<std::string>& subjects);

  const Clock& clock_;
  JournalRecords records_;
  std::set<std::string> calledDone_;
  std::size_t damagedLines_ = 0;
  JournalFile file_;
};

}  // namespace relaybird
