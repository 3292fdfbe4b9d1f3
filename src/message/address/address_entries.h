// SPDX-License-Identifier: MIT
// Splits an address list into its entries. Internal to this folder.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A header value whose encoded words are replaced by atoms of private-use characters, to hide them
/// from a parser: its decoder differs from ours, and a comma inside a word would divide entries for
/// it. "xn--" is hidden too: the parser would decode the label, and one domain would become two. An
/// encoded word that contains "<" is not hidden: it is a name run together with its address.
class HiddenWords {
 public:
  /// `value` is unfolded UTF-8. Private-use characters like those used here are dropped from it.
  explicit HiddenWords(std::string_view value);
  HiddenWords(const HiddenWords&) = delete;
  HiddenWords& operator=(const HiddenWords&) = delete;

  const std::string& text() const { return text_; }
  /// A part of text() with the original words put back.
  std::string restored(std::string_view text) const;

 private:
  std::string_view wordOf(std::string_view number) const;

  std::string value_;
  std::vector<std::string_view> words_;  ///< parts of value_
  std::string text_;
};

/// Splits at the commas and semicolons outside of quotes, comments and angle brackets, and drops
/// the names of groups. GMime could do that too, but its parser recurses for nested groups and
/// stops at a semicolon outside of a group.
class AddressEntries {
 public:
  /// `text` must outlive this object. NULs in it count as blanks.
  explicit AddressEntries(std::string_view text) : text_(text) {}

  /// The next entry that is not blank; empty at the end. "Doe, John <j@x.org>" without quotes, as
  /// many write it, is one entry.
  std::optional<std::string> next();

 private:
  struct Piece {
    std::string text;
    char end = '\0';  // the separator behind it, "," or ";"; NUL at the end of the list
  };
  Piece piece();

  std::string_view text_;
  std::optional<Piece> ahead_;
};

}  // namespace relaybird
