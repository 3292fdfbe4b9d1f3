// SPDX-License-Identifier: MIT
#include "stores/maildir/disk/outbox_place.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace relaybird {
namespace {

constexpr const char* kNote = "/mailbox";
constexpr std::size_t kLargestNote = 8192;  // PATH_MAX and more
/// Others may take what was chosen before it is locked, but hardly all the time.
constexpr int kTries = 5;

/// "outbox", "outbox-2", "outbox-3".
std::string nameOf(std::size_t number) {
  return number == 1 ? "outbox" : "outbox-" + std::to_string(number);
}

}  // namespace

Result<std::unique_ptr<Outbox>> OutboxPlace::open(const Clock& clock, const RandomBytes& random) {
  for (int tries = 1;; ++tries) {
    const std::string folder = named_.empty() ? choose() : named_;
    auto outbox = Outbox::open(files_, clock, random, folder, folder + "/journal");
    // Between the look and the lock another mailbox's program may have taken it.
    if (named_.empty() && isAnothers(folder)) {
      if (tries < kTries) continue;
      return whyNot(folder, {EWOULDBLOCK, ""});
    }
    if (!outbox) return whyNot(folder, outbox.error());
    // Without the note the outbox is as good, and its owner is written down at the next start.
    if (ownerOf(folder) != mailbox_) (void)replaceFile(files_, folder + kNote, mailbox_ + "\n");
    return outbox;
  }
}

std::vector<std::string> OutboxPlace::leftIn(const std::string& ownFolder) {
  std::vector<std::string> sentences;
  for (const std::string& folder : known()) {
    if (folder == ownFolder) continue;
    const std::size_t waiting = waitingIn(folder);
    if (waiting > 0 && isFree(folder)) sentences.push_back(sentence(folder, waiting));
  }
  return sentences;
}

std::optional<std::string> OutboxPlace::ownerOf(const std::string& folder) {
  auto note = readFile(files_, folder + kNote, kLargestNote);
  if (!note) return note.error().code == ENOENT ? std::nullopt : std::optional<std::string>("");
  if (note->ends_with('\n')) note->pop_back();
  return std::move(*note);
}

bool OutboxPlace::isGone(const std::string& mailbox) {
  const auto inbox = files_.inspect(mailbox + "/new");
  return !inbox && (inbox.error().code == ENOENT || inbox.error().code == ENOTDIR);
}

bool OutboxPlace::isFree(const std::string& folder) {
  return static_cast<bool>(files_.tryLockFolder(folder));
}

bool OutboxPlace::isAnothers(const std::string& folder) {
  const auto owner = ownerOf(folder);
  return owner && *owner != mailbox_ && !isGone(*owner);
}

/// The outboxes of the state folder, the first one first.
std::vector<std::string> OutboxPlace::known() {
  std::vector<std::string> folders;
  const auto entries = files_.list(stateFolder_);
  for (std::size_t number = 1; entries && number <= entries->size() + 1; ++number) {
    const bool there = std::any_of(entries->begin(), entries->end(), [&](const auto& entry) {
      return entry.name == nameOf(number) && entry.type != FileType::kRegular;
    });
    if (there) folders.push_back(stateFolder_ + "/" + nameOf(number));
  }
  return folders;
}

std::string OutboxPlace::choose() {
  const auto folders = known();
  for (const std::string& folder : folders) {
    if (ownerOf(folder) == mailbox_) return folder;
  }
  for (const std::string& folder : folders) {
    const auto owner = ownerOf(folder);
    // One without a note that is in use belongs to a program of an earlier release, perhaps on this
    // very mailbox: opening it fails, as it must.
    if (!owner || (!owner->empty() && isGone(*owner) && isFree(folder))) return folder;
  }
  std::size_t number = 1;
  while (std::count(folders.begin(), folders.end(), stateFolder_ + "/" + nameOf(number)) > 0) {
    ++number;
  }
  return stateFolder_ + "/" + nameOf(number);
}

Error OutboxPlace::whyNot(const std::string& folder, const Error& error) {
  if (error.code != EWOULDBLOCK) return error;
  const auto owner = ownerOf(folder);
  if (!owner || owner->empty() || *owner == mailbox_) {
    return {error.code, "The outbox " + folder + " is in use by another program"};
  }
  return {error.code, "The outbox " + folder +
                          " is in use by a program that works on the mailbox " + *owner +
                          ". Two mailboxes cannot share an outbox: name another folder in the key "
                          "outbox of section [mail], or leave that key out"};
}

std::string OutboxPlace::sentence(const std::string& folder, std::size_t waiting) {
  const std::string what = "Forwards (" + std::to_string(waiting) + ") wait in the outbox " +
                           folder + ", and nobody delivers them: ";
  const auto owner = ownerOf(folder);
  if (owner == mailbox_) return what + "the key outbox of section [mail] names another folder";
  if (!owner || owner->empty()) return what + "it is not known whose they are";
  return what + "no program works on the mailbox " + *owner;
}

std::size_t OutboxPlace::waitingIn(const std::string& folder) {
  const auto entries = files_.list(folder + "/new");
  if (!entries) return 0;
  return static_cast<std::size_t>(
      std::count_if(entries->begin(), entries->end(), [](const FolderEntry& entry) {
        return entry.type == FileType::kRegular && !entry.name.starts_with('.');
      }));
}

}  // namespace relaybird
