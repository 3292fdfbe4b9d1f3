// SPDX-License-Identifier: MIT
// Mail arrives in a Maildir by itself and marks are written by renaming, so nothing here waits or
// works on another thread. A listing is kept as long as the folders show no change.
#include "stores/maildir/maildir_inbox.h"

#include <cerrno>
#include <utility>

namespace relaybird {

namespace {

// Folders report the time of their last change in ticks of up to a second, depending on the file
// system. A change older than this cannot have the same time as a later one that a listing missed.
constexpr std::chrono::seconds kTickOfFolders{5};

class FolderListing : public InboxListing {
 public:
  FolderListing(FileSystem& files, MaildirFolder& folder, MaildirListing messages)
      : files_(files), folder_(folder), messages_(std::move(messages)) {}

  std::size_t size() const override { return messages_.size(); }
  std::string entryId(std::size_t index) const override {
    return std::string(messages_[index].entryId());
  }
  bool seen(std::size_t index) const override { return messages_[index].seen; }
  Result<void> setSeen(std::size_t index, bool seen) override {
    return folder_.setSeen(messages_, index, seen);
  }
  InboxHead head(std::size_t index, const OwnMarks& own) override;
  Result<std::unique_ptr<InputFile>> open(std::size_t index) override;

 private:
  FileSystem& files_;
  MaildirFolder& folder_;
  MaildirListing messages_;
};

InboxHead FolderListing::head(std::size_t index, const OwnMarks& own) {
  InboxHead head;
  const auto file = open(index);
  if (!file) {
    head.failure = file.error();
    return head;
  }
  head.received = (*file)->info().modified;
  auto headers = readHeaderBlock(**file);
  if (!headers) {
    head.failure = headers.error();
    return head;
  }
  head.headers = std::move(*headers);
  if (const auto kind = readMessageKind(head.headers, **file, own)) {
    head.kind = *kind;
  } else {
    head.failure = kind.error();
  }
  return head;
}

Result<std::unique_ptr<InputFile>> FolderListing::open(std::size_t index) {
  std::unique_ptr<InputFile> file;
  const auto found =
      folder_.withFile(messages_, index, [&](const std::string& path) -> Result<void> {
        auto opened = files_.open(path);
        if (!opened) {
          return opened.error();
        }
        file = std::move(*opened);
        return {};
      });
  if (!found) {
    return found.error();
  }
  return file;
}

}  // namespace

MaildirInbox::MaildirInbox(FileSystem& files, const Clock& clock, EventQueue& events,
                           std::string path)
    : files_(files), clock_(clock), events_(events), folder_(files, std::move(path)) {}

Result<std::shared_ptr<InboxListing>> MaildirInbox::list() {
  const auto stamp = folder_.stamp();
  if (!stamp) {
    return stamp.error();
  }
  if (last_ && *stamp == stamp_) {
    return last_;
  }
  const bool settled = clock_.now() - stamp->changed() > kTickOfFolders;
  auto messages = folder_.list();
  if (!messages) {
    return messages.error();
  }
  std::shared_ptr<InboxListing> listing =
      std::make_shared<FolderListing>(files_, folder_, std::move(*messages));
  last_ = settled ? listing : nullptr;
  stamp_ = *stamp;
  return listing;
}

MarkReport MaildirInbox::syncMarks(const std::unordered_set<std::string>& entryIds) {
  // A mark may have moved its message out of new/. The new name is synced first: a crash between
  // the two leaves a message with two names rather than with none.
  for (const char* part : {"cur", "new"}) {
    if (!files_.syncFolder(joinPath(folder_.path(), part))) {
      return {};
    }
  }
  return {{entryIds.begin(), entryIds.end()}, {}};
}

}  // namespace relaybird
