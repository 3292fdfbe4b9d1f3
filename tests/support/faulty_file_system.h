// SPDX-License-Identifier: MIT
// A disk that breaks on demand: a decorator over any FileSystem that counts the primitive steps
// which change the disk and makes one of them fail, or lets the test cut the power before it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"

namespace relaybird {

/// Steps are counted from 1: create and append (opening), each write, sync and close, rename,
/// remove, createFolder, syncFolder. Inspecting, reading and locking are not steps, nor is
/// destroying a file that was not closed. Not thread-safe.
class FaultyFileSystem : public FileSystem {
 public:
  explicit FaultyFileSystem(FileSystem& real) : real_(real) {}

  /// Step `step` fails with `errorNumber` and changes nothing on the disk, except that a failing
  /// close still closes. Steps after it work again.
  void failStep(std::size_t step, int errorNumber);
  /// Like failStep, and every step after it fails too.
  void failFromStep(std::size_t step, int errorNumber);
  /// Like failStep, for several steps.
  void failSteps(std::set<std::size_t> steps, int errorNumber);
  /// Called for every step, and for "inspect PATH", "list PATH", "open PATH" and "read PATH", which
  /// are not steps: if it returns true, the call fails with EIO and does nothing.
  std::function<bool(const std::string& step)> refused;
  /// When a failing step is a write, its first half reaches the disk before it fails.
  void tearFailingWrites(bool tear) { tearFailing_ = tear; }
  /// Calls `hook` before step `step`; when the step is a write and `tear` is set, its first half is
  /// on the disk by then (and is not written again). A hook that ends the process leaves exactly
  /// what a crash there would leave.
  void hookBefore(std::size_t step, std::function<void()> hook, bool tear = false);
  /// Calls `hook` before every step, with its description as in record().
  void onEveryStep(std::function<void(const std::string& step)> hook) {
    everyStep_ = std::move(hook);
  }
  /// Removes all faults and hooks except `refused`; counting starts again.
  void reset();

  std::size_t steps() const { return record_.size(); }
  /// The steps so far: "create PATH", "append PATH", "write PATH SIZE", "sync PATH", "close
  /// PATH", "rename FROM TO", "remove PATH", "createFolder PATH", "syncFolder PATH".
  const std::vector<std::string>& record() const { return record_; }

  Result<FileInfo> inspect(const std::string& path) override {
    if (auto error = refusal("inspect " + path)) {
      return *error;
    }
    return real_.inspect(path);
  }
  Result<std::string> resolve(const std::string& path) override { return real_.resolve(path); }
  Result<void> mayWrite(const std::string& file) override { return real_.mayWrite(file); }
  Result<std::vector<FolderEntry>> list(const std::string& folder) override {
    if (auto error = refusal("list " + folder)) {
      return *error;
    }
    return real_.list(folder);
  }
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    if (auto error = refusal("open " + path)) {
      return *error;
    }
    auto file = real_.open(path);
    if (!file) {
      return file;
    }
    return std::unique_ptr<InputFile>(std::make_unique<Input>(*this, std::move(*file), path));
  }
  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override;
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override;
  Result<void> rename(const std::string& from, const std::string& to) override;
  Result<void> remove(const std::string& file) override;
  Result<void> createFolder(const std::string& folder) override;
  Result<void> syncFolder(const std::string& folder) override;
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) override {
    return real_.lockFolder(folder);
  }

 private:
  class File;
  class Input : public InputFile {
   public:
    Input(const FaultyFileSystem& files, std::unique_ptr<InputFile> real, std::string path)
        : files_(files), real_(std::move(real)), path_(std::move(path)) {}
    const FileInfo& info() const override { return real_->info(); }
    Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
      if (auto error = files_.refusal("read " + path_)) {
        return *error;
      }
      return real_->readAt(offset, buffer, size);
    }

   private:
    const FaultyFileSystem& files_;
    std::unique_ptr<InputFile> real_;
    std::string path_;
  };
  /// Counts a step and runs the hooks; returns the error that it has to fail with.
  std::optional<Error> step(const std::string& description, OutputFile* file = nullptr,
                            std::string_view* bytes = nullptr);

  std::optional<Error> refusal(const std::string& description) const;

  FileSystem& real_;
  std::vector<std::string> record_;
  std::set<std::size_t> failing_;
  std::size_t failFrom_ = 0;  ///< 0: never
  int errorNumber_ = 0;
  bool tearFailing_ = false;
  std::size_t hookStep_ = 0;
  bool hookTears_ = false;
  std::function<void()> hook_;
  std::function<void(const std::string&)> everyStep_;
};

}  // namespace relaybird
