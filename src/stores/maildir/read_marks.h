// SPDX-License-Identifier: MIT
// Which messages of the inbox count as unread, and when a read mark is written to disk.
//
// A forward must neither get lost nor go out twice, even if the power fails at any moment. The
// caller marks a message read before it forwards it, so that mark is held back: as long as it is
// not on disk, a crash leaves the message unread, and the next run forwards it. Once the outbox has
// journaled the forward, the message counts as read, whatever its file name says, until its mark is
// durable. Only then is the journal entry settled.
//
// At most one mark is held back. User-interface thread only.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "outbox/outbox.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "stores/maildir/maildir_folder.h"

namespace relaybird {

/// One listing, shared by the items taken from it.
struct MaildirView {
  MaildirListing messages;
  std::vector<bool> forwarded;  ///< counts as read, although the mark could not be written
};

/// One message of a listing.
struct MaildirPlace {
  std::shared_ptr<MaildirView> view;
  std::size_t index = 0;

  const MaildirMessage& message() const { return view->messages[index]; }
  std::string_view entryId() const { return message().entryId(); }
};

class ReadMarks {
 public:
  /// All must outlive this object. `clock` is used to tell how long ago a folder was changed.
  /// `notice` gets a sentence for the log when a mark could not be written outside of a caller's
  /// request; once for each message.
  ReadMarks(FileSystem& files, const Clock& clock, MaildirFolder& folder, Outbox& outbox,
            std::function<void(std::string)> notice);

  /// Writes the mark that is held back, then lists the inbox. Returns the last listing again if no
  /// name has changed since. Writes marks of forwarded messages that an earlier run or try could
  /// not write.
  Result<std::shared_ptr<MaildirView>> list();

  bool unread(const MaildirPlace& place) const;

  /// Does nothing if the mark has that state already or the message has vanished. Marking as read
  /// is held back the first time and written when it is repeated.
  Result<void> setUnread(const MaildirPlace& place, bool unread);

  /// The message is about to be forwarded once more on purpose: settles an earlier forward of it
  /// whose mark is written, so that the outbox does not take the new one for a repetition.
  void forwardAnew(const MaildirPlace& place);

  /// The outbox has journaled the message's forward: writes the mark. Never fails; a mark that
  /// cannot be written is tried again at each listing.
  void forwardSent(const MaildirPlace& place);

  /// The message whose mark is held back: the one that is being forwarded.
  const std::optional<MaildirPlace>& heldBack() const { return heldBack_; }

  /// Writes the mark that is held back, if there is one. Inline, as it runs for every item of a
  /// pass.
  void writeHeldBack() {
    if (heldBack_) {
      writeHeldBackNow();
    }
  }

  /// Makes the written marks of forwarded messages durable and settles their journal entries.
  /// Called once after a series, as it waits for the disk.
  void settle();

 private:
  bool isHeldBack(const MaildirPlace& place) const {
    return heldBack_ && heldBack_->entryId() == place.entryId();
  }
  void writeHeldBackNow();
  Result<void> markUnread(const MaildirPlace& place);
  Result<void> write(const MaildirPlace& place, bool seen);
  void writeForwarded(const MaildirPlace& place);
  void catchUp(const std::shared_ptr<MaildirView>& view);
  void noteMissing(const std::string& entryId);
  void complain(const MaildirPlace& place, const Error& error);

  Result<std::shared_ptr<MaildirView>> currentView();

  FileSystem& files_;
  const Clock& clock_;
  MaildirFolder& folder_;
  Outbox& outbox_;
  std::function<void(std::string)> notice_;
  std::shared_ptr<MaildirView> view_;  ///< the last listing, of the state in stamp_
  MaildirStamp stamp_;
  std::optional<MaildirPlace> heldBack_;
  std::unordered_set<std::string> written_;  ///< forwarded and marked, not settled yet
  std::unordered_set<std::string> missing_;  ///< forwarded and absent from the last listing
  std::unordered_set<std::string> complained_;
};

}  // namespace relaybird
