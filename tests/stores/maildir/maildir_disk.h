// SPDX-License-Identifier: MIT
// A Maildir in its own folder, and a disk that counts read accesses.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {

/// A disk without real syncs: no test cuts the power, and a killed process leaves everything that
/// it has written.
class UnsyncedDisk : public PosixFileSystem {
 public:
  using PosixFileSystem::PosixFileSystem;

  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override {
    return wrapped(PosixFileSystem::create(path));
  }
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override {
    return wrapped(PosixFileSystem::append(path));
  }
  Result<void> syncFolder(const std::string& folder) override {
    const auto info = inspect(folder + "/.");
    return info ? Result<void>() : Result<void>(info.error());
  }

 private:
  class File : public OutputFile {
   public:
    explicit File(std::unique_ptr<OutputFile> real) : real_(std::move(real)) {}
    Result<void> write(std::string_view bytes) override { return real_->write(bytes); }
    Result<void> sync() override { return {}; }
    Result<void> close() override { return real_->close(); }

   private:
    std::unique_ptr<OutputFile> real_;
  };

  static Result<std::unique_ptr<OutputFile>> wrapped(Result<std::unique_ptr<OutputFile>> file) {
    if (!file) {
      return file;
    }
    return std::unique_ptr<OutputFile>(std::make_unique<File>(std::move(*file)));
  }
};

/// Counts the read accesses, which FaultyFileSystem does not, and can run a function before one.
class CountingDisk : public FaultyFileSystem {
 public:
  using FaultyFileSystem::FaultyFileSystem;

  Result<FileInfo> inspect(const std::string& path) override {
    ++inspected;
    return FaultyFileSystem::inspect(path);
  }
  Result<std::vector<FolderEntry>> list(const std::string& folder) override {
    listed.push_back(folder);
    if (unreadable(folder)) {
      return Error{13, folder + ": Permission denied"};
    }
    auto result = FaultyFileSystem::list(folder);
    if (afterList) {
      afterList(folder);
    }
    return result;
  }
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    opened.push_back(path);
    if (unopenable && unopenable(path)) {
      return Error{13, path + ": Permission denied"};
    }
    return FaultyFileSystem::open(path);
  }

  Result<void> rename(const std::string& from, const std::string& to) override {
    if (renameRefused && renameRefused("rename " + from + " " + to)) {
      return Error{30, from + ": Read-only file system"};
    }
    return FaultyFileSystem::rename(from, to);
  }

  int inspected = 0;
  std::vector<std::string> listed;
  std::vector<std::string> opened;
  std::function<bool(const std::string&)> unreadable = [](const std::string&) { return false; };
  std::function<bool(const std::string&)> unopenable;
  std::function<bool(const std::string& step)> renameRefused;
  std::function<void(const std::string&)> afterList;
};

struct MaildirDisk {
  MaildirDisk() {
    for (const char* part : {"", "/new", "/cur", "/tmp"}) {
      std::filesystem::create_directory(maildir + part);
    }
  }

  std::string deliver(const std::string& name, std::string_view bytes = "Subject: x\n\ny\n") {
    writeBytes(maildir + "/" + name, bytes);
    return maildir + "/" + name;
  }
  void move(const std::string& from, const std::string& to) {
    std::filesystem::rename(maildir + "/" + from, maildir + "/" + to);
  }
  /// "new/a", "cur/b:2,S", ..., sorted.
  std::vector<std::string> contents() const {
    std::vector<std::string> names;
    for (const char* part : {"new", "cur", "tmp"}) {
      for (const auto& entry : std::filesystem::directory_iterator(maildir + "/" + part)) {
        names.push_back(std::string(part) + "/" + entry.path().filename().string());
      }
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TempFolder temp;
  std::string maildir = temp.path("Maildir");
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  UnsyncedDisk posix{sleeper};
  CountingDisk disk{posix};
};

}  // namespace relaybird
