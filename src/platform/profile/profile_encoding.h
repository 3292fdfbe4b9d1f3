// SPDX-License-Identifier: MIT
// The encodings of profile files. Part of profile_file.h.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

enum class ProfileEncoding {
  kPlain,    ///< bytes of any character set, unchanged
  kUtf8Bom,  ///< UTF-8 with a byte order mark, which some editors add
  kUtf16Le,  ///< little-endian UTF-16 with a byte order mark
};

struct ProfileText {
  std::string text;  ///< without the mark; UTF-16 as UTF-8
  ProfileEncoding encoding = ProfileEncoding::kPlain;
  std::string tail;  ///< the odd byte at the end of a torn UTF-16 file
};

/// Never fails and loses nothing: encodeProfile restores the same bytes. Half a surrogate pair
/// becomes three bytes, as if it were a character.
ProfileText decodeProfile(std::string bytes);

/// The bytes of a file with `text`, in the encoding of `source`. None when the text for a UTF-16
/// file cannot be encoded.
std::optional<std::string> encodeProfile(const ProfileText& source, std::string_view text);

}  // namespace relaybird
