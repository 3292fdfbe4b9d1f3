// SPDX-License-Identifier: MIT
// Bytes stay in memory up to a limit; beyond it they move to a file of the spool, and all that
// follow are appended there. The readers of messages see no difference: FetchedInput answers like
// an open file of a mailbox.
#include "stores/account/fetched_body.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace relaybird {
namespace {

// An open file that tells when the message came instead of when the file was written.
class FetchedInput : public InputFile {
 public:
  FetchedInput(std::unique_ptr<InputFile> file, std::string bytes, DateTime received)
      : file_(std::move(file)), bytes_(std::move(bytes)) {
    if (file_) {
      info_ = file_->info();
    } else {
      info_.type = FileType::kRegular;
      info_.size = bytes_.size();
    }
    info_.modified = received;
  }

  const FileInfo& info() const override { return info_; }
  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    if (file_) {
      return file_->readAt(offset, buffer, size);
    }
    const auto from = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes_.size()));
    const std::size_t count = std::min(size, bytes_.size() - from);
    std::memcpy(buffer, bytes_.data() + from, count);
    return count;
  }

 private:
  std::unique_ptr<InputFile> file_;  // null: in `bytes_`
  std::string bytes_;
  FileInfo info_;
};

constexpr std::string_view kSpoolName = "fetched-";

}  // namespace

BodySpool::~BodySpool() {
  for (const auto& file : all_) {
    discard(*file);
  }
}

std::shared_ptr<SpoolFile> BodySpool::make() {
  all_.push_back(std::make_shared<SpoolFile>());
  return all_.back();
}

void BodySpool::append(const std::shared_ptr<SpoolFile>& file, std::string bytes, bool last) {
  waiting_.steps_.push_back({file, std::move(bytes), last, nullptr, std::nullopt});
}

SpoolWork BodySpool::takeWork() {
  // What is queued for them is not worth writing.
  std::erase_if(waiting_.steps_,
                [](const SpoolWork::Step& step) { return step.file.use_count() == 2; });
  for (auto& file : all_) {
    if (file.use_count() == 1) {
      waiting_.abandoned_.push_back(std::move(file));
    }
  }
  std::erase(all_, nullptr);
  return std::exchange(waiting_, {});
}

void BodySpool::settle(SpoolWork work) {
  for (SpoolWork::Step& step : work.steps_) {
    if (step.failure && !step.file->failure) {
      step.file->failure = std::move(step.failure);
    }
    if (step.last && !step.file->failure) {
      step.file->input = std::move(step.input);
    }
  }
}

void BodySpool::clear() {
  if (const auto entries = files_.list(folder_)) {
    for (const FolderEntry& entry : *entries) {
      if (entry.name.starts_with(kSpoolName)) {
        (void)files_.remove(joinPath(folder_, entry.name));
      }
    }
  }
}

void BodySpool::perform(SpoolWork& work) {
  for (SpoolWork::Step& step : work.steps_) {
    if (const auto written = write(step); !written) {
      step.failure = written.error();
      discard(*step.file);
    }
  }
  for (const auto& file : work.abandoned_) {
    discard(*file);
  }
  work.abandoned_.clear();
}

Result<void> BodySpool::write(SpoolWork::Step& step) {
  SpoolFile& file = *step.file;
  if (file.path.empty()) {
    std::string path = joinPath(folder_, std::string(kSpoolName) + std::to_string(++last_));
    if (!MakeFolderPath(files_, path)) {
      return Error{0, "The folder " + folder_ + " cannot be created"};
    }
    auto created = files_.create(path);
    if (!created) {
      return created.error();
    }
    file.path = std::move(path);
    file.output = std::move(*created);
  }
  if (const auto written = file.output->write(step.bytes); !written || !step.last) {
    return written;
  }
  if (const auto closed = file.output->close(); !closed) {
    return closed;
  }
  file.output.reset();
  auto opened = files_.open(file.path);
  discard(file);
  if (!opened) {
    return opened.error();
  }
  step.input = std::move(*opened);
  return {};
}

void BodySpool::discard(SpoolFile& file) {
  file.output.reset();
  if (!file.path.empty()) {
    (void)files_.remove(std::exchange(file.path, {}));
  }
}

void FetchedBody::append(std::string bytes) {
  size_ += bytes.size();
  if (!file_ && size_ > kBodyInMemory) {
    file_ = spool_.make();
    spool_.append(file_, std::exchange(bytes_, {}), false);
  }
  if (file_) {
    spool_.append(file_, std::move(bytes), false);
  } else if (bytes_.empty()) {
    bytes_ = std::move(bytes);
  } else {
    bytes_ += bytes;
  }
}

void FetchedBody::finish() {
  finished_ = true;
  if (file_) {
    spool_.append(file_, {}, true);
  }
}

std::unique_ptr<InputFile> FetchedBody::open(DateTime received) {
  return std::make_unique<FetchedInput>(file_ ? std::move(file_->input) : nullptr,
                                        std::move(bytes_), received);
}

std::unique_ptr<InputFile> fetchedMessage(std::string bytes, DateTime received) {
  return std::make_unique<FetchedInput>(nullptr, std::move(bytes), received);
}

}  // namespace relaybird
