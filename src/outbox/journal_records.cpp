// SPDX-License-Identifier: MIT
#include "outbox/journal_records.h"

#include <charconv>
#include <utility>

#include "outbox/journal_line.h"

namespace relaybird {

using namespace journal_event;

namespace {

std::int64_t parseSeconds(const std::string& text) {
  std::int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

// The text of a message is moved and not copied.
bool JournalRecords::apply(std::vector<std::string> event) {
  const std::string& name = event[0];
  if (name == kIntent && event.size() == 5) {
    addForward(event, ForwardRecord::State::kIntended);
  } else if (name == kHeld && event.size() == 6) {
    keepText(event[4], std::move(event[5]));
    addForward(event, ForwardRecord::State::kSent);
  } else if (name == kText && event.size() == 3) {
    keepText(event[1], std::move(event[2]));
  } else if (name == kDeliveredTo && event.size() > 2) {
    settledFor_[event[1]].insert(event.begin() + 2, event.end());
  } else if (name == kUnknown && event.size() == 3) {
    unanswered_[event[1]] = parseSeconds(event[2]);
    if (settledFor_.contains(event[1])) {
      sentToAll_.erase(event[1]);
    } else {
      sentToAll_.insert(event[1]);
    }
  } else if (name == kSettled && event.size() == 2) {
    forget(event[1]);
  } else {
    return event.size() == 2 && applyToFile(name, event[1]);
  }
  return true;
}

bool JournalRecords::applyToFile(std::string_view event, const std::string& file) {
  if (event == kRemoved) {
    delivered_.erase(file);
  } else if (event == kBegun) {
    begun_.insert(file);
    sentToAll_.erase(file);
  } else if (event == kEnded) {
    begun_.erase(file);
  } else if (event == kStored) {
    dropText(file);
  } else if (event == kVoid) {
    dropText(file);
    setState(file, ForwardRecord::State::kVoid);
  } else if (event == kDone) {
    setState(file, ForwardRecord::State::kSent);
  } else if (event == kDelivered) {
    setState(file, ForwardRecord::State::kSent);
    delivered_.insert(file);
    dropText(file);
    dropUnderWay(file);
  } else {
    return false;
  }
  return true;
}

// A new intent for an entry replaces the record of its earlier try.
void JournalRecords::addForward(std::vector<std::string>& event, ForwardRecord::State state) {
  const std::string& entryId = event[2];
  forget(entryId);
  entryOfFile_[event[4]] = entryId;
  forwards_[entryId] = {std::move(event[3]), std::move(event[4]), state, parseSeconds(event[1])};
}

// An event about a file without a record is not an error: its entry may be settled already.
void JournalRecords::setState(const std::string& file, ForwardRecord::State state) {
  const auto entry = entryOfFile_.find(file);
  if (entry != entryOfFile_.end()) {
    forwards_.at(entry->second).state = state;
  }
}

void JournalRecords::forget(const std::string& entryId) {
  const auto record = forwards_.find(entryId);
  if (record == forwards_.end()) {
    return;
  }
  entryOfFile_.erase(record->second.file);
  forwards_.erase(record);
}

void JournalRecords::keepText(const std::string& file, std::string text) {
  dropText(file);
  textBytes_ += text.size();
  texts_[file] = std::move(text);
}

void JournalRecords::dropText(const std::string& file) {
  if (const auto found = texts_.find(file); found != texts_.end()) {
    textBytes_ -= found->second.size();
    texts_.erase(found);
  }
}

void JournalRecords::dropUnderWay(const std::string& file) {
  settledFor_.erase(file);
  unanswered_.erase(file);
  sentToAll_.erase(file);
  begun_.erase(file);
}

void JournalRecords::dropVoidBefore(std::int64_t time) {
  std::erase_if(forwards_, [&](const auto& item) {
    const ForwardRecord& record = item.second;
    const bool stale = record.state == ForwardRecord::State::kVoid && record.time < time;
    if (stale) {
      entryOfFile_.erase(record.file);
    }
    return stale;
  });
}

const ForwardRecord* JournalRecords::find(const std::string& entryId) const {
  const auto found = forwards_.find(entryId);
  return found == forwards_.end() ? nullptr : &found->second;
}

std::set<std::string> JournalRecords::settledFor(const std::string& file) const {
  const auto found = settledFor_.find(file);
  return found == settledFor_.end() ? std::set<std::string>() : found->second;
}

std::optional<std::int64_t> JournalRecords::unansweredSince(const std::string& file) const {
  const auto found = unanswered_.find(file);
  return found == unanswered_.end() ? std::nullopt : std::optional(found->second);
}

std::set<std::string> JournalRecords::filesUnderWay() const {
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

JournalFile::Content JournalRecords::lines() const {
  JournalFile::Content content;
  const auto add = [&](const std::vector<std::string_view>& fields) {
    content.lines += encodeJournalLine(fields);
  };
  const auto addText = [&](const std::vector<std::string_view>& fields) {
    const std::size_t before = content.lines.size();
    add(fields);
    content.texts += content.lines.size() - before;
  };
  // For each forward the lines that make it again: its intent, and its outcome if that is known.
  for (const auto& [entry, record] : forwards_) {
    const std::string time = std::to_string(record.time);
    if (const auto text = texts_.find(record.file); text != texts_.end()) {
      addText({kHeld, time, entry, record.messageId, record.file, text->second});
      continue;
    }
    add({kIntent, time, entry, record.messageId, record.file});
    if (record.state != ForwardRecord::State::kIntended) {
      const bool sent = record.state == ForwardRecord::State::kSent;
      add({sent ? kDone : kVoid, record.file});
    }
  }
  for (const auto& [file, text] : texts_) {
    if (!entryOfFile_.contains(file)) {
      addText({kText, file, text});
    }
  }
  const auto addSettled = [&](bool sentToAll) {
    for (const auto& [file, recipients] : settledFor_) {
      if (sentToAll_.contains(file) == sentToAll) {
        std::vector<std::string_view> fields = {kDeliveredTo, file};
        fields.insert(fields.end(), recipients.begin(), recipients.end());
        add(fields);
      }
    }
  };
  // In an order in which they say again whether the unanswered try was the last one, and for all.
  for (const std::string& file : begun_) {
    add({kBegun, file});
  }
  addSettled(false);
  for (const auto& [file, time] : unanswered_) {
    add({kUnknown, file, std::to_string(time)});
    if (!sentToAll_.contains(file) && !settledFor_.contains(file)) {
      add({kBegun, file});
      if (!begun_.contains(file)) {
        add({kEnded, file});
      }
    }
  }
  addSettled(true);
  for (const std::string& file : delivered_) {
    add({kDelivered, file});
  }
  return content;
}

}  // namespace relaybird
