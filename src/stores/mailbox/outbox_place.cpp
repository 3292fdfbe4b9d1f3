// SPDX-License-Identifier: MIT
// Several programs may choose at the same moment, so a choice counts only once the outbox is locked
// and its note has been read again.
#include "stores/mailbox/outbox_place.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/paths.h"

namespace relaybird {
namespace {

bool isFolder(const std::string& mailbox) {
  return isAbsolutePath(mailbox);
}

constexpr const char* kNote = "/mailbox";
// Begins the last line of a note, after the line break that ends the path.
constexpr std::string_view kIdentity = "\nfolder ";
constexpr std::size_t kLargestNote = 8192;  // PATH_MAX and more
// Another program may take the chosen outbox before it is locked, but hardly every time.
constexpr int kTries = 5;

constexpr const char* kShareNone =
    ". Two mailboxes cannot share an outbox: name another folder in the key outbox of section "
    "[mail], or leave that key out";

// "outbox", "outbox-2", "outbox-3".
std::string nameOf(std::size_t number) {
  return number == 1 ? "outbox" : "outbox-" + std::to_string(number);
}

}  // namespace

Result<std::unique_ptr<Outbox>> OutboxPlace::open(const Clock& clock, const RandomBytes& random) {
  for (int tries = 1;; ++tries) {
    const auto [folder, refusal] = choose();
    if (refusal) {
      return *refusal;
    }
    auto outbox = Outbox::open(files_, clock, random, folder, journalOf(folder));
    // The note is read again under the lock: another mailbox may have taken the outbox meanwhile.
    if (mayOpen(folder)) {
      if (!outbox) {
        return whyNot(folder, outbox.error());
      }
      if (auto noted = writeNote(folder); !noted) {
        return noted.error();
      }
      return outbox;
    }
    outbox = Error{EWOULDBLOCK, ""};  // releases its lock
    const auto refusalNow = whyAnothers(folder);
    if (refusalNow && (!named_.empty() || tries == kTries)) {
      return *refusalNow;
    }
  }
}

std::vector<std::string> OutboxPlace::leftIn(const std::string& ownFolder) {
  std::vector<std::string> sentences;
  for (const std::string& folder : known()) {
    if (folder == ownFolder) {
      continue;
    }
    const std::size_t waiting = waitingIn(folder);
    if (waiting > 0 && isFree(folder)) {
      sentences.push_back(sentence(folder, ownFolder, waiting));
    }
  }
  return sentences;
}

// The path may contain any byte but NUL, line breaks too, so the line after it is found from the
// end.
Result<std::optional<OutboxPlace::Note>> OutboxPlace::noteOf(const std::string& folder) {
  auto text = readFile(files_, folder + kNote, kLargestNote);
  if (!text && (text.error().code == ENOENT || text.error().code == ENOTDIR)) {
    return {std::nullopt};
  }
  if (!text) {
    return text.error();
  }
  Note note;
  const std::size_t mark = text->rfind(kIdentity);
  if (mark != text->npos) {
    note.identity = text->substr(mark + 1);
    text->resize(mark + 1);
  }
  if (text->ends_with('\n')) {
    text->pop_back();
  }
  note.mailbox = std::move(*text);
  if (note.mailbox.empty()) {
    return Error{EINVAL, folder + kNote + " is empty"};
  }
  return {std::move(note)};
}

std::string OutboxPlace::ownerOf(const std::string& folder) {
  const auto note = noteOf(folder);
  return note && *note ? (*note)->mailbox : "";
}

std::string OutboxPlace::identity() {
  if (!isFolder(mailbox_)) {
    return "";
  }
  const auto info = files_.inspect(mailbox_);
  if (!info) {
    return "";
  }
  return std::string(kIdentity.substr(1)) + std::to_string(info->device) + " " +
         std::to_string(info->inode) + "\n";
}

// Without a note, the next mailbox that asks would get this outbox and its journal.
Result<void> OutboxPlace::writeNote(const std::string& folder) {
  const auto note = noteOf(folder);
  const std::string self = identity();
  const bool named = note && *note && (*note)->mailbox == mailbox_;
  if (named && (*note)->identity == self) {
    return {};
  }
  const auto written = replaceFile(files_, folder + kNote, mailbox_ + "\n" + self);
  // With an old identity a later change of the mailbox's path goes unnoticed, which is no reason to
  // stop.
  if (written || named) {
    return {};
  }
  return Error{written.error().code, "The outbox " + folder +
                                         " cannot be marked as the one of the " + "mailbox " +
                                         mailbox_ + ": " + written.error().text};
}

bool OutboxPlace::isMine(const Note& note) {
  if (note.mailbox == mailbox_) {
    return true;
  }
  // A mailbox that was renamed: it is the same folder, and nothing is at the old path.
  return !note.identity.empty() && note.identity == identity() && !isThere(note.mailbox);
}

bool OutboxPlace::mayOpen(const std::string& folder) {
  const auto note = noteOf(folder);
  return note && (!*note || isMine(**note));
}

// When in doubt, the mailbox exists. Whether an account still does, only its server knows.
bool OutboxPlace::isThere(const std::string& mailbox) {
  if (!isFolder(mailbox)) {
    return true;
  }
  const auto inbox = files_.inspect(joinPath(mailbox, "new"));
  return inbox || (inbox.error().code != ENOENT && inbox.error().code != ENOTDIR);
}

bool OutboxPlace::isFree(const std::string& folder) {
  return static_cast<bool>(files_.tryLockFolder(folder));
}

// The outboxes in the state folder, by their number.
std::vector<std::string> OutboxPlace::known() {
  std::vector<std::string> folders;
  const auto entries = files_.list(stateFolder_);
  for (std::size_t number = 1; entries && number <= entries->size() + 1; ++number) {
    const bool there = std::any_of(entries->begin(), entries->end(), [&](const auto& entry) {
      return entry.name == nameOf(number) && entry.type != FileType::kRegular;
    });
    if (there) {
      folders.push_back(joinPath(stateFolder_, nameOf(number)));
    }
  }
  return folders;
}

OutboxPlace::Choice OutboxPlace::choose() {
  return named_.empty() ? chooseOwn() : Choice{named_, whyAnothers(named_)};
}

OutboxPlace::Choice OutboxPlace::chooseOwn() {
  const auto folders = known();
  for (const std::string& folder : folders) {
    // The path decides first; a renamed mailbox is recognised below.
    if (ownerOf(folder) == mailbox_) {
      return {folder, std::nullopt};
    }
  }
  std::string withoutNote;
  for (const std::string& folder : folders) {
    const auto note = noteOf(folder);
    if (!note) {
      return {folder, whyAnothers(folder)};
    }
    if (*note && isMine(**note)) {
      return {folder, std::nullopt};
    }
    // An outbox without a note may be in use by a program of an earlier release, perhaps for this
    // very mailbox. Opening it fails then, as it must.
    if (!*note && withoutNote.empty()) {
      withoutNote = folder;
    }
  }
  if (!withoutNote.empty()) {
    return {withoutNote, std::nullopt};
  }
  std::size_t number = 1;
  while (std::count(folders.begin(), folders.end(), joinPath(stateFolder_, nameOf(number))) > 0) {
    ++number;
  }
  return {joinPath(stateFolder_, nameOf(number)), std::nullopt};
}

// Why the outbox belongs to another mailbox; nothing if it is ours or has no owner.
std::optional<Error> OutboxPlace::whyAnothers(const std::string& folder) {
  const auto note = noteOf(folder);
  if (!note) {
    return Error{note.error().code,
                 "It cannot be told which mailbox the outbox " + folder +
                     " belongs to: " + note.error().text +
                     ". See to it that this file can be read, or remove it if the outbox is the "
                     "one of the mailbox " +
                     mailbox_};
  }
  if (!*note || isMine(**note)) {
    return std::nullopt;
  }
  const std::string& owner = (*note)->mailbox;
  if (!isFree(folder)) {
    return Error{EWOULDBLOCK, "The outbox " + folder +
                                  " is in use by a program that works on the mailbox " + owner +
                                  kShareNone};
  }
  if (isThere(owner)) {
    return Error{EEXIST, "The outbox " + folder + " belongs to the mailbox " + owner + kShareNone};
  }
  return Error{EEXIST, "The outbox " + folder + " belongs to the mailbox " + owner +
                           ", which is not there now. If the mailbox " + mailbox_ +
                           " has taken its place, remove the file " + folder + kNote};
}

Error OutboxPlace::whyNot(const std::string& folder, const Error& error) {
  if (error.code != EWOULDBLOCK) {
    return error;
  }
  return {error.code, "The outbox " + folder + " is in use by another program"};
}

std::string OutboxPlace::sentence(const std::string& folder, const std::string& ownFolder,
                                  std::size_t waiting) {
  const std::string what = "Forwards (" + std::to_string(waiting) + ") wait in the outbox " +
                           folder + ", and nobody delivers them: ";
  const std::string owner = ownerOf(folder);
  if (owner == mailbox_) {
    return what + "the key outbox of section [mail] names another folder";
  }
  if (owner.empty()) {
    return what + "it is not known whose they are";
  }
  if (isThere(owner)) {
    return what + "no program works on the mailbox " + owner;
  }
  return what + "the mailbox " + owner +
         " is not there now. To have them sent from here, move the "
         "files of " +
         joinPath(folder, "new") + " to " + joinPath(ownFolder, "new");
}

std::size_t OutboxPlace::waitingIn(const std::string& folder) {
  return DeliveryQueue::countWaiting(files_, folder, journalOf(folder));
}

}  // namespace relaybird
