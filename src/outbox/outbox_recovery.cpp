// SPDX-License-Identifier: MIT
// The journal says what was meant, the folders what was done; where the journal has no outcome, the
// place of the file is the outcome.
#include "outbox/outbox_recovery.h"

#include <cerrno>
#include <vector>

namespace relaybird {

Result<void> recoverForwards(FileSystem& files, OutboxFolder& disk, Journal& journal,
                             std::set<std::string>& inTmp) {
  std::vector<std::string> open;
  for (const auto& [entry, record] : journal.records().forwards()) {
    if (record.state == ForwardRecord::State::kIntended) {
      open.push_back(record.file);
    }
  }
  // Recorded as done, but still in tmp/: the disk has lost the rename and kept the line.
  for (const std::string& file : inTmp) {
    if (journal.calledDone().contains(file)) {
      open.push_back(file);
    }
  }
  if (open.empty()) {
    return {};
  }
  auto placed = disk.placedNames();
  if (!placed) {
    return placed.error();
  }
  std::vector<std::string> sent;
  std::vector<std::string> gone;
  for (const std::string& file : open) {
    // Complete: the intent was written after the file was synced.
    if (!placed->contains(file) && inTmp.contains(file)) {
      if (auto moved = files.rename(disk.pathOf("tmp", file), disk.pathOf("new", file)); !moved) {
        return moved;
      }
      inTmp.erase(file);
      placed->insert(file);
    }
    (placed->contains(file) ? sent : gone).push_back(file);
  }
  // Needed for missing files too: one may have been removed from new/ without a sync.
  if (auto synced = disk.syncNew(); !synced) {
    return synced;
  }
  for (const std::string& file : gone) {
    (void)journal.annul(file);
  }
  for (const std::string& file : sent) {
    (void)journal.done(file);
  }
  return {};
}

void forgetWhatIsGone(FileSystem& files, const OutboxFolder& disk, Journal& journal) {
  for (const std::string& file : journal.records().filesUnderWay()) {
    const auto info = files.inspect(disk.pathOf("new", file));
    if (!journal.records().texts().contains(file) && !info && info.error().code == ENOENT) {
      journal.dropUnderWay(file);
    }
  }
}

}  // namespace relaybird
