// SPDX-License-Identifier: MIT
// Encoded words in header values (RFC 2047), read as mail programs write them rather than as the
// RFC would have them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A raw header value, folded or not, as UTF-8 text:
/// - folds become the white space they stand for, and white space at both ends goes;
/// - encoded words are decoded, also in the middle of a word, and the white space between two of
/// them
///   is dropped; neighbours of one character set and encoding are joined before they are converted,
///   so that a character split over two words comes out whole. A language suffix (RFC 2231 section
///   5) is ignored;
/// - half a base64 group yields the bytes that it has; a word that is no encoded word after all
/// stays
///   as it is;
/// - raw 8-bit bytes come out as rawHeaderToUtf8() has them.
/// Control characters that were encoded come out as they are: whoever writes the text into a header
/// or a line of its own must deal with CR and LF. Never throws on bad input; linear time; any
/// thread.
std::string decodeHeaderText(std::string_view raw, std::string_view rawCharset = {});

/// Raw bytes of a header value as UTF-8: as they are where they are that, else out of the set that
/// `rawCharset` names (a MIME name), where it contains ASCII and has all these bytes, else out of
/// windows-1252. Linear time; any thread.
std::string rawHeaderToUtf8(std::string_view bytes, std::string_view rawCharset);

/// The value on one line: each fold, and the white space that follows it, becomes one blank, and
/// white space at both ends goes (RFC 5322 section 2.2.3).
std::string unfoldHeader(std::string_view raw);

/// A stretch of a text, in bytes.
struct Span {
  std::size_t start = 0;
  std::size_t length = 0;
};

/// Where encoded words stand in an unfolded value, in order, from "=?" to "?=".
std::vector<Span> encodedWords(std::string_view value);

}  // namespace relaybird
