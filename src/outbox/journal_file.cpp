// SPDX-License-Identifier: MIT
// What is written and what is durable are counted separately, so that a thread knows whether the
// wait of another one has served its lines. A file that has failed is closed and never written to
// again; what becomes of it is of no importance once another one has its name.
#include "outbox/journal_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace relaybird {

namespace {

// The file is written anew when it exceeds twice its size after the last time plus this much.
constexpr std::size_t kGrowth = std::size_t{256} << 10;
// The same for the messages in it.
constexpr std::size_t kTextGrowth = std::size_t{4} << 20;
// A larger file was not written by us.
constexpr std::size_t kSizeLimit = std::size_t{256} << 20;

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

JournalFile::JournalFile(FileSystem& files, std::string path, std::function<Content()> content,
                         std::mutex* held)
    : files_(files), path_(std::move(path)), content_(std::move(content)), held_(held) {}

JournalFile::~JournalFile() {
  if (file_ && durable_ < written_) {
    (void)file_->sync();
  }
}

Result<void> JournalFile::read(const Reader& reader) {
  const auto info = files_.inspect(path_);
  if (!info && info.error().code == ENOENT) {
    intact_ = false;  // so that the first line makes the file, with a durable name
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
    const std::string_view line = rest.substr(0, end);
    textSize_ += reader(line) ? line.size() : 0;
    rest.remove_prefix(end + 1);
  }
  return {};
}

Result<void> JournalFile::append(std::string_view lines) {
  return noteWritten(mayAppend() ? write(lines) : replace());
}

Result<void> JournalFile::appendDurably(std::string_view lines) {
  auto written = append(lines);
  return written ? makeDurable() : written;
}

Result<void> JournalFile::appendText(std::string_view line, bool& certain) {
  const bool appending = mayAppend();
  if (auto written = append(line); !written) {
    // A part of a line does not count.
    certain = appending;
    return written;
  }
  textSize_ += appending ? line.size() : 0;
  certain = false;
  return makeDurable();
}

Result<void> JournalFile::rewrite() {
  return noteWritten(replace());
}

Result<void> JournalFile::sync() {
  return failed_ || durable_ < written_ ? appendDurably({}) : Result<void>();
}

bool JournalFile::leaveToOthers(std::uint64_t write, std::chrono::milliseconds patience) {
  const auto ends = [&] { return failed_ || durable_ >= write; };
  return synced_.wait_for(*held_, patience, ends) && !failed_;
}

Result<void> JournalFile::syncUpTo(std::uint64_t write) {
  return failed_ || durable_ < write ? sync() : Result<void>();
}

bool JournalFile::mayAppend() const {
  return intact_ && size_ - textSize_ <= kGrowth + 2 * compactedSize_ &&
         textSize_ <= kTextGrowth + 2 * compactedTextSize_;
}

Result<void> JournalFile::noteWritten(Result<void> written) {
  intact_ = static_cast<bool>(written);
  failed_ = !intact_;
  // An unfinished line may be at the end of this file.
  if (failed_) {
    file_.reset();
  }
  return written;
}

Result<void> JournalFile::write(std::string_view lines) {
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
Result<void> JournalFile::makeDurable() {
  const std::uint64_t mine = written_;
  while (durable_ < mine) {
    if (mine <= lost_) {
      return lossReason_;
    }
    if (syncing_) {
      synced_.wait(*held_);
    } else if (!file_) {
      return append({});  // another thread has failed to write, and so ended the file
    } else {
      syncFile();
    }
  }
  return {};
}

// Meanwhile another thread may have failed to write or written the file anew; then file_ is another
// one, and what happens to this one is of no importance unless it is the only one.
void JournalFile::syncFile() {
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

Result<void> JournalFile::replace() {
  const Content content = content_();
  file_.reset();
  auto replaced = replaceFile(files_, path_, content.lines);
  if (replaced) {
    size_ = content.lines.size();
    textSize_ = compactedTextSize_ = content.texts;
    compactedSize_ = size_ - textSize_;
    durable_ = ++written_;
  }
  return replaced;
}

}  // namespace relaybird
