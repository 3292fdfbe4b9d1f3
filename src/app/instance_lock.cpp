// SPDX-License-Identifier: MIT
#include "app/instance_lock.h"

#include <cerrno>
#include <cstdint>
#include <sstream>
#include <utility>

#include "platform/system/folder_check.h"
#include "platform/text/number_text.h"

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

std::string lockFolderOf(const std::string& stateFolder, const Mailbox& mailbox) {
  return stateFolder + "/rbx/locks/" + mailbox.store + "-" +
         hashText(mailbox.store + "\n" + mailbox.place);
}

std::string noteFileOf(const std::string& folder) {
  return folder + "/holder";
}

std::string holderText(const std::optional<LockHolder>& holder) {
  return holder ? holder->program + " (process " + std::to_string(holder->process) + ", since " +
                      holder->since + ")"
                : "another program";
}

}  // namespace

Result<std::unique_ptr<InstanceLock>> InstanceLock::take(FileSystem& files,
                                                         const std::string& stateFolder,
                                                         const Mailbox& mailbox,
                                                         const LockHolder& holder, Wait wait) {
  const std::string folder = lockFolderOf(stateFolder, mailbox);
  const std::string noteFile = noteFileOf(folder);
  if (!MakeFolderPath(files, noteFile)) {
    return Error{0, "Cannot make the folder " + folder + " for the lock of the mailbox"};
  }
  auto lock = wait == Wait::kNone ? files.tryLockFolder(folder) : files.lockFolder(folder);
  if (!lock && lock.error().code == EWOULDBLOCK) {
    return Error{EWOULDBLOCK, "The mailbox " + mailbox.place + " is in use by " +
                                  holderText(InstanceLock::holder(files, stateFolder, mailbox))};
  }
  if (!lock) return lock.error();
  // Without the note the lock holds all the same, and the next one is told less.
  (void)replaceFile(files, noteFile, noteText(mailbox, holder));
  return std::unique_ptr<InstanceLock>(new InstanceLock(files, noteFile, std::move(*lock)));
}

/// He may not have written it yet.
std::optional<LockHolder> InstanceLock::holder(FileSystem& files, const std::string& stateFolder,
                                               const Mailbox& mailbox) {
  const auto note = readFile(files, noteFileOf(lockFolderOf(stateFolder, mailbox)), kLargestNote);
  std::istringstream lines(note ? *note : std::string());
  LockHolder holder;
  std::string process;
  if (!std::getline(lines, holder.program) || !std::getline(lines, process) ||
      !std::getline(lines, holder.since)) {
    return std::nullopt;
  }
  holder.process = toInt32(numericPrefix(process)).value_or(0);
  return holder;
}

InstanceLock::InstanceLock(FileSystem& files, std::string noteFile,
                           std::unique_ptr<FolderLock> lock)
    : files_(files), noteFile_(std::move(noteFile)), lock_(std::move(lock)) {}

InstanceLock::~InstanceLock() {
  (void)files_.remove(noteFile_);
}

}  // namespace relaybird
