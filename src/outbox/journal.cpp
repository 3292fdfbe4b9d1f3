// SPDX-License-Identifier: MIT
// Every change is applied to the records first and then appended to the file, so that a failed
// write loses nothing while the program runs. Only what nothing else tells is waited for: after a
// crash, a lost "done" or "settled" line is derived again from the files of the outbox and the read
// marks.
#include "outbox/journal.h"

#include <utility>

#include "outbox/journal_line.h"

namespace relaybird {

using namespace journal_event;

namespace {

// How long the Message-ID of a failed forward is kept for the next try. One that has not been tried
// for so long will hardly be.
constexpr std::int64_t kVoidSeconds = std::int64_t{30} * 24 * 60 * 60;

std::int64_t secondsOf(DateTime moment) {
  return std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
}

std::string timeText(const Clock& clock) {
  return std::to_string(secondsOf(clock.now()));
}

}  // namespace

Journal::Journal(FileSystem& files, const Clock& clock, std::string path, std::mutex* held)
    : clock_(clock),
      file_(
          files, std::move(path),
          [this] {
            records_.dropVoidBefore(secondsOf(clock_.now()) - kVoidSeconds);
            return records_.lines();
          },
          held) {}

// Lines are applied in their order. A damaged line is counted and left out: the others are still
// worth more than no journal.
Result<std::unique_ptr<Journal>> Journal::open(FileSystem& files, const Clock& clock,
                                               std::string path, std::mutex* held) {
  std::unique_ptr<Journal> journal(new Journal(files, clock, std::move(path), held));
  auto read = journal->file_.read([&](std::string_view line) { return journal->read(line); });
  if (!read) {
    return read.error();
  }
  return journal;
}

std::set<std::string> Journal::namesHeldIn(FileSystem& files, const std::string& path) {
  JournalRecords records;
  JournalFile file(
      files, path, [&] { return records.lines(); }, nullptr);
  const auto read = file.read([&](std::string_view line) {
    if (auto event = decodeJournalLine(line)) {
      records.apply(std::move(*event));
    }
    return false;  // nothing is written
  });
  std::set<std::string> names;
  for (const auto& [name, text] : records.texts()) {
    names.insert(name);
  }
  return read ? names : std::set<std::string>();
}

bool Journal::read(std::string_view line) {
  auto event = decodeJournalLine(line);
  const std::string name = event ? event->front() : "";
  const std::string file = event && event->size() == 2 ? event->back() : "";
  if (!event || !records_.apply(std::move(*event))) {
    ++damagedLines_;
    return false;
  }
  if (name == kDone) {
    // Needed by the recovery: after a power cut, a line may say "done" for a file that is still in
    // tmp/. A delivered file was in new/, so for it there is no doubt.
    calledDone_.insert(file);
  } else if (name == kDelivered) {
    calledDone_.erase(file);
  }
  return name == kHeld || name == kText;
}

// Applies an event to the records. The line that is to be written for it.
std::string Journal::take(std::vector<std::string> event) {
  std::string line = encodeJournalLine({event.begin(), event.end()});
  records_.apply(std::move(event));
  return line;
}

// The same event for each of the subjects. Written together, a crash leaves the first lines whole,
// and the check sum finds the one that is cut.
std::string Journal::take(std::string_view event, const std::vector<std::string>& subjects) {
  std::string lines;
  for (const std::string& subject : subjects) {
    lines += take({std::string(event), subject});
  }
  return lines;
}

Result<void> Journal::intend(const std::string& entryId, const std::string& messageId,
                             const std::string& file) {
  auto written =
      file_.appendDurably(take({std::string(kIntent), timeText(clock_), entryId, messageId, file}));
  // The caller takes its message back now. The Message-ID is kept for the next try.
  if (!written) {
    take({std::string(kVoid), file});
  }
  return written;
}

Result<void> Journal::hold(const std::string& entryId, const std::string& messageId,
                           const std::string& file, std::string text, bool& certain) {
  std::vector<std::string> event = {std::string(kHeld), timeText(clock_), entryId, messageId, file};
  event.push_back(std::move(text));
  auto held = file_.appendText(take(std::move(event)), certain);
  if (!held) {
    take({std::string(kVoid), file});
    // Written anew, the file does not have it.
    certain = certain || sync();
  }
  return held;
}

Result<void> Journal::stored(const std::vector<std::string>& files) {
  return files.empty() ? Result<void>() : file_.appendDurably(take(kStored, files));
}

Result<void> Journal::dropTexts() {
  return file_.textSize() > 0 && records_.texts().empty() ? file_.rewrite() : Result<void>();
}

// Not waited for: if the line is lost, the file in new/ tells the same.
Result<void> Journal::done(const std::string& file) {
  return file_.append(take(kDone, {file}));
}

Result<void> Journal::annul(const std::string& file) {
  return file_.append(take(kVoid, {file}));
}

// Not waited for: if the line is lost, the read mark in the mailbox tells the same.
Result<void> Journal::settle(const std::string& entryId) {
  return records_.find(entryId) ? file_.append(take(kSettled, {entryId})) : Result<void>();
}

Result<void> Journal::deliver(const std::vector<std::string>& files) {
  return file_.append(take(kDelivered, files));
}

Result<void> Journal::deliverTo(const std::string& file,
                                const std::vector<std::string>& recipients) {
  std::vector<std::string> event = {std::string(kDeliveredTo), file};
  event.insert(event.end(), recipients.begin(), recipients.end());
  return file_.appendDurably(take(std::move(event)));
}

// The line about a missing answer speaks of all; a beginning behind it takes that back.
Result<void> Journal::unanswered(const std::string& file, bool forAll) {
  const bool begun = records_.begun(file);
  std::string lines = take({std::string(kUnknown), file, timeText(clock_)});
  if (!forAll) {
    lines += take(kBegun, {file});
    lines += begun ? "" : take(kEnded, {file});
  }
  return file_.appendDurably(lines);
}

Result<void> Journal::begin(const std::string& file) {
  return file_.append(take(kBegun, {file}));
}

Result<void> Journal::ended(const std::string& file) {
  return file_.append(take(kEnded, {file}));
}

Result<void> Journal::removed(const std::vector<std::string>& files) {
  std::string lines;
  for (const std::string& file : files) {
    if (records_.delivered().contains(file)) {
      lines += take(kRemoved, {file});
    }
  }
  return lines.empty() ? Result<void>() : file_.append(lines);
}

}  // namespace relaybird
