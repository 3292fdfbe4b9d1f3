// SPDX-License-Identifier: MIT
#include "app/instance_lock.h"

#include <cerrno>
#include <cstdint>
#include <sstream>
#include <utility>

#include "platform/system/folder_check.h"

namespace relaybird {
namespace {

constexpr std::size_t kLargestNote = 4096;

/// FNV-1a, 64 bits: the folder's name must be short and the same in every release.
std::string hashText(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3;
  }
  std::ostringstream digits;
  digits << std::hex << hash;
  return digits.str();
}

std::string noteText(const Mailbox& mailbox, const LockHolder& holder) {
  return holder.program + "\n" + std::to_string(holder.process) + "\n" + holder.since + "\n" +
         mailbox.place + "\n";
}

/// Who has it, by his own note; he may not have written it yet.
std::string holderText(FileSystem& files, const std::string& noteFile) {
  const auto note = readFile(files, noteFile, kLargestNote);
  std::istringstream lines(note ? *note : std::string());
  std::string program;
  std::string process;
  std::string since;
  if (!std::getline(lines, program) || !std::getline(lines, process) ||
      !std::getline(lines, since)) {
    return "another program";
  }
  return program + " (process " + process + ", since " + since + ")";
}

}  // namespace

Result<std::unique_ptr<InstanceLock>> InstanceLock::take(FileSystem& files,
                                                         const std::string& stateFolder,
                                                         const Mailbox& mailbox,
                                                         const LockHolder& holder, Wait wait) {
  const std::string folder = stateFolder + "/rbx/locks/" + mailbox.store + "-" +
                             hashText(mailbox.store + "\n" + mailbox.place);
  const std::string noteFile = folder + "/holder";
  if (!MakeFolderPath(files, noteFile)) {
    return Error{0, "Cannot make the folder " + folder + " for the lock of the mailbox"};
  }
  auto lock = wait == Wait::kNone ? files.tryLockFolder(folder) : files.lockFolder(folder);
  if (!lock && lock.error().code == EWOULDBLOCK) {
    return Error{EWOULDBLOCK,
                 "The mailbox " + mailbox.place + " is in use by " + holderText(files, noteFile)};
  }
  if (!lock) return lock.error();
  // Without the note the lock holds all the same, and the next one is told less.
  (void)replaceFile(files, noteFile, noteText(mailbox, holder));
  return std::unique_ptr<InstanceLock>(new InstanceLock(files, noteFile, std::move(*lock)));
}

InstanceLock::InstanceLock(FileSystem& files, std::string noteFile,
                           std::unique_ptr<FolderLock> lock)
    : files_(files), noteFile_(std::move(noteFile)), lock_(std::move(lock)) {}

InstanceLock::~InstanceLock() {
  (void)files_.remove(noteFile_);
}

}  // namespace relaybird
