// SPDX-License-Identifier: MIT
// The journal's file and its records. Every change is applied to the records first (replay()) and
// then appended to the file, so that a failed write loses nothing while the program runs. Only
// intents and hand-overs are synced: after a crash, a lost "done" or "settled" line is derived
// again from the files of the outbox and the read marks.
#include "outbox/journal.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "outbox/journal_line.h"

namespace relaybird {

namespace {

// The file is rewritten when it exceeds twice its size after the last rewrite plus this much.
constexpr std::size_t kGrowth = std::size_t{256} << 10;
// The same for the messages in it.
constexpr std::size_t kTextGrowth = std::size_t{4} << 20;
// A larger file was not written by us.
constexpr std::size_t kSizeLimit = std::size_t{256} << 20;
// How long the Message-ID of a failed forward is kept for the next try.
constexpr std::int64_t kVoidSeconds = std::int64_t{30} * 24 * 60 * 60;

// A line is SUM EVENT SUBJECT. The subject of an intent is SECONDS ENTRY MESSAGE-ID FILE, that of
// "delivered-to" a file and recipients, that of "unknown" a file and SECONDS, that of "held" is
// SECONDS ENTRY MESSAGE-ID FILE TEXT, and that of "text" FILE TEXT, for a message that is held and
// whose entry is settled. A text is a field like others: strangers wrote it, and in its encoding it
// cannot pass for a line of its own, whatever is damaged around it. An older program
// counts an event that it does not know as a damaged line.
constexpr std::string_view kIntent = "intent";
constexpr std::string_view kHeld = "held";
constexpr std::string_view kText = "text";
constexpr std::string_view kStored = "stored";
constexpr std::string_view kDone = "done";
constexpr std::string_view kVoid = "void";
constexpr std::string_view kSettled = "settled";
constexpr std::string_view kDelivered = "delivered";
constexpr std::string_view kDeliveredTo = "delivered-to";
constexpr std::string_view kUnknown = "unknown";
constexpr std::string_view kRemoved = "removed";
constexpr std::string_view kBegun = "begun";
constexpr std::string_view kEnded = "ended";

std::int64_t secondsOf(DateTime moment) {
  return std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
}

std::int64_t parseSeconds(const std::string& text) {
  std::int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// The mutex is held again at the end, also where an exception ends the wait: its holder expects so.
class Released {
 public:
  explicit Released(std::mutex* held) : held_(held) {
    if (held_) {
      held_->unlock();
    }
  }
  ~Released() {
    if (held_) {
      held_->lock();
    }
  }
  Released(const Released&) = delete;
  Released& operator=(const Released&) = delete;

 private:
  std::mutex* held_;
};

}  // namespace

Journal::Journal(FileSystem& files, const Clock& clock, std::string path, std::mutex* held)
    : files_(files), clock_(clock), path_(std::move(path)), held_(held) {}

Result<std::unique_ptr<Journal>> Journal::open(FileSystem& files, const Clock& clock,
                                               std::string path, std::mutex* held) {
  std::unique_ptr<Journal> journal(new Journal(files, clock, std::move(path), held));
  if (auto loaded = journal->load(); !loaded) {
    return loaded.error();
  }
  return journal;
}

std::set<std::string> Journal::namesHeldIn(FileSystem& files, const std::string& path) {
  class StoppedClock : public Clock {
   public:
    DateTime now() const override { return kNoDate; }
    std::string toText(DateTime) const override { return {}; }
  };
  const StoppedClock clock;  // nothing is written that needs the time
  std::set<std::string> names;
  if (const auto journal = open(files, clock, path)) {
    for (const auto& [name, text] : (*journal)->texts()) {
      names.insert(name);
    }
  }
  return names;
}

Journal::~Journal() {
  if (file_ && durable_ < written_) {
    (void)file_->sync();
  }
}

// Lines are replayed in their order. A damaged line is counted and left out: the others are still
// worth more than no journal.
Result<void> Journal::load() {
  const auto info = files_.inspect(path_);
  if (!info && info.error().code == ENOENT) {
    intact_ = false;  // so that the first event makes the file, with a durable name
    return {};
  }
  if (!info) {
    return info.error();
  }
  // Refused rather than emptied: messages would be sent twice without it.
  if (info->size > kSizeLimit) {
    return Error{EFBIG, "The outbox journal " + path_ + " is too large"};
  }
  const auto bytes = readFile(files_, path_, kSizeLimit);
  if (!bytes) {
    return bytes.error();
  }
  size_ = bytes->size();
  written_ = size_ > 0 ? 1 : 0;  // the program may have been killed before it waited for the disk
  std::string_view rest = *bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    if (end == rest.npos) {
      intact_ = false;  // cut short: the next line must not be appended to it
      break;
    }
    apply(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  return {};
}

void Journal::apply(std::string_view line) {
  const auto fields = decodeJournalLine(line);
  if (!fields) {
    ++damagedLines_;
    return;
  }
  replay(*fields);
  if (fields->front() == kHeld || fields->front() == kText) {
    textSize_ += line.size();
  }
  if (fields->size() != 2) {
    return;
  }
  if (fields->front() == kDone) {
    // Needed by the recovery: after a power cut, a line may say "done" for a file that is still in
    // tmp/. A delivered file was in new/, so for it there is no doubt.
    calledDone_.insert(fields->back());
  }
  if (fields->front() == kDelivered) {
    calledDone_.erase(fields->back());
  }
}

void Journal::replay(const std::vector<std::string>& fields) {
  const std::string& event = fields[0];
  if (event == kIntent && fields.size() == 5) {
    // A new intent for an entry replaces the record of its earlier try.
    forget(fields[2]);
    records_[fields[2]] = {fields[3], fields[4], ForwardRecord::State::kIntended,
                           parseSeconds(fields[1])};
    entryOfFile_[fields[4]] = fields[2];
  } else if (event == kHeld && fields.size() == 6) {
    forget(fields[2]);
    records_[fields[2]] = {fields[3], fields[4], ForwardRecord::State::kSent,
                           parseSeconds(fields[1])};
    entryOfFile_[fields[4]] = fields[2];
    keepText(fields[4], fields[5]);
  } else if (event == kText && fields.size() == 3) {
    keepText(fields[1], fields[2]);
  } else if (event == kDeliveredTo && fields.size() > 2) {
    settledFor_[fields[1]].insert(fields.begin() + 2, fields.end());
  } else if (event == kUnknown && fields.size() == 3) {
    unanswered_[fields[1]] = parseSeconds(fields[2]);
  } else if (fields.size() != 2) {
    ++damagedLines_;
  } else if (event == kSettled) {
    forget(fields[1]);
  } else if (event == kRemoved) {
    delivered_.erase(fields[1]);
  } else if (event == kBegun) {
    begun_.insert(fields[1]);
  } else if (event == kEnded) {
    begun_.erase(fields[1]);
  } else if (event == kStored) {
    dropText(fields[1]);
  } else if (event == kVoid) {
    dropText(fields[1]);
    setState(fields[1], ForwardRecord::State::kVoid);
  } else if (event == kDone) {
    setState(fields[1], ForwardRecord::State::kSent);
  } else if (event == kDelivered) {
    setState(fields[1], ForwardRecord::State::kSent);
    delivered_.insert(fields[1]);
    dropText(fields[1]);
    dropUnderWay(fields[1]);
  } else {
    ++damagedLines_;
  }
}

const ForwardRecord* Journal::find(const std::string& entryId) const {
  const auto found = records_.find(entryId);
  return found == records_.end() ? nullptr : &found->second;
}

// An event about a file without a record is not an error: its entry may be settled already.
void Journal::setState(const std::string& file, ForwardRecord::State state) {
  const auto entry = entryOfFile_.find(file);
  if (entry != entryOfFile_.end()) {
    records_.at(entry->second).state = state;
  }
}

void Journal::forget(const std::string& entryId) {
  const auto record = records_.find(entryId);
  if (record == records_.end()) {
    return;
  }
  entryOfFile_.erase(record->second.file);
  records_.erase(record);
}

Result<void> Journal::intend(const std::string& entryId, const std::string& messageId,
                             const std::string& file) {
  const std::string time = std::to_string(secondsOf(clock_.now()));
  replay({std::string(kIntent), time, entryId, messageId, file});
  auto written = append(encodeJournalLine({kIntent, time, entryId, messageId, file}), true);
  // The caller takes its message back now. The Message-ID is kept for the next try.
  if (!written) {
    replay({std::string(kVoid), file});
  }
  return written;
}

void Journal::keepText(const std::string& file, std::string text) {
  dropText(file);
  textBytes_ += text.size();
  texts_[file] = std::move(text);
}

void Journal::dropText(const std::string& file) {
  if (const auto found = texts_.find(file); found != texts_.end()) {
    textBytes_ -= found->second.size();
    texts_.erase(found);
  }
}

Result<void> Journal::hold(const std::string& entryId, const std::string& messageId,
                           const std::string& file, std::string text, bool& certain) {
  const std::string time = std::to_string(secondsOf(clock_.now()));
  const std::string line = encodeJournalLine({kHeld, time, entryId, messageId, file, text});
  replay({std::string(kHeld), time, entryId, messageId, file, std::move(text)});
  const bool appended = mayAppend();
  auto outcome = append(line, false);
  // A part of a line that could not be appended does not count.
  certain = appended && !outcome;
  if (outcome) {
    textSize_ += appended ? line.size() : 0;
    outcome = makeDurable();
  }
  if (!outcome) {
    replay({std::string(kVoid), file});
    // Written anew, the file does not have it.
    certain = certain || sync();
  }
  return outcome;
}

Result<void> Journal::stored(const std::vector<std::string>& files) {
  std::string lines;
  for (const std::string& file : files) {
    replay({std::string(kStored), file});
    lines += encodeJournalLine({kStored, file});
  }
  return lines.empty() ? Result<void>() : append(lines, true);
}

Result<void> Journal::dropTexts() {
  return textSize_ > 0 && texts_.empty() ? noteWritten(rewrite()) : Result<void>();
}

Result<void> Journal::change(std::string_view event, const std::string& subject, bool sync) {
  replay({std::string(event), subject});
  return append(encodeJournalLine({event, subject}), sync);
}

// Not synced: if the line is lost, the file in new/ tells the same.
Result<void> Journal::done(const std::string& file) {
  return change(kDone, file, false);
}

Result<void> Journal::annul(const std::string& file) {
  return change(kVoid, file, false);
}

// All in one write: a crash leaves the first lines of it whole, and the check sum finds the one
// that is cut.
Result<void> Journal::deliver(const std::vector<std::string>& files) {
  std::string lines;
  for (const std::string& file : files) {
    replay({std::string(kDelivered), file});
    lines += encodeJournalLine({kDelivered, file});
  }
  return append(lines, false);
}

Result<void> Journal::deliverTo(const std::string& file,
                                const std::vector<std::string>& recipients) {
  std::vector<std::string> event = {std::string(kDeliveredTo), file};
  event.insert(event.end(), recipients.begin(), recipients.end());
  replay(event);
  return append(encodeJournalLine({event.begin(), event.end()}), true);
}

std::set<std::string> Journal::settledFor(const std::string& file) const {
  const auto found = settledFor_.find(file);
  return found == settledFor_.end() ? std::set<std::string>() : found->second;
}

Result<void> Journal::unanswered(const std::string& file) {
  const std::string time = std::to_string(secondsOf(clock_.now()));
  replay({std::string(kUnknown), file, time});
  return append(encodeJournalLine({kUnknown, file, time}), true);
}

std::optional<std::int64_t> Journal::unansweredSince(const std::string& file) const {
  const auto found = unanswered_.find(file);
  return found == unanswered_.end() ? std::nullopt : std::optional(found->second);
}

std::set<std::string> Journal::filesUnderWay() const {
  std::set<std::string> files;
  for (const auto& [file, recipients] : settledFor_) {
    files.insert(file);
  }
  for (const auto& [file, time] : unanswered_) {
    files.insert(file);
  }
  files.insert(begun_.begin(), begun_.end());
  return files;
}

void Journal::dropUnderWay(const std::string& file) {
  settledFor_.erase(file);
  unanswered_.erase(file);
  begun_.erase(file);
}

Result<void> Journal::begin(const std::string& file) {
  return change(kBegun, file, false);
}

Result<void> Journal::ended(const std::string& file) {
  return change(kEnded, file, false);
}

// Not synced: if the line is lost, the read mark in the mailbox tells the same.
Result<void> Journal::settle(const std::string& entryId) {
  if (!find(entryId)) {
    return {};
  }
  return change(kSettled, entryId, false);
}

// One write for all files of a delivery run.
Result<void> Journal::removed(const std::vector<std::string>& files) {
  std::string lines;
  for (const std::string& file : files) {
    if (delivered_.erase(file) > 0) {
      lines += encodeJournalLine({kRemoved, file});
    }
  }
  if (lines.empty()) {
    return {};
  }
  return append(lines, false);
}

Result<void> Journal::sync() {
  return failed_ || durable_ < written_ ? append({}, true) : Result<void>();
}

bool Journal::leaveToOthers(std::uint64_t write, std::chrono::milliseconds patience) {
  const auto ends = [&] { return failed_ || durable_ >= write; };
  return synced_.wait_for(*held_, patience, ends) && !failed_;
}

Result<void> Journal::syncUpTo(std::uint64_t write) {
  return failed_ || durable_ < write ? sync() : Result<void>();
}

// After any failure, or when the file has grown, the whole file is written anew from the records.
// So one success makes good all that failed before it.
Result<void> Journal::append(std::string_view lines, bool sync) {
  auto written = noteWritten(mayAppend() ? write(lines) : rewrite());
  return written && sync ? makeDurable() : written;
}

bool Journal::mayAppend() const {
  return intact_ && size_ - textSize_ <= kGrowth + 2 * compactedSize_ &&
         textSize_ <= kTextGrowth + 2 * compactedTextSize_;
}

Result<void> Journal::noteWritten(Result<void> written) {
  intact_ = static_cast<bool>(written);
  failed_ = !intact_;
  // An unfinished line may be at the end of this file.
  if (failed_) {
    file_.reset();
  }
  return written;
}

Result<void> Journal::write(std::string_view lines) {
  if (!file_) {
    auto file = files_.append(path_);
    if (!file) {
      return file.error();
    }
    file_ = std::move(*file);
  }
  if (!lines.empty()) {
    if (auto written = file_->write(lines); !written) {
      return written;
    }
    size_ += lines.size();
    ++written_;
  }
  return {};
}

// Returns once the last write is on disk, after one wait of this thread or of another one. A wait
// that began before the write does not count: nobody knows whether it covers it.
Result<void> Journal::makeDurable() {
  const std::uint64_t mine = written_;
  while (durable_ < mine) {
    if (mine <= lost_) {
      return lossReason_;
    }
    if (syncing_) {
      synced_.wait(*held_);
    } else if (!file_) {
      return append({}, false);  // another thread has failed to write, and so ended the file
    } else {
      syncFile();
    }
  }
  return {};
}

// Meanwhile another thread may have failed to write or written the file anew; then file_ is another
// one, and what happens to this one is of no importance unless it is the only one.
void Journal::syncFile() {
  const std::shared_ptr<OutputFile> file = file_;
  const std::uint64_t covered = written_;
  syncing_ = true;
  const auto outcome = [&] {
    const Released meanwhile(held_);
    return file->sync();
  }();
  syncing_ = false;
  if (outcome) {
    durable_ = std::max(durable_, covered);
  } else {
    lost_ = covered;
    lossReason_ = outcome.error();
    if (file == file_) {
      // The system may have dropped what it could not write.
      intact_ = false;
      failed_ = true;
      file_.reset();
    }
  }
  synced_.notify_all();
}

// The change to be written is in the records already (replay()), so a rewrite contains it.
Result<void> Journal::rewrite() {
  std::size_t textSize = 0;
  const std::string bytes = snapshot(textSize);
  file_.reset();
  auto replaced = replaceFile(files_, path_, bytes);
  if (replaced) {
    size_ = bytes.size();
    textSize_ = compactedTextSize_ = textSize;
    compactedSize_ = size_ - textSize_;
    durable_ = ++written_;
  }
  return replaced;
}

// `textSize` is increased by the size of the lines that have messages.
std::string Journal::snapshot(std::size_t& textSize) {
  const std::int64_t oldest = secondsOf(clock_.now()) - kVoidSeconds;
  // The Message-ID of a failed forward serves a next try. One that has not been tried for so long
  // will hardly be.
  std::erase_if(records_, [&](const auto& item) {
    const ForwardRecord& record = item.second;
    const bool stale = record.state == ForwardRecord::State::kVoid && record.time < oldest;
    if (stale) {
      entryOfFile_.erase(record.file);
    }
    return stale;
  });
  std::string bytes;
  // For each record the lines that make it again: its intent, and its outcome if that is known.
  for (const auto& [entry, record] : records_) {
    const std::string time = std::to_string(record.time);
    if (const auto text = texts_.find(record.file); text != texts_.end()) {
      const std::string line =
          encodeJournalLine({kHeld, time, entry, record.messageId, record.file, text->second});
      textSize += line.size();
      bytes += line;
      continue;
    }
    bytes += encodeJournalLine({kIntent, time, entry, record.messageId, record.file});
    if (record.state == ForwardRecord::State::kIntended) {
      continue;
    }
    const bool sent = record.state == ForwardRecord::State::kSent;
    bytes += encodeJournalLine({sent ? kDone : kVoid, record.file});
  }
  for (const auto& [file, text] : texts_) {
    if (!entryOfFile_.contains(file)) {
      const std::string line = encodeJournalLine({kText, file, text});
      textSize += line.size();
      bytes += line;
    }
  }
  for (const auto& [file, recipients] : settledFor_) {
    std::vector<std::string_view> fields = {kDeliveredTo, file};
    fields.insert(fields.end(), recipients.begin(), recipients.end());
    bytes += encodeJournalLine(fields);
  }
  for (const auto& [file, time] : unanswered_) {
    bytes += encodeJournalLine({kUnknown, file, std::to_string(time)});
  }
  for (const std::string& file : begun_) {
    bytes += encodeJournalLine({kBegun, file});
  }
  for (const std::string& file : delivered_) {
    bytes += encodeJournalLine({kDelivered, file});
  }
  return bytes;
}

}  // namespace relaybird
