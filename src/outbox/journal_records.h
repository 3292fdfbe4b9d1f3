// SPDX-License-Identifier: MIT
// What the lines of a journal mean: which inbox item a message belongs to, how far its forward
// came, and what is known of its delivery. In memory alone; journal.h decides what is written when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "outbox/journal_file.h"

namespace relaybird {

/// A line is SUM EVENT SUBJECT, in which the subject may be several fields. A program counts events
/// that it does not know as damaged lines.
namespace journal_event {
inline constexpr std::string_view kIntent = "intent";  ///< SECONDS ENTRY MESSAGE-ID FILE
/// SECONDS ENTRY MESSAGE-ID FILE TEXT. A text is a field like others: strangers wrote it, and in
/// its encoding it cannot pass for a line of its own, whatever is damaged around it.
inline constexpr std::string_view kHeld = "held";
inline constexpr std::string_view kText = "text";            ///< FILE TEXT: held, its entry settled
inline constexpr std::string_view kStored = "stored";        ///< FILE: is not held any more
inline constexpr std::string_view kDone = "done";            ///< FILE
inline constexpr std::string_view kVoid = "void";            ///< FILE
inline constexpr std::string_view kSettled = "settled";      ///< ENTRY
inline constexpr std::string_view kDelivered = "delivered";  ///< FILE
inline constexpr std::string_view kDeliveredTo = "delivered-to";  ///< FILE RECIPIENT...
inline constexpr std::string_view kUnknown = "unknown";           ///< FILE SECONDS
inline constexpr std::string_view kRemoved = "removed";           ///< FILE
inline constexpr std::string_view kBegun = "begun";               ///< FILE
inline constexpr std::string_view kEnded = "ended";               ///< FILE
}  // namespace journal_event

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

/// Identifiers and names are arbitrary bytes.
class JournalRecords {
 public:
  /// Takes in the fields of a line. False for an event that is unknown or has other fields; nothing
  /// changes then.
  bool apply(std::vector<std::string> event);
  /// Drops what is known of the delivery of a file that is no longer in the outbox.
  void dropUnderWay(const std::string& file);
  /// Drops the records of failed forwards from before that time, in seconds since 1970.
  void dropVoidBefore(std::int64_t time);
  /// The lines that make these records again.
  JournalFile::Content lines() const;

  /// The record of the latest intent of the entry; null where there is none.
  const ForwardRecord* find(const std::string& entryId) const;
  const std::unordered_map<std::string, ForwardRecord>& forwards() const { return forwards_; }
  /// Files that were handed over and whose removal may not be durable yet.
  const std::set<std::string>& delivered() const { return delivered_; }
  /// The recipients that need no further try for a file that still waits for others: those who have
  /// the message, and those for whom a copy is in failed/.
  std::set<std::string> settledFor(const std::string& file) const;
  /// When a file was sent to a server that gave no answer, in seconds since 1970.
  std::optional<std::int64_t> unansweredSince(const std::string& file) const;
  /// Whether the last try of a file, if that is the one without an answer, was for all to whom the
  /// message goes. Those who were refused for good by it do not count.
  bool mayHaveReachedAll(const std::string& file) const { return sentToAll_.contains(file); }
  /// Whether a file was begun, and nothing that ends this came since.
  bool begun(const std::string& file) const { return begun_.contains(file); }
  /// Files that a record of recipients, of a missing answer or of a beginning exists for.
  std::set<std::string> filesUnderWay() const;
  /// The messages that are held, by the names that their files would have.
  const std::map<std::string, std::string>& texts() const { return texts_; }
  std::size_t textBytes() const { return textBytes_; }

 private:
  bool applyToFile(std::string_view event, const std::string& file);
  void addForward(std::vector<std::string>& event, ForwardRecord::State state);
  void setState(const std::string& file, ForwardRecord::State state);
  void forget(const std::string& entryId);
  void keepText(const std::string& file, std::string text);
  void dropText(const std::string& file);

  std::unordered_map<std::string, ForwardRecord> forwards_;  ///< by entry identifier
  std::unordered_map<std::string, std::string> entryOfFile_;
  std::set<std::string> delivered_;
  std::map<std::string, std::set<std::string>> settledFor_;  ///< recipients by file
  std::map<std::string, std::int64_t> unanswered_;           ///< seconds since 1970 by file
  std::set<std::string> sentToAll_;                          ///< of unanswered_
  std::set<std::string> begun_;
  std::map<std::string, std::string> texts_;  ///< messages by file
  std::size_t textBytes_ = 0;
};

}  // namespace relaybird
