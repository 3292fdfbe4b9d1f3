// SPDX-License-Identifier: MIT
// What the character set names of mail and HTML mean in practice. Internal to this folder.
#pragma once

#include <string_view>

namespace relaybird {

/// How far conversion goes on behind a sequence that the set does not have.
enum class SkipBy {
  kByte,  ///< single bytes, and sets with shifts
  kPair,  ///< two bytes where the second one cannot be ASCII, so that the pairs behind stay in step
  kUnit2,  ///< UTF-16
  kUnit4,  ///< UTF-32
};

enum class CharsetKind {
  kUnknown,
  kGuess,  ///< a label put on anything: UTF-8 where the text is that, else windows-1252
  kUtf8,
  kUtf16,      ///< byte order by its mark, else little-endian
  kIso2022Jp,  ///< read with the vendors' extensions too
  kOther,      ///< converted by the iconv name
};

struct Charset {
  CharsetKind kind = CharsetKind::kUnknown;
  const char* iconvName = "";
  SkipBy skip = SkipBy::kByte;
};

/// The set that a label stands for. The list is closed, so that a stranger's mail cannot choose
/// among all the converters of the C library.
Charset charsetOf(std::string_view label);

}  // namespace relaybird
