// SPDX-License-Identifier: MIT
// Which messages of the inbox count as unread, and when a read mark reaches the disk.
//
// A forward must neither get lost nor go out twice, whatever moment the power chooses to fail. The
// caller marks a message read before it forwards it, so that mark is held back: while it is not on
// the disk, a crash leaves the message unread and it is forwarded by the next run. Once the outbox
// has journaled the forward, the message counts as read whatever its file name says, until its mark
// is on the medium; only then is the journal entry settled.
//
// At most one mark is held back. User-interface thread alone.
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
  /// All must outlive this object. `clock` tells how long ago a folder was changed. `notice` gets a
  /// sentence for the log about a mark that could not be written where nobody waits for the answer;
  /// once for each message.
  ReadMarks(FileSystem& files, const Clock& clock, MaildirFolder& folder, Outbox& outbox,
            std::function<void(std::string)> notice);

  /// Writes the mark that is held back, then lists; where nothing has come, gone or been renamed
  /// since the last time, that listing is answered again. Marks of forwarded messages that an
  /// earlier run or try could not write are written now.
  Result<std::shared_ptr<MaildirView>> list();

  bool unread(const MaildirPlace& place) const;

  /// Setting what stands is nothing to do, and so is either setting of a message that has vanished.
  /// The setting to read is held back the first time and written when it is repeated.
  Result<void> setUnread(const MaildirPlace& place, bool unread);

  /// The message is about to be forwarded once more on purpose: settles an earlier forward of it
  /// whose mark is written, so that the outbox takes the new one for what it is.
  void forwardAnew(const MaildirPlace& place);

  /// The outbox has journaled the message's forward: writes the mark. Never fails: what cannot be
  /// written is tried again at each listing.
  void forwardSent(const MaildirPlace& place);

  /// The message whose mark is held back: the one that is being forwarded.
  const std::optional<MaildirPlace>& heldBack() const { return heldBack_; }

  /// Writes the mark that is held back, if there is one. Inline, for a walk of many items.
  void writeHeldBack() {
    if (heldBack_) {
      writeHeldBackNow();
    }
  }

  /// Puts the written marks of forwarded messages on the medium and settles their journal entries.
  /// Once after a series, since it waits for the medium.
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
  std::shared_ptr<MaildirView> view_;  ///< the last one, of the state that stamp_ tells
  MaildirStamp stamp_;
  std::optional<MaildirPlace> heldBack_;
  std::unordered_set<std::string> written_;  ///< forwarded and marked, not settled yet
  std::unordered_set<std::string> missing_;  ///< forwarded and absent from the last listing
  std::unordered_set<std::string> complained_;
};

}  // namespace relaybird
