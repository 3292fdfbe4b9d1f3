// SPDX-License-Identifier: MIT
// Encoded words in header values (RFC 2047), read as mail programs write them, not only as the RFC
// allows them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A raw header value, folded or not, as UTF-8 text:
/// - folds become the white space that they stand for; white space at both ends is removed;
/// - encoded words are decoded, also in the middle of a word, and the white space between two of
///   them is dropped. Neighbours of one character set and encoding are joined before they are
///   converted, so that a character split over two words is read whole. A language suffix (RFC 2231
///   section 5) is ignored;
/// - an incomplete base64 group yields the bytes that it has; malformed encoded words stay;
/// - raw 8-bit bytes are converted by rawHeaderToUtf8().
/// Encoded control characters are decoded too: a caller that writes the text into a header or a
/// line must remove CR and LF. Never throws on bad input; linear time; any thread.
std::string decodeHeaderText(std::string_view raw, std::string_view rawCharset = {});

/// Raw bytes of a header value as UTF-8. Valid UTF-8 is returned unchanged. Otherwise the bytes are
/// converted from the set that `rawCharset` names (a MIME name), if that includes ASCII and has all
/// these bytes, else from windows-1252. Linear time; any thread.
std::string rawHeaderToUtf8(std::string_view bytes, std::string_view rawCharset);

/// The value on one line: each fold becomes one blank, together with one blank behind it; white
/// space at both ends is removed (RFC 5322 section 2.2.3).
std::string unfoldHeader(std::string_view raw);

/// A stretch of a text, in bytes.
struct Span {
  std::size_t start = 0;
  std::size_t length = 0;
};

/// The encoded words of an unfolded value in order, each from its "=?" to its "?=".
std::vector<Span> encodedWords(std::string_view value);

}  // namespace relaybird
