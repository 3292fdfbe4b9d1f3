// SPDX-License-Identifier: MIT
// Takes a response apart, token by token (RFC 9051 section 9).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/account/imap_reader.h"

namespace relaybird {

/// After the first token that is not what was expected, failed() is true and everything that
/// follows is empty, so a caller checks once, at the end. Refers to `lines`.
class ImapScanner {
 public:
  explicit ImapScanner(ImapLines& lines) : lines_(lines), text_(lines.text) {}

  /// Where the scanner stands, to come back to it. Literals that were taken stay taken.
  struct Position {
    std::size_t text = 0;
    std::size_t literal = 0;
  };
  Position position() const { return position_; }
  void rewind(Position position);

  bool failed() const { return failed_; }
  void fail();
  bool atEnd() const { return position_.text >= text_.size(); }
  bool at(char c) const { return !atEnd() && text_[position_.text] == c; }
  /// Whether that character came next; if so it is taken.
  bool take(char c);
  void expect(char c);
  void skipBlanks();

  /// Everything up to a blank, a parenthesis, or the end; may be empty.
  std::string_view word();
  std::uint64_t number();
  /// A text in any form: quoted, literal or bare word; NIL is nothing. `cut` is set for a literal
  /// that was not kept.
  std::optional<std::string> text(bool* cut = nullptr);
  /// A list of words in parentheses, or NIL.
  std::vector<std::string> wordList();
  /// What stands between "[" and "]", its first word alone.
  std::string_view section();
  /// Any value, a list of any depth included.
  void skipValue();

 private:
  void skipToken();
  bool atLiteral() const;
  ImapLiteral* literal();
  std::string quoted();

  ImapLines& lines_;
  std::string_view text_;
  Position position_;
  bool failed_ = false;
};

}  // namespace relaybird
