// SPDX-License-Identifier: MIT
// A Maildir on disk: its messages and their read marks.
//
// Mail programs deliver, mark, move and delete messages in the same folders at any moment and
// without a lock. A file that is not where the listing saw it is therefore searched by its unique
// name, and has vanished only if it is found nowhere. Nothing here opens a message or throws.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

// File names: a unique name that stays with the message for its life, and behind ":2," the flags,
// which change by renaming the file (https://cr.yp.to/proto/maildir.html).

/// Length of the unique name before ":2,". The whole name where it has no flags, or where the flags
/// are all that it has.
std::size_t maildirBaseLength(std::string_view name);

/// The letters after ":2,", in their order in the name; empty without ":2,".
std::string_view maildirFlags(std::string_view name);

/// The name with the flag set or cleared. Other letters are kept, whatever they mean. The result
/// has each letter once, in ASCII order, as readers of a Maildir expect.
std::string withMaildirFlag(std::string_view name, char flag, bool set);

/// The seconds since 1970 that a unique name begins with by convention. 0 for a name that begins
/// otherwise, the largest value for a number that is too large.
std::uint64_t maildirTimeStamp(std::string_view name);

/// The flag of a message that has been read.
inline constexpr char kSeenFlag = 'S';

struct MaildirMessage {
  std::string name;              ///< of the file, flags included
  std::uint32_t baseLength = 0;  ///< of the unique name, which is the entry identifier
  bool inNew = false;            ///< is in new/, otherwise in cur/
  bool seen = false;
  bool vanished = false;  ///< was looked for and not found

  std::string_view entryId() const { return std::string_view(name).substr(0, baseLength); }
};

/// Oldest first: by the time stamp in the unique name, then by that name. No two entries have the
/// same unique name. A listing keeps its order and length; its entries are updated when a message
/// is found elsewhere.
using MaildirListing = std::vector<MaildirMessage>;

/// Identifies a state of the two subfolders. If two stamps are equal and the later change in them
/// is some seconds old, no name has changed between the two.
struct MaildirStamp {
  FileInfo inNew;
  FileInfo inCur;

  DateTime changed() const { return std::max(inNew.modified, inCur.modified); }
  bool operator==(const MaildirStamp& other) const;
};

class MaildirFolder {
 public:
  MaildirFolder(FileSystem& files, std::string path) : files_(files), path_(std::move(path)) {}

  const std::string& path() const { return path_; }

  /// Fails with a sentence for the user when the folder is missing or is not a Maildir.
  Result<void> check();

  /// Fails as check() does.
  Result<MaildirStamp> stamp();

  /// Reads new/ and cur/ once each. Only regular files whose names do not begin with a dot are
  /// messages. A message that is being moved and is seen in both folders is listed once.
  Result<MaildirListing> list();

  /// Sets or clears the read mark; does nothing where it is set or cleared already. A message in
  /// new/ moves to cur/. ENOENT when the message has vanished.
  Result<void> setSeen(MaildirListing& listing, std::size_t index, bool seen);

  /// Calls `use` with the path of the message's file. If that returns ENOENT because the message
  /// was moved, calls it again with the new path. ENOENT when the message has vanished.
  Result<void> withFile(MaildirListing& listing, std::size_t index,
                        const std::function<Result<void>(const std::string& path)>& use);

 private:
  std::string pathOf(const MaildirMessage& message) const;
  Result<void> readSubfolder(const char* name, MaildirListing& found);
  Result<void> locate(MaildirListing& listing, std::size_t index);
  Error vanished(const MaildirMessage& message) const;

  FileSystem& files_;
  std::string path_;
};

}  // namespace relaybird
