// SPDX-License-Identifier: MIT
// A disk in memory that records every change and fails on demand.
#pragma once

#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"

namespace relaybird {

class FakeFiles : public FileSystem {
 public:
  struct Entry {
    FileType type = FileType::kRegular;
    std::string bytes;
    bool ownerOnly = false;
    bool readOnly = false;
  };

  std::map<std::string, Entry> entries{{"/", {FileType::kFolder, "", false, false}}};
  /// Every call that changes something, "rename /a /b", in order.
  std::vector<std::string> changes;
  /// Everything below this folder is on another file system.
  std::string otherFileSystem;
  /// Called before every call, changing or not ("open /a"): returns the error number to fail with,
  /// or 0.
  std::function<int(const std::string& call)> fault = [](const std::string&) { return 0; };

  void addFolder(const std::string& path) { entries[path] = {FileType::kFolder, "", false, false}; }
  void addFile(const std::string& path, const std::string& bytes) {
    entries[path] = {FileType::kRegular, bytes, false, false};
  }
  /// `target` is an absolute path.
  void addLink(const std::string& path, const std::string& target) {
    entries[path] = {FileType::kLink, target, false, false};
  }
  bool has(const std::string& path) const { return entries.count(path) != 0; }
  std::string bytes(const std::string& path) const {
    const auto found = entries.find(path);
    return found == entries.end() ? "(missing)" : found->second.bytes;
  }
  /// Makes every call fail whose name or path contains `part`.
  void failCallsWith(const std::string& part, int code) {
    fault = [part, code](const std::string& call) {
      return call.find(part) == std::string::npos ? 0 : code;
    };
  }

  Result<FileInfo> inspect(const std::string& path) override {
    if (const int code = fault("inspect " + path)) {
      return failure(code, path);
    }
    const auto found = entries.find(path);
    if (found == entries.end()) {
      return failure(ENOENT, path);
    }
    FileInfo info;
    info.type = found->second.type;
    info.size = found->second.bytes.size();
    return info;
  }

  Result<std::string> resolve(const std::string& path) override {
    const auto found = entries.find(path);
    const bool isLink = found != entries.end() && found->second.type == FileType::kLink;
    return isLink ? resolve(found->second.bytes) : path;
  }

  Result<void> mayWrite(const std::string& file) override {
    const auto found = entries.find(*resolve(file));
    if (found == entries.end()) {
      return failure(ENOENT, file);
    }
    if (found->second.readOnly) {
      return failure(EACCES, file);
    }
    return {};
  }

  Result<std::vector<FolderEntry>> list(const std::string& folder) override {
    std::vector<FolderEntry> names;
    for (const auto& [path, entry] : entries) {
      if (path != "/" && parentFolder(path) == folder) {
        names.push_back({path.substr(path.rfind('/') + 1), entry.type});
      }
    }
    return names;
  }

  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    if (const int code = fault("open " + path)) {
      return failure(code, path);
    }
    const auto found = entries.find(path);
    if (found == entries.end()) {
      return failure(ENOENT, path);
    }
    if (found->second.type != FileType::kRegular) {
      return failure(EINVAL, path);
    }
    return std::unique_ptr<InputFile>(new Input(found->second.bytes));
  }

  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override {
    if (const int code = change("create " + path)) {
      return failure(code, path);
    }
    if (has(path)) {
      return failure(EEXIST, path);
    }
    if (!has(parentFolder(path))) {
      return failure(ENOENT, path);
    }
    entries[path] = {FileType::kRegular, "", true, false};
    return std::unique_ptr<OutputFile>(new Output(*this, path));
  }

  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override {
    if (has(path)) {
      return std::unique_ptr<OutputFile>(new Output(*this, path));
    }
    return create(path);
  }

  Result<void> rename(const std::string& from, const std::string& to) override {
    if (const int code = change("rename " + from + " " + to)) {
      return failure(code, from);
    }
    if (isMounted(from) != isMounted(to)) {
      return failure(EXDEV, from);
    }
    if (!has(from)) {
      return failure(ENOENT, from);
    }
    if (has(to) && entries[to].type == FileType::kFolder) {
      return failure(EISDIR, to);
    }
    entries[to] = entries[from];
    entries.erase(from);
    return {};
  }

  Result<void> remove(const std::string& file) override {
    if (const int code = change("remove " + file)) {
      return failure(code, file);
    }
    if (entries.erase(file) == 0) {
      return failure(ENOENT, file);
    }
    return {};
  }

  Result<void> createFolder(const std::string& folder) override {
    if (const int code = change("createFolder " + folder)) {
      return failure(code, folder);
    }
    if (has(folder)) {
      return failure(EEXIST, folder);
    }
    if (!has(parentFolder(folder))) {
      return failure(ENOENT, folder);
    }
    entries[folder] = {FileType::kFolder, "", true, false};
    return {};
  }

  Result<void> syncFolder(const std::string& folder) override {
    if (const int code = fault("syncFolder " + folder)) {
      return failure(code, folder);
    }
    return {};
  }

  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) override {
    if (const int code = fault("lockFolder " + folder)) {
      return failure(code, folder);
    }
    return std::make_unique<FolderLock>();
  }

 private:
  class Input : public InputFile {
   public:
    explicit Input(std::string bytes) : bytes_(std::move(bytes)) { info_.size = bytes_.size(); }
    const FileInfo& info() const override { return info_; }
    Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
      return offset >= bytes_.size() ? 0 : bytes_.copy(buffer, size, offset);
    }

   private:
    std::string bytes_;
    FileInfo info_{FileType::kRegular, 0, kNoDate, 0, 0};
  };

  class Output : public OutputFile {
   public:
    Output(FakeFiles& files, std::string path) : files_(files), path_(std::move(path)) {}
    Result<void> write(std::string_view bytes) override {
      if (const int code = files_.fault("write " + path_)) {
        return failure(code, path_);
      }
      files_.entries[path_].bytes += bytes;
      return {};
    }
    Result<void> sync() override {
      if (const int code = files_.fault("sync " + path_)) {
        return failure(code, path_);
      }
      return {};
    }
    Result<void> close() override { return {}; }

   private:
    FakeFiles& files_;
    std::string path_;
  };

  static Error failure(int code, const std::string& path) { return {code, path + ": no"}; }

  int change(const std::string& call) {
    changes.push_back(call);
    return fault(call);
  }

  bool isMounted(const std::string& path) const {
    return !otherFileSystem.empty() &&
           path.compare(0, otherFileSystem.size(), otherFileSystem) == 0;
  }
};

}  // namespace relaybird
