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

void BodySpool::clear() {
  if (const auto entries = files_.list(folder_)) {
    for (const FolderEntry& entry : *entries) {
      if (entry.name.starts_with(kSpoolName)) {
        remove(joinPath(folder_, entry.name));
      }
    }
  }
}

Result<std::unique_ptr<OutputFile>> BodySpool::create(std::string& path) {
  path = joinPath(folder_, std::string(kSpoolName) + std::to_string(++last_));
  if (!MakeFolderPath(files_, path)) {
    return Error{0, "The folder " + folder_ + " cannot be created"};
  }
  return files_.create(path);
}

Result<std::unique_ptr<InputFile>> BodySpool::open(const std::string& path) {
  auto file = files_.open(path);
  remove(path);
  return file;
}

void BodySpool::remove(const std::string& path) {
  (void)files_.remove(path);
}

FetchedBody::~FetchedBody() {
  if (!path_.empty()) {
    spool_.remove(path_);
  }
}

Result<void> FetchedBody::append(std::string bytes) {
  size_ += bytes.size();
  if (!file_ && size_ > kBodyInMemory) {
    if (const auto moved = toFile(); !moved) {
      return moved;
    }
  }
  if (file_) {
    return file_->write(bytes);
  }
  if (bytes_.empty()) {
    bytes_ = std::move(bytes);
  } else {
    bytes_ += bytes;
  }
  return {};
}

Result<void> FetchedBody::toFile() {
  auto file = spool_.create(path_);
  if (!file) {
    return file.error();
  }
  file_ = std::move(*file);
  return file_->write(std::exchange(bytes_, {}));
}

Result<std::unique_ptr<InputFile>> FetchedBody::finish(DateTime received) {
  std::unique_ptr<InputFile> input;
  if (file_) {
    const auto closed = file_->close();
    file_.reset();
    if (!closed) {
      return closed.error();
    }
    auto opened = spool_.open(std::exchange(path_, {}));
    if (!opened) {
      return opened.error();
    }
    input = std::move(*opened);
  }
  return std::unique_ptr<InputFile>(
      std::make_unique<FetchedInput>(std::move(input), std::move(bytes_), received));
}

}  // namespace relaybird
