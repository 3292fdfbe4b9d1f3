// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// A mailbox: the name of its store, and where it is.
struct Mailbox {
  std::string store;
  std::string place;
};

/// Who works on a mailbox.
struct LockHolder {
  std::string program;
  long process = 0;
  std::string since;  ///< for people to read
};

/// One program at a time works on a mailbox. Two locks see to that:
///
/// - One on a folder below the user's state folder. It can be had before there is a mailbox.
/// - One on the mailbox's own folder. It holds whatever state folder another program was started
///   with, whatever path or link it takes to the mailbox, and whoever started it, so long as he may
///   read the folder.
///
/// Both are the system's (flock): nothing else that works on Maildirs asks for them, and the system
/// gives them back when the process ends, however it ends. A note beside each says who has it.
/// Where the mailbox's folder cannot be written to, the note is missing and the lock holds all the
/// same.
///
/// One thread.
class InstanceLock {
 public:
  enum class Wait { kNone, kMoment };

  InstanceLock(FileSystem& files, LockHolder self);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  /// Takes the lock below rbx/ in the state folder. Another holder may be ending: whether to wait a
  /// moment for that is the caller's choice. An error is a sentence for the user; with EWOULDBLOCK
  /// it names the holder.
  Result<void> takeName(const std::string& stateFolder, const Mailbox& mailbox,
                        Wait wait = Wait::kMoment);

  /// Takes the lock on the mailbox's folder. To be asked again before each use of the folder: while
  /// the same folder is there nothing happens, and one that has been put in its place is taken
  /// anew. Errors as above; ENOENT where there is no folder.
  Result<void> takeFolder(const std::string& folder, Wait wait = Wait::kMoment);

  /// Who had the lock that was refused last, by his own note; nothing where he left none.
  const std::optional<LockHolder>& refusedBy() const { return refusedBy_; }

 private:
  struct Held {
    std::unique_ptr<FolderLock> lock;
    std::string noteFile;
    std::string note;  ///< what we have written there
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
  };

  Result<void> take(Held& held, const std::string& folder, const std::string& noteFile,
                    const std::string& place, Wait wait);
  std::string whoHas(const std::string& noteFile);
  void giveBack(Held& held);

  FileSystem& files_;
  LockHolder self_;
  Held name_;
  Held folder_;
  std::optional<LockHolder> refusedBy_;
};

}  // namespace relaybird
