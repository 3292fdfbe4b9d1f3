// SPDX-License-Identifier: MIT
// A Maildir as an inbox: identifiers are the files' unique names, read marks their flags.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "stores/mailbox/inbox.h"
#include "stores/maildir/maildir_folder.h"

namespace relaybird {

class MaildirInbox : public Inbox {
 public:
  /// `clock` is used to tell how long ago a folder was changed. All must outlive this object.
  MaildirInbox(FileSystem& files, const Clock& clock, EventQueue& events, std::string path);

  Result<std::string> identity() const override { return files_.resolve(folder_.path()); }
  std::string folder() const override { return folder_.path(); }
  Result<void> check() override { return folder_.check(); }
  Result<std::shared_ptr<InboxListing>> list() override;
  MarkReport syncMarks(const std::unordered_set<std::string>& entryIds) override;
  void synchronise(std::function<void()> done) override { events_.post(std::move(done)); }

 private:
  FileSystem& files_;
  const Clock& clock_;
  EventQueue& events_;
  MaildirFolder folder_;
  std::shared_ptr<InboxListing> last_;  ///< of the state in stamp_
  MaildirStamp stamp_;
};

}  // namespace relaybird
