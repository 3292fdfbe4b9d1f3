// SPDX-License-Identifier: MIT
// File names of a Maildir: a unique name that stays with the message for its life, and behind ":2,"
// the flags, which change by renaming the file (https://cr.yp.to/proto/maildir.html).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

/// Length of the unique name in front of ":2,"; all of the name where it carries no flags, or where
/// nothing would be left in front of them.
std::size_t maildirBaseLength(std::string_view name);

/// The letters behind ":2,", in the order in which they stand; empty without ":2,".
std::string_view maildirFlags(std::string_view name);

bool hasMaildirFlag(std::string_view name, char flag);

/// The name with the flag set or cleared. The other letters are kept, whatever they mean, and all
/// of them come out in ASCII order, each once, as readers of a Maildir expect.
std::string withMaildirFlag(std::string_view name, char flag, bool set);

/// The seconds since 1970 that a unique name begins with by custom; 0 for a name that begins
/// otherwise, and the largest value where they do not fit.
std::uint64_t maildirTimeStamp(std::string_view name);

}  // namespace relaybird
