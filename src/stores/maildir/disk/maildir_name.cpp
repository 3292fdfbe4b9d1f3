// SPDX-License-Identifier: MIT
#include "stores/maildir/disk/maildir_name.h"

#include <algorithm>
#include <limits>

namespace relaybird {

namespace {
constexpr std::string_view kFlagsMark = ":2,";
}

// The last mark counts: what a careless deliverer puts into the unique name stays part of it, and a
// rewritten name reads back with the same unique name. Colons are rare, and a listing asks this of
// every file, so they alone are looked for.
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

bool hasMaildirFlag(std::string_view name, char flag) {
  return maildirFlags(name).find(flag) != std::string_view::npos;
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

}  // namespace relaybird
