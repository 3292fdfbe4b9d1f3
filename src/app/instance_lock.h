// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// The mailbox that a program works on: the name of its store, and where it is; for the lock, what
/// MailStore::lockName() says.
struct WatchedMailbox {
  std::string store;
  std::string place;
};

/// The program that works on a mailbox.
struct LockHolder {
  std::string program;
  long process = 0;
  std::string since;  ///< for people to read
};

/// Ensures that one program at a time works on a mailbox, with two locks:
///
/// - One on a folder below the user's state folder. It can be taken before the mailbox exists.
/// - One on the mailbox's own folder. It also works against a program with another state folder,
///   another path to the mailbox, or another user who may read the folder.
///
/// Both are flock locks: no other program that works on Maildirs uses them, and the system releases
/// them when the process ends in any way. A note beside each lock names its holder. In a mailbox
/// that cannot be written to the note is missing, but the lock works.
///
/// Used by one thread only.
class InstanceLock {
 public:
  enum class Wait { kNone, kMoment };

  InstanceLock(FileSystem& files, LockHolder self);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  /// Takes the lock below rbx/ in the state folder. `wait` says whether to wait a moment for a
  /// holder that may be exiting. An error is a sentence for the user; with EWOULDBLOCK it names the
  /// holder.
  Result<void> takeName(const std::string& stateFolder, const WatchedMailbox& mailbox,
                        Wait wait = Wait::kMoment);

  /// Takes the lock on the mailbox's folder. To be called again before each use of the folder: does
  /// nothing while it is the same folder, and locks a folder that has replaced it. Errors as above;
  /// ENOENT where there is no folder.
  Result<void> takeFolder(const std::string& folder, Wait wait = Wait::kMoment);

  /// The holder of the lock that was refused last, according to the note; nothing without a note.
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
