// SPDX-License-Identifier: MIT
// Names and listings of a Maildir. Everything works by unique names, because a file's path changes
// with every flag that any mail program sets.
#include "stores/maildir/maildir_folder.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace relaybird {

namespace {

constexpr std::string_view kFlagsMark = ":2,";

struct SortKey {
  std::uint64_t timeStamp;
  std::size_t index;
};

// A message seen twice was being moved. The name with the read mark wins: at worst a new message
// waits for the next listing, while the opposite choice would lose the user's mark.
void keepOne(MaildirMessage& kept, MaildirMessage& other) {
  const bool otherWins = other.seen != kept.seen ? other.seen : (kept.inNew && !other.inNew);
  if (otherWins) {
    std::swap(kept, other);
  }
}

// Sorts small keys instead of the names, so that texts are compared only within the same second.
MaildirListing sorted(MaildirListing found) {
  std::vector<SortKey> keys;
  keys.reserve(found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    keys.push_back({maildirTimeStamp(found[i].entryId()), i});
  }
  std::sort(keys.begin(), keys.end(), [&](const SortKey& a, const SortKey& b) {
    return a.timeStamp != b.timeStamp ? a.timeStamp < b.timeStamp
                                      : found[a.index].entryId() < found[b.index].entryId();
  });
  MaildirListing result;
  result.reserve(found.size());
  for (const SortKey& key : keys) {
    MaildirMessage& message = found[key.index];
    if (!result.empty() && result.back().entryId() == message.entryId()) {
      keepOne(result.back(), message);
    } else {
      result.push_back(std::move(message));
    }
  }
  return result;
}

// Updates an older listing from a fresh one in the same order; marks the entries that were found.
void follow(MaildirListing& listing, MaildirListing& fresh, std::vector<bool>& found) {
  const auto before = [](const MaildirMessage& a, const MaildirMessage& b) {
    const std::uint64_t x = maildirTimeStamp(a.entryId());
    const std::uint64_t y = maildirTimeStamp(b.entryId());
    return x != y ? x < y : a.entryId() < b.entryId();
  };
  std::size_t next = 0;
  for (std::size_t i = 0; i < listing.size(); ++i) {
    while (next < fresh.size() && before(fresh[next], listing[i])) {
      ++next;
    }
    if (next < fresh.size() && fresh[next].entryId() == listing[i].entryId()) {
      listing[i] = std::move(fresh[next++]);
      found[i] = true;
    }
  }
}

}  // namespace

// The last ":2," counts: a ":2," that a careless delivery program put into the unique name stays
// part of it, and a rewritten name keeps the same unique name. This runs for every file of a
// listing, and colons are rare, so the search is for colons only.
std::size_t maildirBaseLength(std::string_view name) {
  std::size_t colon = name.rfind(':');
  while (colon != std::string_view::npos && colon > 0) {
    if (name.compare(colon, kFlagsMark.size(), kFlagsMark) == 0) {
      return colon;
    }
    colon = name.rfind(':', colon - 1);
  }
  return name.size();
}

std::string_view maildirFlags(std::string_view name) {
  const std::size_t base = maildirBaseLength(name);
  return base == name.size() ? std::string_view() : name.substr(base + kFlagsMark.size());
}

std::string withMaildirFlag(std::string_view name, char flag, bool set) {
  std::string flags(maildirFlags(name));
  flags.erase(std::remove(flags.begin(), flags.end(), flag), flags.end());
  if (set) {
    flags += flag;
  }
  std::sort(flags.begin(), flags.end());
  flags.erase(std::unique(flags.begin(), flags.end()), flags.end());
  std::string result(name.substr(0, maildirBaseLength(name)));
  return result.append(kFlagsMark).append(flags);
}

std::uint64_t maildirTimeStamp(std::string_view name) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t seconds = 0;
  for (const char c : name) {
    if (c < '0' || c > '9') {
      break;
    }
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (seconds > (kMost - digit) / 10) {
      return kMost;
    }
    seconds = seconds * 10 + digit;
  }
  return seconds;
}

Result<void> MaildirFolder::check() {
  for (const char* part : {"new", "cur"}) {
    const std::string folder = joinPath(path_, part);
    const auto info = files_.inspect(folder);
    if (info && info->type == FileType::kFolder) {
      continue;
    }
    if (info) {
      return Error{ENOTDIR, path_ + " is not a Maildir: " + folder + " is not a folder"};
    }
    if (info.error().code != ENOENT && info.error().code != ENOTDIR) {
      return Error{info.error().code,
                   "The Maildir " + path_ + " cannot be read: " + info.error().text};
    }
    if (!files_.inspect(path_)) {
      return Error{ENOENT, "The Maildir " + path_ + " does not exist"};
    }
    return Error{info.error().code, path_ + " is not a Maildir: it has no folder " + part};
  }
  return {};
}

bool MaildirStamp::operator==(const MaildirStamp& other) const {
  const auto same = [](const FileInfo& a, const FileInfo& b) {
    return a.device == b.device && a.inode == b.inode && a.modified == b.modified;
  };
  return same(inNew, other.inNew) && same(inCur, other.inCur);
}

Result<MaildirStamp> MaildirFolder::stamp() {
  if (const auto checked = check(); !checked) {
    return checked.error();
  }
  const auto inNew = files_.inspect(joinPath(path_, "new"));
  const auto inCur = files_.inspect(joinPath(path_, "cur"));
  if (!inNew || !inCur) {
    return inNew ? inCur.error() : inNew.error();
  }
  return MaildirStamp{*inNew, *inCur};
}

Result<void> MaildirFolder::readSubfolder(const char* name, MaildirListing& found) {
  auto entries = files_.list(joinPath(path_, name));
  if (!entries) {
    return entries.error();
  }
  const bool inNew = std::string_view(name) == "new";
  found.reserve(found.size() + entries->size());
  for (FolderEntry& entry : *entries) {
    if (entry.type != FileType::kRegular || entry.name.empty() || entry.name.front() == '.') {
      continue;
    }
    MaildirMessage message;
    message.name = std::move(entry.name);
    message.baseLength = static_cast<std::uint32_t>(maildirBaseLength(message.name));
    message.inNew = inNew;
    message.seen = message.baseLength < message.name.size() &&
                   message.name.find(kSeenFlag, message.baseLength) != std::string::npos;
    found.push_back(std::move(message));
  }
  return {};
}

// new/ first: a message that is moved to cur/ meanwhile is then seen twice rather than not at all.
Result<MaildirListing> MaildirFolder::list() {
  if (const auto checked = check(); !checked) {
    return checked.error();
  }
  MaildirListing found;
  for (const char* name : {"new", "cur"}) {
    if (const auto read = readSubfolder(name, found); !read) {
      return Error{read.error().code,
                   "The Maildir " + path_ + " cannot be read: " + read.error().text};
    }
  }
  return sorted(std::move(found));
}

std::string MaildirFolder::pathOf(const MaildirMessage& message) const {
  return joinPath(path_, (message.inNew ? "new/" : "cur/") + message.name);
}

Error MaildirFolder::vanished(const MaildirMessage& message) const {
  return {ENOENT, "The message " + std::string(message.entryId()) +
                      " is no longer in the Maildir " + path_};
}

// One look at the folders updates the whole listing, so that a mailbox emptied in the middle of a
// pass costs one more listing and not one for each message. A second look confirms that a message
// is gone: a folder that is read while a file in it is renamed may show neither name.
Result<void> MaildirFolder::locate(MaildirListing& listing, std::size_t index) {
  std::vector<bool> found(listing.size(), false);
  for (int look = 0; look < 2; ++look) {
    auto fresh = list();
    if (!fresh) {
      return fresh.error();
    }
    follow(listing, *fresh, found);
    if (found[index]) {
      return {};
    }
  }
  for (std::size_t i = 0; i < listing.size(); ++i) {
    listing[i].vanished = !found[i];
  }
  return vanished(listing[index]);
}

Result<void> MaildirFolder::withFile(
    MaildirListing& listing, std::size_t index,
    const std::function<Result<void>(const std::string& path)>& use) {
  // Another program may rename it again meanwhile, but hardly every time.
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts && !listing[index].vanished; ++attempt) {
    const auto used = use(pathOf(listing[index]));
    if (used || used.error().code != ENOENT) {
      return used;
    }
    if (const auto located = locate(listing, index); !located) {
      return located;
    }
  }
  return vanished(listing[index]);
}

Result<void> MaildirFolder::setSeen(MaildirListing& listing, std::size_t index, bool seen) {
  MaildirMessage& message = listing[index];
  if (message.seen == seen) {
    return {};
  }
  return withFile(listing, index, [&](const std::string& path) -> Result<void> {
    if (message.seen == seen) {
      return {};  // the program that moved it has set the mark too
    }
    std::string name = withMaildirFlag(message.name, kSeenFlag, seen);
    if (const auto renamed = files_.rename(path, joinPath(path_, "cur/" + name)); !renamed) {
      return renamed;
    }
    message.name = std::move(name);
    message.inNew = false;
    message.seen = seen;
    return {};
  });
}

}  // namespace relaybird
