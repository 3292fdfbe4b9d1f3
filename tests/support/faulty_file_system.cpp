// SPDX-License-Identifier: MIT
// Each call passes step(), which counts it, runs the hooks, and says whether it fails. Only then it
// reaches the real disk.
#include "support/faulty_file_system.h"

#include <cerrno>
#include <utility>

namespace relaybird {

class FaultyFileSystem::File : public OutputFile {
 public:
  File(FaultyFileSystem& owner, std::unique_ptr<OutputFile> real, std::string path)
      : owner_(owner), real_(std::move(real)), path_(std::move(path)) {}

  Result<void> write(std::string_view bytes) override {
    const std::string what = "write " + path_ + ' ' + std::to_string(bytes.size());
    if (auto error = owner_.step(what, real_.get(), &bytes)) {
      return *error;
    }
    return real_->write(bytes);
  }
  Result<void> sync() override {
    if (auto error = owner_.step("sync " + path_)) {
      return *error;
    }
    return real_->sync();
  }
  Result<void> close() override {
    const auto error = owner_.step("close " + path_);
    auto closed = real_->close();
    if (error) {
      return *error;
    }
    return closed;
  }

 private:
  FaultyFileSystem& owner_;
  std::unique_ptr<OutputFile> real_;
  std::string path_;
};

void FaultyFileSystem::failStep(std::size_t step, int errorNumber) {
  failSteps({step}, errorNumber);
}

void FaultyFileSystem::failSteps(std::set<std::size_t> steps, int errorNumber) {
  failing_ = std::move(steps);
  failFrom_ = 0;
  errorNumber_ = errorNumber;
}

void FaultyFileSystem::failFromStep(std::size_t step, int errorNumber) {
  failSteps({}, errorNumber);
  failFrom_ = step;
}

std::optional<Error> FaultyFileSystem::refusal(const std::string& description) const {
  if (!refused || !refused(description)) {
    return std::nullopt;
  }
  return Error{EIO, "Injected fault at: " + description};
}

void FaultyFileSystem::hookBefore(std::size_t step, std::function<void()> hook, bool tear) {
  hookStep_ = step;
  hook_ = std::move(hook);
  hookTears_ = tear;
}

void FaultyFileSystem::reset() {
  record_.clear();
  failing_.clear();
  failFrom_ = hookStep_ = 0;
  tearFailing_ = hookTears_ = false;
  hook_ = nullptr;
  everyStep_ = nullptr;
}

std::optional<Error> FaultyFileSystem::step(const std::string& description, OutputFile* file,
                                            std::string_view* bytes) {
  record_.push_back(description);
  const std::size_t number = record_.size();
  const bool hooked = hook_ && number == hookStep_;
  const bool fails = failing_.contains(number) || (failFrom_ != 0 && number >= failFrom_);
  if (bytes && ((hooked && hookTears_) || (fails && tearFailing_))) {
    const std::size_t half = bytes->size() / 2;
    if (auto written = file->write(bytes->substr(0, half)); !written) {
      return written.error();
    }
    bytes->remove_prefix(half);
  }
  if (everyStep_) {
    everyStep_(description);
  }
  if (hooked) {
    hook_();
  }
  if (fails) {
    return Error{errorNumber_, "Injected fault at: " + description};
  }
  return refusal(description);
}

Result<std::unique_ptr<OutputFile>> FaultyFileSystem::create(const std::string& path) {
  if (auto error = step("create " + path)) {
    return *error;
  }
  auto file = real_.create(path);
  if (!file) {
    return file;
  }
  return std::unique_ptr<OutputFile>(std::make_unique<File>(*this, std::move(*file), path));
}

Result<std::unique_ptr<OutputFile>> FaultyFileSystem::append(const std::string& path) {
  if (auto error = step("append " + path)) {
    return *error;
  }
  auto file = real_.append(path);
  if (!file) {
    return file;
  }
  return std::unique_ptr<OutputFile>(std::make_unique<File>(*this, std::move(*file), path));
}

Result<void> FaultyFileSystem::rename(const std::string& from, const std::string& to) {
  if (auto error = step("rename " + from + ' ' + to)) {
    return *error;
  }
  return real_.rename(from, to);
}

Result<void> FaultyFileSystem::remove(const std::string& file) {
  if (auto error = step("remove " + file)) {
    return *error;
  }
  return real_.remove(file);
}

Result<void> FaultyFileSystem::createFolder(const std::string& folder) {
  if (auto error = step("createFolder " + folder)) {
    return *error;
  }
  return real_.createFolder(folder);
}

Result<void> FaultyFileSystem::syncFolder(const std::string& folder) {
  if (auto error = step("syncFolder " + folder)) {
    return *error;
  }
  return real_.syncFolder(folder);
}

}  // namespace relaybird
