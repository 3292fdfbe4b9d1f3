// SPDX-License-Identifier: MIT
// The order of the steps is part of the promise that no forward gets lost or goes out twice:
// the journal first, then the mark, then the sync of the folders, then the journal's settling.
#include "stores/maildir/read_marks.h"

#include <cerrno>
#include <utility>

namespace relaybird {

namespace {

// Folders report the time of their last change in ticks of up to a second, depending on the file
// system. A change older than this cannot have the same time as a later one that a listing missed.
constexpr std::chrono::seconds kTickOfFolders{5};

}  // namespace

ReadMarks::ReadMarks(FileSystem& files, const Clock& clock, MaildirFolder& folder, Outbox& outbox,
                     std::function<void(std::string)> notice)
    : files_(files), clock_(clock), folder_(folder), outbox_(outbox), notice_(std::move(notice)) {}

Result<std::shared_ptr<MaildirView>> ReadMarks::list() {
  writeHeldBack();
  settle();
  auto view = currentView();
  if (view) {
    catchUp(*view);
  }
  return view;
}

Result<std::shared_ptr<MaildirView>> ReadMarks::currentView() {
  const auto stamp = folder_.stamp();
  if (!stamp) {
    return stamp.error();
  }
  if (view_ && *stamp == stamp_) {
    return view_;
  }
  const bool settled = clock_.now() - stamp->changed() > kTickOfFolders;
  auto messages = folder_.list();
  if (!messages) {
    return messages.error();
  }
  auto view = std::make_shared<MaildirView>();
  view->messages = std::move(*messages);
  view->forwarded.resize(view->messages.size());
  view_ = settled ? view : nullptr;
  stamp_ = *stamp;
  return view;
}

bool ReadMarks::unread(const MaildirPlace& place) const {
  return !place.message().seen && !place.view->forwarded[place.index] && !isHeldBack(place);
}

Result<void> ReadMarks::setUnread(const MaildirPlace& place, bool unread) {
  if (unread) {
    return markUnread(place);
  }
  if (isHeldBack(place)) {
    heldBack_.reset();
    return write(place, true);
  }
  if (this->unread(place)) {
    writeHeldBack();
    heldBack_ = place;
  }
  return {};
}

// A user who marks a forwarded message unread wants it to be processed again.
Result<void> ReadMarks::markUnread(const MaildirPlace& place) {
  if (isHeldBack(place)) {
    heldBack_.reset();
  }
  if (place.view->forwarded[place.index]) {
    if (const auto settled = outbox_.settle(std::string(place.entryId())); !settled) {
      return settled;
    }
    place.view->forwarded[place.index] = false;
  }
  return write(place, false);
}

Result<void> ReadMarks::write(const MaildirPlace& place, bool seen) {
  const auto written = folder_.setSeen(place.view->messages, place.index, seen);
  if (!written && written.error().code == ENOENT) {
    return {};  // the message is gone, and needs no mark
  }
  return written;
}

void ReadMarks::writeHeldBackNow() {
  const MaildirPlace place = *std::exchange(heldBack_, std::nullopt);
  if (const auto written = write(place, true); !written) {
    complain(place, written.error());
  }
}

void ReadMarks::forwardAnew(const MaildirPlace& place) {
  const std::string entryId(place.entryId());
  if (written_.erase(entryId) != 0) {
    (void)outbox_.settle(entryId);
  }
}

void ReadMarks::forwardSent(const MaildirPlace& place) {
  if (isHeldBack(place)) {
    heldBack_.reset();
  }
  writeForwarded(place);
}

void ReadMarks::writeForwarded(const MaildirPlace& place) {
  const auto written = folder_.setSeen(place.view->messages, place.index, true);
  place.view->forwarded[place.index] = !written;
  if (written) {
    written_.insert(std::string(place.entryId()));
  } else if (written.error().code != ENOENT) {
    complain(place, written.error());
  }
}

void ReadMarks::settle() {
  if (written_.empty()) {
    return;
  }
  // A mark may have moved its message out of new/. The new name is synced first: a crash between
  // the two leaves a message with two names rather than with none.
  for (const char* part : {"/cur", "/new"}) {
    if (!files_.syncFolder(folder_.path() + part)) {
      return;  // settled after a later sync; until then the journal replaces the mark
    }
  }
  for (const std::string& entryId : std::exchange(written_, {})) {
    // A failure counts in this run alone; a later run finds the mark and settles again.
    (void)outbox_.settle(entryId);
  }
}

// There are few forwarded messages whose mark is not written yet, usually none. The index over the
// listing is made only if there is one.
void ReadMarks::catchUp(const std::shared_ptr<MaildirView>& view) {
  std::vector<std::string> open;
  for (std::string& entryId : outbox_.alreadySent()) {
    if (written_.count(entryId) == 0) {
      open.push_back(std::move(entryId));
    }
  }
  if (open.empty()) {
    missing_.clear();
    return;
  }
  std::unordered_map<std::string_view, std::size_t> indexOf;
  indexOf.reserve(view->messages.size());
  for (std::size_t i = 0; i < view->messages.size(); ++i) {
    indexOf.emplace(view->messages[i].entryId(), i);
  }
  std::vector<MaildirPlace> found;
  for (const std::string& entryId : open) {
    if (const auto at = indexOf.find(entryId); at != indexOf.end()) {
      found.push_back({view, at->second});
    } else {
      noteMissing(entryId);
    }
  }
  for (const MaildirPlace& place : found) {
    missing_.erase(std::string(place.entryId()));
    writeForwarded(place);
  }
}

// One listing may miss a message that is being renamed. A message that is missing from two listings
// in a row has left the inbox and needs no mark any more.
void ReadMarks::noteMissing(const std::string& entryId) {
  if (missing_.insert(entryId).second) {
    return;
  }
  missing_.erase(entryId);
  (void)outbox_.settle(entryId);
}

void ReadMarks::complain(const MaildirPlace& place, const Error& error) {
  if (complained_.insert(std::string(place.entryId())).second) {
    notice_("The message " + std::string(place.entryId()) +
            " could not be marked read: " + error.text);
  }
}

}  // namespace relaybird
