// SPDX-License-Identifier: MIT
// The order of the steps is part of the promise that no forward gets lost or goes out twice:
// the journal first, then the mark, then the mark's durability, then the journal's settling.
#include "stores/mailbox/read_marks.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace relaybird {

namespace {

// In listings, of which a check makes one or two.
constexpr int kLongestPause = 63;

}  // namespace

ReadMarks::ReadMarks(Inbox& inbox, Outbox& outbox, std::function<void(std::string)> notice)
    : inbox_(inbox), outbox_(outbox), notice_(std::move(notice)) {}

Result<std::shared_ptr<InboxView>> ReadMarks::list() {
  writeHeldBack();
  settle();
  auto view = currentView();
  if (view) {
    catchUp(*view);
  }
  return view;
}

Result<std::shared_ptr<InboxView>> ReadMarks::currentView() {
  auto listing = inbox_.list();
  if (!listing) {
    return listing.error();
  }
  if (!view_ || view_->listing != *listing) {
    view_ = std::make_shared<InboxView>();
    view_->listing = std::move(*listing);
    view_->forwarded.resize(view_->listing->size());
  }
  return view_;
}

bool ReadMarks::unread(const InboxEntry& entry) const {
  return !entry.seen() && !entry.view->forwarded[entry.index] && !isHeldBack(entry);
}

Result<void> ReadMarks::setUnread(const InboxEntry& entry, bool unread) {
  if (unread) {
    return markUnread(entry);
  }
  if (isHeldBack(entry)) {
    heldBack_.reset();
    return write(entry, true);
  }
  if (this->unread(entry)) {
    writeHeldBack();
    heldBack_ = entry;
  }
  return {};
}

// A user who marks a forwarded message unread wants it to be processed again.
Result<void> ReadMarks::markUnread(const InboxEntry& entry) {
  if (isHeldBack(entry)) {
    heldBack_.reset();
  }
  const std::string entryId = entry.entryId();
  if (marked_.erase(entryId) != 0 || entry.view->forwarded[entry.index]) {
    if (const auto settled = outbox_.settle(entryId); !settled) {
      return settled;
    }
    entry.view->forwarded[entry.index] = false;
  }
  return write(entry, false);
}

Result<void> ReadMarks::write(const InboxEntry& entry, bool seen) {
  const auto written = entry.view->listing->setSeen(entry.index, seen);
  if (!written && written.error().code == ENOENT) {
    return {};  // the message is gone, and needs no mark
  }
  return written;
}

void ReadMarks::writeHeldBackNow() {
  const InboxEntry entry = *std::exchange(heldBack_, std::nullopt);
  if (const auto written = write(entry, true); !written) {
    complain(entry, written.error());
  }
}

void ReadMarks::forwardAnew(const InboxEntry& entry) {
  const std::string entryId = entry.entryId();
  if (marked_.erase(entryId) != 0) {
    (void)outbox_.settle(entryId);
  }
}

void ReadMarks::forwardSent(const InboxEntry& entry) {
  if (isHeldBack(entry)) {
    heldBack_.reset();
  }
  writeForwarded(entry);
}

void ReadMarks::writeForwarded(const InboxEntry& entry) {
  const auto written = entry.view->listing->setSeen(entry.index, true);
  entry.view->forwarded[entry.index] = !written;
  if (written) {
    marked_.insert(entry.entryId());
  } else if (written.error().code != ENOENT) {
    complain(entry, written.error());
  }
}

// A mark that is neither durable nor refused stays in marked_; until it is, the journal replaces
// it. One that was refused is set again by the next catchUp(), then after growing pauses.
void ReadMarks::settle() {
  if (marked_.empty()) {
    return;
  }
  const MarkReport report = inbox_.syncMarks(marked_);
  for (const std::string& entryId : report.durable) {
    marked_.erase(entryId);
    refused_.erase(entryId);
    // A failure counts in this run alone; a later run finds the mark and settles again.
    (void)outbox_.settle(entryId);
  }
  for (const std::string& entryId : report.refused) {
    marked_.erase(entryId);
    Refused& mark = refused_[entryId];
    mark.listings = mark.pause;
    mark.pause = std::min(mark.pause * 2 + 1, kLongestPause);
  }
}

// What is missing is counted once for each listing: an inbox may return the same one for long.
// There are few forwarded messages whose mark is not durable yet, usually none. The listing is
// searched only if there is one.
void ReadMarks::catchUp(const std::shared_ptr<InboxView>& view) {
  const std::vector<std::string> sent = outbox_.alreadySent();
  if (sent.empty()) {
    missing_.clear();
    return;
  }
  std::unordered_set<std::string> open(sent.begin(), sent.end());
  for (std::size_t i = 0; i < view->listing->size() && !open.empty(); ++i) {
    if (open.erase(view->listing->entryId(i)) != 0) {
      bridge({view, i});
    }
  }
  // What is missing from a part of the messages may be among the others.
  if (std::exchange(searched_, view->listing) == view->listing || !view->listing->isWhole()) {
    return;
  }
  for (const std::string& entryId : open) {
    if (marked_.count(entryId) == 0) {
      noteMissing(entryId);
    }
  }
}

// A mark that is on its way is not set again: the message counts as read, even if the mailbox shows
// it unread.
void ReadMarks::bridge(const InboxEntry& entry) {
  const std::string entryId = entry.entryId();
  missing_.erase(entryId);
  const auto refused = refused_.find(entryId);
  if (marked_.count(entryId) != 0) {
    entry.view->forwarded[entry.index] = !entry.seen();
  } else if (refused != refused_.end() && refused->second.listings > 0) {
    --refused->second.listings;
    entry.view->forwarded[entry.index] = true;
  } else {
    writeForwarded(entry);
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

void ReadMarks::complain(const InboxEntry& entry, const Error& error) {
  if (complained_.insert(entry.entryId()).second) {
    notice_("The message " + entry.entryId() + " could not be marked read: " + error.text);
  }
}

}  // namespace relaybird
