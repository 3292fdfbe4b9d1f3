// SPDX-License-Identifier: MIT
// The locks on a mailbox and the notes that name their holders. The locks decide; a note is only
// for the message to the user and for raising the window of the program that has the mailbox. A
// note may be old, missing or another user's, and nothing but words depends on it.
#include "app/instance_lock.h"

#include <cerrno>
#include <sstream>
#include <utility>

#include "platform/file_system.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kLargestNote = 4096;  // what is longer was not written by us

// Mail programs do not take files or hidden names beside new/ and cur/ for mail.
constexpr const char* kNoteInMailbox = ".relaybird-holder";

// FNV-1a, 64 bits: the folder's name must be short and the same in every release.
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

std::string lockFolderOf(const std::string& stateFolder, const WatchedMailbox& mailbox) {
  return joinPath(stateFolder, "rbx/locks/" + mailbox.store + "-" +
                                   hashText(mailbox.store + "\n" + mailbox.place));
}

// A line for each part, and the place last: it alone may be long. readNote() does without it.
std::string noteText(const LockHolder& holder, const std::string& place) {
  return holder.program + "\n" + std::to_string(holder.process) + "\n" + holder.since + "\n" +
         place + "\n";
}

std::optional<LockHolder> readNote(const std::string& text) {
  std::istringstream lines(text);
  LockHolder holder;
  std::string process;
  if (!std::getline(lines, holder.program) || !std::getline(lines, process) ||
      !std::getline(lines, holder.since)) {
    return std::nullopt;
  }
  holder.process = toInt32(numericPrefix(process)).value_or(0);
  return holder;
}

}  // namespace

InstanceLock::InstanceLock(FileSystem& files, LockHolder self)
    : files_(files), self_(std::move(self)) {}

// The lock that was taken first is given back last: who waits for it finds the folder free, too.
InstanceLock::~InstanceLock() {
  giveBack(folder_);
  giveBack(name_);
}

Result<void> InstanceLock::takeName(const std::string& stateFolder, const WatchedMailbox& mailbox,
                                    Wait wait) {
  const std::string folder = lockFolderOf(stateFolder, mailbox);
  const std::string noteFile = joinPath(folder, "holder");
  if (!MakeFolderPath(files_, noteFile)) {
    return Error{0, "Cannot make the folder " + folder + " for the lock of the mailbox"};
  }
  return take(name_, folder, noteFile, mailbox.place, wait);
}

Result<void> InstanceLock::takeFolder(const std::string& folder, Wait wait) {
  const auto real = files_.resolve(folder);
  if (!real) {
    return real.error();
  }
  const auto info = files_.inspect(*real);
  if (!info) {
    return info.error();
  }
  const bool same = folder_.device == info->device && folder_.inode == info->inode;
  // The same path can have become another folder, which is told by its device and inode.
  if (folder_.lock && same) {
    return {};
  }
  giveBack(folder_);
  if (auto taken = take(folder_, *real, joinPath(*real, kNoteInMailbox), folder, wait); !taken) {
    return taken;
  }
  folder_.device = info->device;
  folder_.inode = info->inode;
  return {};
}

Result<void> InstanceLock::take(Held& held, const std::string& folder, const std::string& noteFile,
                                const std::string& place, Wait wait) {
  // The disk waits a moment by itself; a program that asks again and again must not wait each time.
  auto lock = wait == Wait::kNone ? files_.tryLockFolder(folder) : files_.lockFolder(folder);
  if (!lock && lock.error().code == EWOULDBLOCK) {
    return Error{EWOULDBLOCK, "The mailbox " + place + " is in use by " + whoHas(noteFile)};
  }
  if (!lock) {
    return lock.error();
  }
  held.lock = std::move(*lock);
  held.noteFile = noteFile;
  held.note = noteText(self_, place);
  // Without the note the lock still works, but the refused program learns less. A note left by a
  // killed program of another user must not name that user as the holder.
  if (!replaceFile(files_, noteFile, held.note)) {
    (void)files_.remove(noteFile);
  }
  return {};
}

// The holder may not have written the note yet. Another user's note cannot be read by us.
std::string InstanceLock::whoHas(const std::string& noteFile) {
  const auto note = readFile(files_, noteFile, kLargestNote);
  refusedBy_ = note ? readNote(*note) : std::nullopt;
  if (refusedBy_) {
    return refusedBy_->program + " (process " + std::to_string(refusedBy_->process) + ", since " +
           refusedBy_->since + ")";
  }
  return !note && note.error().code == EACCES ? "a program of another user" : "another program";
}

// Removes only our own note: the folder may have been replaced by one with another holder's note.
void InstanceLock::giveBack(Held& held) {
  if (held.lock) {
    const auto note = readFile(files_, held.noteFile, kLargestNote);
    if (note && *note == held.note) {
      (void)files_.remove(held.noteFile);
    }
  }
  held.lock.reset();
}

}  // namespace relaybird
