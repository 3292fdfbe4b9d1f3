// SPDX-License-Identifier: MIT
// The bytes of an IMAP server (RFC 9051 section 4), split into responses: a line, and the literals
// announced in it with the lines that follow them. What a response means is up to imap_parser.h.
//
// A server may be hostile, and strangers write part of what an honest one sends (the structure and
// the header of their messages). So nothing is kept beyond the limits, and a response that exceeds
// them is skipped up to its end instead of ending the connection: otherwise one odd message would
// block the inbox for good.
//
// The list that answers a SEARCH grows with the mailbox: its numbers are taken off the text while
// it comes, in pieces, and kept as a set.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/account/uid_set.h"

namespace relaybird {

/// What is kept of one response, in bytes.
struct ImapLimits {
  /// All its lines together, without the numbers that are taken off.
  std::size_t text = std::size_t{4} << 20;
  /// One literal.
  std::size_t literal = std::size_t{8} << 20;
  /// Everything together.
  std::size_t response = std::size_t{16} << 20;
  /// What may be skipped of one response. A server that sends more has lost its way.
  std::uint64_t skipped = std::uint64_t{256} << 20;
};

struct ImapLiteral {
  std::string bytes;
  bool cut = false;  ///< longer than the limit: `bytes` is empty

  bool operator==(const ImapLiteral&) const = default;
};

/// One response as received.
struct ImapLines {
  /// The lines without their line ends. After the announcement of a literal ("{12}") there is one
  /// LF instead of the literal; LF occurs nowhere else.
  std::string text;
  std::vector<ImapLiteral> literals;  ///< in the order of their announcements
  /// Taken off a list of numbers, whose end is still in the text; of very many the highest.
  UidSet numbers;
  bool cut = false;  ///< exceeded a limit: `text` is only a beginning

  bool operator==(const ImapLines&) const = default;
};

/// Linear time and bounded memory for any bytes, however they are cut. One thread.
class ImapReader {
 public:
  explicit ImapReader(ImapLimits limits = {}) : limits_(limits) {}

  /// Takes the bytes received next. Ignored after a fault.
  void feed(std::string_view bytes);
  /// The next complete response; nothing until more bytes are fed.
  std::optional<ImapLines> next();
  /// Why the stream cannot be read any further, for people; empty as long as it can.
  const std::string& fault() const { return fault_; }

 private:
  std::string_view feedLine(std::string_view bytes);
  std::string_view feedLiteral(std::string_view bytes);
  void endLine();
  void beginLiteral(std::uint64_t size);
  void keepText(std::string_view bytes);
  void keepPiece(std::string_view bytes);
  bool takeNumbers();
  void endResponse();
  std::size_t room() const;
  void skip(std::uint64_t count);
  void fail(std::string words);

  ImapLimits limits_;
  std::deque<ImapLines> complete_;
  ImapLines current_;
  std::size_t kept_ = 0;           // bytes of `current_`
  std::uint64_t skipped_ = 0;      // bytes of the current response that were not kept
  std::string ending_;             // the last bytes of the line, for the announcement at its end
  bool mayHaveLiterals_ = true;    // of the current response, known after its first words
  bool mayBeList_ = true;          // of numbers
  std::uint64_t literalLeft_ = 0;  // bytes of the literal that have not arrived
  bool literalKept_ = false;
  std::string fault_;
};

}  // namespace relaybird
