// SPDX-License-Identifier: MIT
// What the outbox must remember across a crash, so that no forward gets lost and none goes out
// twice: which inbox item a message in the making belongs to, how far it came, and what has been
// handed over although its file may still lie there.
//
// An append-only text file, one line for each event, every line under a check sum. A line that a
// crash or a full disk cut short does not pass it and counts as never written. After a failure to
// write, the next change rewrites the file from what is known in memory, because the system may
// have dropped what it reported as failed. The file is rewritten in the same atomic way when it has
// grown well past what it has to say.
//
// One thread at a time; Outbox sees to that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
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

// The text of one line: a check sum, then fields separated by blanks. Percent-encoding keeps blanks
// and line ends out of the fields.

/// The line with its LF. Fields are arbitrary bytes, empty ones included.
std::string encodeJournalLine(const std::vector<std::string_view>& fields);

/// The fields of a line without its LF; nothing when it is not as it was written.
std::optional<std::vector<std::string>> decodeJournalLine(std::string_view line);

/// The forward of one inbox item.
struct ForwardRecord {
  enum class State {
    kIntended,  ///< its file may lie in tmp/ or new/
    kSent,      ///< its file is, or was, in the outbox for good
    kVoid,      ///< it failed; only the Message-ID is still of use, for the next try
  };

  std::string messageId;
  std::string file;  ///< name of the outbox file
  State state = State::kIntended;
  std::int64_t time = 0;  ///< of the intent, in seconds since 1970
};

class Journal {
 public:
  /// Reads the file; one that is not there is an empty journal, and is made by the first event. The
  /// folder must be there. Fails when the file cannot be read.
  static Result<std::unique_ptr<Journal>> open(FileSystem& files, const Clock& clock,
                                               std::string path);
  /// Puts what was written without a sync on the medium, as far as that works.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Identifiers and names are arbitrary bytes. The record of an entry is the latest intent's.
  const ForwardRecord* find(const std::string& entryId) const;
  const std::unordered_map<std::string, ForwardRecord>& records() const { return records_; }
  /// Files that were handed over, whose removal is not known to be on the medium.
  const std::set<std::string>& delivered() const { return delivered_; }
  /// Files that the journal called sent when it was opened and that were not handed over by then,
  /// whether their entries are settled or not.
  const std::set<std::string>& calledDone() const { return calledDone_; }
  /// Whole lines that did not pass their check sum when the file was read.
  std::size_t damagedLines() const { return damagedLines_; }

  /// Returns when the intent is on the medium. On failure the record reads as void.
  Result<void> intend(const std::string& entryId, const std::string& messageId,
                      const std::string& file);
  /// The file is in the outbox for good.
  Result<void> done(const std::string& file);
  /// The forward failed and its file is not in the outbox.
  Result<void> annul(const std::string& file);
  /// The entry's read mark is on the medium, or none is wanted: its record is dropped.
  Result<void> settle(const std::string& entryId);
  /// Returns when it is on the medium that the file was handed over.
  Result<void> deliver(const std::string& file);
  /// The files' removal is on the medium.
  Result<void> removed(const std::vector<std::string>& files);

  /// Writes what could not be written so far; nothing to do where all was.
  Result<void> mend();

  // A change that could not be written is nevertheless known until the program ends, and is written
  // with the next one.

 private:
  Journal(FileSystem& files, const Clock& clock, std::string path);

  Result<void> load();
  void apply(std::string_view line);
  void replay(const std::vector<std::string>& fields);
  void setState(const std::string& file, ForwardRecord::State state);
  void forget(const std::string& entryId);
  Result<void> change(std::string_view event, const std::string& subject, bool sync);
  Result<void> append(std::string_view lines, bool sync);
  Result<void> write(std::string_view lines, bool sync);
  Result<void> rewrite();
  std::string snapshot();

  FileSystem& files_;
  const Clock& clock_;
  std::string path_;
  std::unique_ptr<OutputFile> file_;  ///< kept open between events
  bool intact_ = true;                ///< the file says all that is known
  bool failed_ = false;               ///< the last change could not be written
  bool dirty_ = false;                ///< something was written since the last sync
  std::size_t size_ = 0;              ///< bytes of the file
  std::size_t compactedSize_ = 0;     ///< bytes after it was last rewritten
  std::size_t damagedLines_ = 0;

  std::unordered_map<std::string, ForwardRecord> records_;  ///< by entry identifier
  std::unordered_map<std::string, std::string> entryOfFile_;
  std::set<std::string> delivered_;
  std::set<std::string> calledDone_;
};

}  // namespace relaybird
