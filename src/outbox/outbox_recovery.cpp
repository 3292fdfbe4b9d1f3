// SPDX-License-Identifier: MIT
// Opening the outbox: what the last run left behind is brought to an end.
#include <cerrno>

#include "outbox/outbox.h"
#include "outbox/outbox_name.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// What others leave in tmp/ is given up after this time, by the rule of Maildirs.
constexpr std::chrono::hours kTmpAge{36};
constexpr std::size_t kSessionBytes = 8;

// Makes a folder and the missing ones above it, their names durably.
Result<void> makeFolder(FileSystem& files, const std::string& folder) {
  auto made = files.createFolder(folder);
  if (!made && made.error().code == ENOENT && parentFolder(folder) != folder) {
    if (auto above = makeFolder(files, parentFolder(folder)); !above) {
      return above;
    }
    made = files.createFolder(folder);
  }
  if (made) {
    return files.syncFolder(parentFolder(folder));
  }
  if (made.error().code == EEXIST) {
    return {};
  }
  return made;
}

// A folder that is there may be what an earlier try made without getting its name on the medium. A
// folder above that we may not open was not ours to make.
void syncNamesOf(FileSystem& files, std::string folder) {
  for (std::string above = parentFolder(folder); above != folder; above = parentFolder(folder)) {
    (void)files.syncFolder(above);
    folder = above;
  }
}

// Adds the unique names of a folder's messages, without Maildir flags.
Result<void> addNames(FileSystem& files, const std::string& folder, std::set<std::string>& names) {
  const auto entries = files.list(folder);
  if (!entries) {
    return entries.error();
  }
  for (const FolderEntry& entry : *entries) {
    names.insert(entry.name.substr(0, entry.name.rfind(":2,")));
  }
  return {};
}

}  // namespace

Result<std::unique_ptr<Outbox>> Outbox::open(FileSystem& files, const Clock& clock,
                                             RandomBytes random, std::string folder,
                                             std::string journal) {
  std::unique_ptr<Outbox> outbox(new Outbox(files, clock, std::move(random), std::move(folder)));
  if (auto prepared = outbox->prepare(journal); !prepared) {
    return prepared.error();
  }
  if (auto recovered = outbox->recover(); !recovered) {
    return recovered.error();
  }
  return outbox;
}

Result<void> Outbox::prepare(const std::string& journal) {
  for (const char* part : {"", "/tmp", "/new", "/cur", "/failed"}) {
    if (auto made = makeFolder(files_, folder_ + part); !made) {
      return made;
    }
  }
  if (auto made = makeFolder(files_, parentFolder(journal)); !made) {
    return made;
  }
  syncNamesOf(files_, folder_ + "/new");
  syncNamesOf(files_, parentFolder(journal));
  auto lock = files_.lockFolder(folder_);
  if (!lock) {
    return lock.error();
  }
  lock_ = std::move(*lock);
  auto session = random_(kSessionBytes);
  if (!session) {
    return session.error();
  }
  session_ = toHex(*session);
  auto opened = Journal::open(files_, clock_, journal);
  if (!opened) {
    return opened.error();
  }
  journal_ = std::move(*opened);
  if (journal_->damagedLines() > 0) {
    findings_.push_back("The outbox journal " + journal + " has damaged lines (" +
                        std::to_string(journal_->damagedLines()) + "), which were left out");
  }
  return {};
}

Result<void> Outbox::recover() {
  auto inTmp = namesInTmp();
  if (!inTmp) {
    return inTmp.error();
  }
  if (auto recovered = recoverForwards(*inTmp); !recovered) {
    return recovered;
  }
  clearTmp(*inTmp);
  removeDelivered();
  return {};
}

Result<std::set<std::string>> Outbox::namesInTmp() {
  const auto entries = files_.list(folder_ + "/tmp");
  if (!entries) {
    return entries.error();
  }
  std::set<std::string> names;
  for (const FolderEntry& entry : *entries) {
    if (entry.type == FileType::kRegular) {
      names.insert(entry.name);
    }
  }
  return names;
}

// Decides for every intent whose end is not on record, and moves on what the journal calls sent
// but is still in tmp/. Takes those that it moves out of `inTmp`.
Result<void> Outbox::recoverForwards(std::set<std::string>& inTmp) {
  std::vector<std::string> open;
  for (const auto& [entry, record] : journal_->records()) {
    if (record.state == ForwardRecord::State::kIntended) {
      open.push_back(record.file);
    }
  }
  for (const std::string& file : inTmp) {
    if (journal_->calledDone().contains(file)) {
      open.push_back(file);
    }
  }
  if (open.empty()) {
    return {};
  }
  std::set<std::string> placed;
  for (const char* part : {"/new", "/cur", "/failed"}) {
    if (auto listed = addNames(files_, folder_ + part, placed); !listed) {
      return listed;
    }
  }
  std::vector<std::string> sent;
  std::vector<std::string> gone;
  for (const std::string& file : open) {
    if (!placed.contains(file) && inTmp.contains(file)) {
      if (auto moved = files_.rename(path("tmp", file), path("new", file)); !moved) {
        return moved;
      }
      inTmp.erase(file);
      placed.insert(file);
    }
    (placed.contains(file) ? sent : gone).push_back(file);
  }
  // Also what is gone: it may have been taken out of new/ without a sync.
  if (auto synced = files_.syncFolder(folder_ + "/new"); !synced) {
    return synced;
  }
  for (const std::string& file : gone) {
    (void)journal_->annul(file);
  }
  for (const std::string& file : sent) {
    (void)journal_->done(file);
  }
  return {};
}

// Nobody else writes under names of our making while the lock is held. What cannot be removed does
// no harm.
void Outbox::clearTmp(const std::set<std::string>& left) {
  for (const std::string& name : left) {
    bool stale = isOutboxName(name);
    if (!stale) {
      const auto info = files_.inspect(path("tmp", name));
      stale = info && clock_.now() - info->modified > kTmpAge;
    }
    if (stale) {
      (void)files_.remove(path("tmp", name));
    }
  }
}

void Outbox::removeDelivered() {
  for (const std::string& file : journal_->delivered()) {
    const auto removed = files_.remove(path("new", file));
    if (removed || removed.error().code == ENOENT) {
      removed_.push_back(file);
    }
  }
  (void)finishDeliveries();
}

}  // namespace relaybird
