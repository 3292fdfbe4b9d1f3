// SPDX-License-Identifier: MIT
// Which character set a label in mail or HTML means in practice. Internal to this folder.
#pragma once

#include <string_view>

namespace relaybird {

/// How many bytes are skipped at a sequence that the set does not have.
enum class SkipBy {
  kByte,   ///< single bytes, and sets with shifts
  kPair,   ///< two bytes where the second is not ASCII, so that the pairs behind stay in step
  kUnit2,  ///< UTF-16
  kUnit4,  ///< UTF-32
};

enum class CharsetKind {
  kUnknown,
  kGuess,  ///< a label that says nothing: UTF-8 where the text is valid as that, else windows-1252
  kUtf8,
  kUtf16,      ///< byte order by its mark, else little-endian
  kIso2022Jp,  ///< with the vendors' extensions
  kOther,      ///< converted by the iconv name
};

struct Charset {
  CharsetKind kind = CharsetKind::kUnknown;
  const char* iconvName = "";
  SkipBy skip = SkipBy::kByte;
};

/// The set that a label stands for, from a closed list: a stranger's mail cannot choose among all
/// the converters of the C library.
Charset charsetOf(std::string_view label);

}  // namespace relaybird
