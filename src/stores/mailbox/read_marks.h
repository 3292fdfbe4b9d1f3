// SPDX-License-Identifier: MIT
// Which messages of the inbox count as unread, and when a read mark reaches the mailbox.
//
// A forward must neither get lost nor go out twice, even if the power fails at any moment. The
// caller marks a message read before it forwards it, so that mark is held back: as long as it is
// not there, a crash leaves the message unread, and the next run forwards it. Once the outbox has
// journaled the forward, the message counts as read, whatever the inbox shows, until its mark is
// durable. Only then is the journal entry settled. A mark may become durable long after it was set,
// when a server has confirmed it; until then a crash is bridged by the journal.
//
// At most one mark is held back. User-interface thread only.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "outbox/outbox.h"
#include "platform/result.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {

/// One listing, shared by the items taken from it.
struct InboxView {
  std::shared_ptr<InboxListing> listing;
  std::vector<bool> forwarded;  ///< counts as read, although its mark is not in the mailbox
};

/// One message of a listing.
struct InboxEntry {
  std::shared_ptr<InboxView> view;
  std::size_t index = 0;

  std::string entryId() const { return view->listing->entryId(index); }
  bool seen() const { return view->listing->seen(index); }
};

class ReadMarks {
 public:
  /// Both must outlive this object. `notice` gets a sentence for the log when a mark could not be
  /// written outside of a caller's request; once for each message.
  ReadMarks(Inbox& inbox, Outbox& outbox, std::function<void(std::string)> notice);

  /// Writes the mark that is held back, then lists the inbox. Returns the last view again if the
  /// inbox returns the last listing again. Sets marks of forwarded messages that an earlier run or
  /// try could not set.
  Result<std::shared_ptr<InboxView>> list();

  bool unread(const InboxEntry& entry) const;

  /// Does nothing if the mark has that state already or the message has vanished. Marking as read
  /// is held back the first time and written when it is repeated.
  Result<void> setUnread(const InboxEntry& entry, bool unread);

  /// Leaves the message unread if its mark is held back.
  void release(const InboxEntry& entry) {
    if (isHeldBack(entry)) {
      heldBack_.reset();
    }
  }

  /// The message is about to be forwarded once more on purpose: settles an earlier forward of it
  /// whose mark is set, so that the outbox does not take the new one for a repetition.
  void forwardAnew(const InboxEntry& entry);

  /// The outbox has journaled the message's forward: sets the mark. Never fails; a mark that cannot
  /// be set is tried again at each listing.
  void forwardSent(const InboxEntry& entry);

  /// The message whose mark is held back: the one that is being forwarded.
  const std::optional<InboxEntry>& heldBack() const { return heldBack_; }

  /// Writes the mark that is held back, if there is one. Inline, as it runs for every item of a
  /// pass.
  void writeHeldBack() {
    if (heldBack_) {
      writeHeldBackNow();
    }
  }

  /// Settles the journal entries of forwarded messages whose marks are durable. Called once after a
  /// series, as it may wait for the disk.
  void settle();

 private:
  bool isHeldBack(const InboxEntry& entry) const {
    return heldBack_ && heldBack_->entryId() == entry.entryId();
  }
  // A mark that the server has refused: how many listings pass by before the next try, and how many
  // it will be after another refusal.
  struct Refused {
    int listings = 0;
    int pause = 0;
  };
  void writeHeldBackNow();
  Result<void> markUnread(const InboxEntry& entry);
  Result<void> write(const InboxEntry& entry, bool seen);
  void writeForwarded(const InboxEntry& entry);
  void catchUp(const std::shared_ptr<InboxView>& view);
  void bridge(const InboxEntry& entry);
  void noteMissing(const std::string& entryId);
  void complain(const InboxEntry& entry, const Error& error);

  Result<std::shared_ptr<InboxView>> currentView();

  Inbox& inbox_;
  Outbox& outbox_;
  std::function<void(std::string)> notice_;
  std::shared_ptr<InboxView> view_;  ///< the last one
  std::optional<InboxEntry> heldBack_;
  std::unordered_set<std::string> marked_;  ///< forwarded and marked, not known to be durable
  std::unordered_map<std::string, Refused> refused_;
  std::unordered_set<std::string> missing_;  ///< forwarded and absent from the last listing
  std::shared_ptr<InboxListing> searched_;   ///< the last one in which they were looked for
  std::unordered_set<std::string> complained_;
};

}  // namespace relaybird
