// SPDX-License-Identifier: MIT
// How the bytes of a profile file stand for its text. Part of profile_file.h.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

enum class ProfileEncoding {
  kPlain,    ///< bytes of whatever character set, as they are
  kUtf8Bom,  ///< UTF-8 behind a byte order mark, which some editors put there
  kUtf16Le,  ///< little-endian UTF-16 behind a byte order mark
};

struct ProfileText {
  std::string text;  ///< without the mark; UTF-16 as UTF-8
  ProfileEncoding encoding = ProfileEncoding::kPlain;
  std::string tail;  ///< the odd byte at the end of a torn UTF-16 file
};

/// Never fails and loses nothing: encodeProfile makes the same bytes of it again. Half a surrogate
/// pair becomes three bytes, as if it were a character.
ProfileText decodeProfile(std::string bytes);

/// The bytes of a file in the encoding of `source` that holds `text`. None where text for a UTF-16
/// file is not what decodeProfile could have made.
std::optional<std::string> encodeProfile(const ProfileText& source, std::string_view text);

}  // namespace relaybird
