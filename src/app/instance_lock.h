// SPDX-License-Identifier: MIT
#pragma once

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

/// One program of a user works on a mailbox at a time. The system gives the lock back when the
/// process ends, however it ends: what a killed one leaves behind blocks nobody.
class InstanceLock {
 public:
  enum class Wait { kNone, kMoment };

  /// Takes the lock, below rbx/ in the state folder, and writes down there who holds it. Another
  /// holder may be ending: whether to wait a moment for that is the caller's choice. An error is a
  /// sentence for the user; with EWOULDBLOCK it names the holder.
  static Result<std::unique_ptr<InstanceLock>> take(FileSystem& files,
                                                    const std::string& stateFolder,
                                                    const Mailbox& mailbox,
                                                    const LockHolder& holder,
                                                    Wait wait = Wait::kMoment);
  /// Who holds it, or held it last, by his own note; nothing where there is none.
  static std::optional<LockHolder> holder(FileSystem& files, const std::string& stateFolder,
                                          const Mailbox& mailbox);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

 private:
  InstanceLock(FileSystem& files, std::string noteFile, std::unique_ptr<FolderLock> lock);

  FileSystem& files_;
  std::string noteFile_;
  std::unique_ptr<FolderLock> lock_;
};

}  // namespace relaybird
