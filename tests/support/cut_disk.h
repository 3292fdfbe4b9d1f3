// SPDX-License-Identifier: MIT
// A disk in memory that records every change, so that a test can cut the power after any of them
// and check every state that the medium may be left in.
//
// Only what POSIX guarantees is certain to be kept: the bytes of a file up to its last sync, and a
// name once its folder was synced after it was created, moved or removed (after a move: the new
// folder). A rename is atomic: a cut leaves at least one of the names, and within one folder never
// both. Between two folders both may be left until the old folder is synced too.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace relaybird {

/// The content of a disk.
struct DiskImage {
  std::set<std::string> folders;
  std::map<std::string, std::string> files;  ///< bytes by path
  bool operator<(const DiskImage& other) const {
    return std::tie(folders, files) < std::tie(other.folders, other.files);
  }
};

class CutDisk : public FileSystem {
 public:
  /// Starts with the content of the image, all of it on the medium. `clock` stamps files and
  /// folders.
  CutDisk(const Clock& clock, const DiskImage& image);
  ~CutDisk() override;

  /// The content as programs see it now.
  DiskImage image() const;

  /// The number of changes and syncs.
  std::size_t steps() const { return log_.size(); }
  /// In words, counted from 0: "create PATH", "write to PATH", "rename FROM to PATH", "remove
  /// PATH", "mkdir PATH", "sync of file PATH", "sync of folder PATH".
  std::string describe(std::size_t step) const;
  /// The first step from `from` on with those words, or that begins with them where they end in '/'
  /// or '.'; steps() where there is none.
  std::size_t nextStep(std::string_view words, std::size_t from) const;

  /// Calls `use` with states that a power cut after the first `count` steps may leave, and a
  /// description of each. n unsynced changes have more than 2^n such states, so these are chosen:
  /// everything kept; everything lost; every suffix lost; every single change lost and every single
  /// one kept; all combinations of the last kCombined changes; each of these with the last kept
  /// write whole, torn in the middle, and all zeros; and each rename between two folders with both
  /// names. The same image may be passed several times.
  using Use = std::function<void(const DiskImage&, const std::string& how)>;
  void eachStateAfter(std::size_t count, const Use& use) const;
  static constexpr std::size_t kCombined = 6;
  /// Only the two extremes: everything kept, and everything lost that can be lost.
  void eachExtremeAfter(std::size_t count, const Use& use) const;

  Result<FileInfo> inspect(const std::string& path) override;
  Result<std::vector<FolderEntry>> list(const std::string& folder) override;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override;
  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override;
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override;
  Result<void> rename(const std::string& from, const std::string& to) override;
  Result<void> remove(const std::string& file) override;
  Result<void> createFolder(const std::string& folder) override;
  Result<void> syncFolder(const std::string& folder) override;
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) override;

 private:
  class Input;
  class Output;
  class Lock;
  struct Inode {
    std::string bytes;
    DateTime modified = kNoDate;
  };
  using Node = std::size_t;  ///< index of an inode; 0: no inode
  struct Step {
    enum class Kind { kName, kWrite, kRename, kRemove, kFolder, kSyncFile, kSyncFolder };
    Kind kind = Kind::kName;
    std::string path;
    std::string to;  ///< of a rename
    Node node = 0;
    std::size_t offset = 0;
    std::string bytes;
  };
  enum class Fate { kKept, kLost, kTorn, kZeros, kBothNames };

  Result<void> enter(const std::string& path);
  Result<std::unique_ptr<OutputFile>> makeFile(const std::string& path);
  void write(Node node, const std::string& path, std::string_view bytes);
  void record(Step step);
  bool isDurable(std::size_t step, std::size_t count) const;
  std::vector<std::size_t> unsyncedAfter(std::size_t count) const;
  bool mayHaveBothNames(std::size_t step, std::size_t count) const;
  DiskImage imageOf(const std::vector<Fate>& fates) const;

  const Clock& clock_;
  DiskImage start_;
  std::vector<Inode> inodes_;
  std::map<std::string, Node> names_;
  std::map<std::string, DateTime> folders_;  ///< when they were last changed
  std::set<std::string> locked_;
  std::vector<Step> log_;
};

}  // namespace relaybird
