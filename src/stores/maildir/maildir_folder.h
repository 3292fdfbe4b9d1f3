// SPDX-License-Identifier: MIT
// A Maildir on disk: what lies in it, and each message's read mark.
//
// Mail programs deliver, mark, move and delete in the same folders at any moment and without a
// lock. A file that is not where the listing saw it is therefore looked for under its unique name;
// only one that is nowhere has vanished. Nothing here opens a message, and nothing throws.
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

/// Length of the unique name in front of ":2,"; all of the name where it carries no flags, or where
/// nothing would be left in front of them.
std::size_t maildirBaseLength(std::string_view name);

/// The letters behind ":2,", in the order in which they stand; empty without ":2,".
std::string_view maildirFlags(std::string_view name);

/// The name with the flag set or cleared. The other letters are kept, whatever they mean, and all
/// of them come out in ASCII order, each once, as readers of a Maildir expect.
std::string withMaildirFlag(std::string_view name, char flag, bool set);

/// The seconds since 1970 that a unique name begins with by custom; 0 for a name that begins
/// otherwise, and the largest value where they do not fit.
std::uint64_t maildirTimeStamp(std::string_view name);

/// The letter of a message that has been read.
inline constexpr char kSeenFlag = 'S';

struct MaildirMessage {
  std::string name;              ///< of the file, flags included
  std::uint32_t baseLength = 0;  ///< of the unique name, which is the entry identifier
  bool inNew = false;            ///< lies in new/, otherwise in cur/
  bool seen = false;
  bool vanished = false;  ///< was looked for and not found

  std::string_view entryId() const { return std::string_view(name).substr(0, baseLength); }
};

/// Oldest first: by the time stamp in the unique name, then by that name. No two entries have the
/// same unique name. A listing keeps its order and length; its entries follow what is found out
/// later.
using MaildirListing = std::vector<MaildirMessage>;

/// Which state of the two subfolders a listing shows: no name in them has changed while two stamps
/// are equal and the younger change of the two lies a while back.
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

  /// Reads new/ and cur/ once each. Only regular files that do not begin with a dot are messages.
  /// One that is on its way between the folders, and seen in both, is listed once.
  Result<MaildirListing> list();

  /// Sets or clears the read mark, which is nothing to do where it stands already. A message in
  /// new/ moves to cur/ with it. ENOENT when the message has vanished.
  Result<void> setSeen(MaildirListing& listing, std::size_t index, bool seen);

  /// Calls `use` with the path of the message's file, and once more with the new one when it
  /// answers that there is no such file but the message has only moved. ENOENT when it has
  /// vanished.
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
