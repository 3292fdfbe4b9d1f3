// SPDX-License-Identifier: MIT
// The counts by address and minute, and their file: lines as in the journal, which are replayed at
// the start and rewritten after every few thousand.
#include "outbox/delivery/hourly_limit.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "outbox/journal_line.h"
#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"

namespace relaybird {

namespace {

constexpr std::int64_t kHour = 60;  // minutes
// Far more than is ever kept: a larger file was not written by us.
constexpr std::size_t kFileLimit = std::size_t{16} << 20;
constexpr std::size_t kLinesBeforeRewrite = 4096;

// The kinds of lines: LEFT ADDRESS MINUTE COUNT, STOPPED ADDRESS, LIFTED.
constexpr std::string_view kLeft = "left";
constexpr std::string_view kStopped = "stopped";
constexpr std::string_view kLifted = "lifted";

// Only the local part may depend on letter case (RFC 5321, 2.4).
std::string keyOf(const std::string& address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string::npos) {
    return address;
  }
  return address.substr(0, at) + asciiLower(address.substr(at));
}

std::set<std::string> keysOf(const std::vector<std::string>& recipients) {
  std::set<std::string> keys;
  for (const std::string& recipient : recipients) {
    keys.insert(keyOf(recipient));
  }
  return keys;
}

template <class Number>
bool readNumber(const std::string& text, Number& number) {
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc{} && read.ptr == end;
}

std::string leftLine(const std::string& address, std::int64_t minute, std::size_t count) {
  return encodeJournalLine({kLeft, address, std::to_string(minute), std::to_string(count)});
}

}  // namespace

HourlyLimit::HourlyLimit(FileSystem& files, const Clock& clock, std::string path, std::size_t most)
    : files_(files), clock_(clock), path_(std::move(path)), most_(most) {
  load();
  forgetOld();
}

HourlyLimit::~HourlyLimit() = default;

// Every address is asked, not only the first that is stopped, so that all that have reached the
// limit are told at once.
HourlyLimit::Verdict HourlyLimit::ask(const std::vector<std::string>& recipients) {
  forgetOld();
  Verdict verdict;
  for (const std::string& address : keysOf(recipients)) {
    if (!stopped_.contains(address)) {
      if (lastHour(address) < most_) {
        continue;
      }
      stopped_.insert(address);
      verdict.stoppedNow.push_back(address);
      // A stop must survive a crash. Counts are not synced: those of the last seconds matter
      // little.
      note({kStopped, address}, true);
    }
    if (verdict.waitsFor.empty()) {
      verdict.waitsFor = address;
    }
  }
  return verdict;
}

bool HourlyLimit::mayStopAfter(const std::vector<std::string>& recipients, std::size_t underWay) {
  forgetOld();
  const std::set<std::string> keys = keysOf(recipients);
  return std::any_of(keys.begin(), keys.end(), [&](const std::string& address) {
    return !stopped_.contains(address) && lastHour(address) + underWay >= most_;
  });
}

void HourlyLimit::count(const std::vector<std::string>& recipients) {
  const std::int64_t minute = thisMinute();
  for (const std::string& address : keysOf(recipients)) {
    ++left_[address][minute];
    note({kLeft, address, std::to_string(minute), "1"}, false);
  }
}

// The user has seen that mail goes in circles, or that there is much of it, and wants it to go on.
void HourlyLimit::lift() {
  if (stopped_.empty()) {
    return;
  }
  for (const std::string& address : std::exchange(stopped_, {})) {
    // With its counts the address would be stopped again at once.
    left_.erase(address);
  }
  note({kLifted}, true);
}

std::int64_t HourlyLimit::thisMinute() const {
  return std::chrono::floor<std::chrono::minutes>(clock_.now()).time_since_epoch().count();
}

// After the clock was set back, counts may lie in the future. They count as of now: they must
// neither count for longer than an hour nor be forgotten at once.
void HourlyLimit::forgetOld() {
  const std::int64_t now = thisMinute();
  for (auto& [address, minutes] : left_) {
    minutes.erase(minutes.begin(), minutes.lower_bound(now - kHour));
    std::size_t ahead = 0;
    for (auto late = minutes.upper_bound(now); late != minutes.end(); late = minutes.erase(late)) {
      ahead += late->second;
    }
    if (ahead > 0) {
      minutes[now] += ahead;
    }
  }
  std::erase_if(left_, [](const auto& each) { return each.second.empty(); });
}

std::size_t HourlyLimit::lastHour(const std::string& address) const {
  const auto found = left_.find(address);
  if (found == left_.end()) {
    return 0;
  }
  std::size_t sum = 0;
  for (const auto& [minute, count] : found->second) {
    sum += count;
  }
  return sum;
}

void HourlyLimit::load() {
  const auto bytes = readFile(files_, path_, kFileLimit);
  if (!bytes) {
    // Missing, or not readable: the next change replaces it.
    intact_ = false;
    return;
  }
  std::string_view rest = *bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    // A crash has cut the last line short; the next one must not be appended to it.
    if (end == rest.npos) {
      intact_ = false;
      break;
    }
    apply(rest.substr(0, end));
    rest.remove_prefix(end + 1);
    ++lines_;
  }
}

void HourlyLimit::apply(std::string_view line) {
  const auto fields = decodeJournalLine(line);
  if (!fields || fields->empty()) {
    intact_ = false;
    return;
  }
  const std::string& kind = fields->front();
  if (kind == kStopped && fields->size() == 2) {
    stopped_.insert((*fields)[1]);
  } else if (kind == kLifted) {
    for (const std::string& address : std::exchange(stopped_, {})) {
      left_.erase(address);
    }
  } else if (kind == kLeft && fields->size() == 4) {
    std::int64_t minute = 0;
    std::size_t count = 0;
    if (readNumber((*fields)[2], minute) && readNumber((*fields)[3], count)) {
      left_[(*fields)[1]][minute] += count;
    }
  }
}

// A failure is not reported: the limit is a guard against accidents, and mail must not wait for its
// file. The counts in memory still hold, and the next change writes the file anew.
void HourlyLimit::note(const std::vector<std::string_view>& fields, bool sync) {
  if (!intact_ || lines_ >= kLinesBeforeRewrite) {
    rewrite();
    return;
  }
  if (!file_) {
    auto opened = files_.append(path_);
    if (opened) {
      file_ = std::move(*opened);
    }
  }
  intact_ = file_ && file_->write(encodeJournalLine(fields));
  if (intact_ && sync) {
    intact_ = static_cast<bool>(file_->sync());
  }
  if (!intact_) {
    file_.reset();
  }
  ++lines_;
}

// Counts of one minute become one line, so the file stays small however much mail there is.
void HourlyLimit::rewrite() {
  forgetOld();
  file_.reset();
  std::string text;
  lines_ = 0;
  for (const std::string& address : stopped_) {
    text += encodeJournalLine({kStopped, address});
  }
  for (const auto& [address, minutes] : left_) {
    for (const auto& [minute, count] : minutes) {
      text += leftLine(address, minute, count);
    }
  }
  intact_ = static_cast<bool>(replaceFile(files_, path_, text));
}

}  // namespace relaybird
