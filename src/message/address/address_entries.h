// SPDX-License-Identifier: MIT
// An address list taken apart into its entries. Internal to this folder.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A header value whose encoded words are replaced by atoms of private-use characters. A parser
/// must not see the words: its decoder is not ours, and what it makes of a comma within one depends
/// on the writer. Nor must it see an "xn--": it decodes what follows, and two readings of one
/// domain would be two domains. A word that a name and the bracket behind it seem to make together
/// is none.
class HiddenWords {
 public:
  /// `value`: unfolded UTF-8. Private-use characters like those used here are dropped from it.
  explicit HiddenWords(std::string_view value);
  HiddenWords(const HiddenWords&) = delete;
  HiddenWords& operator=(const HiddenWords&) = delete;

  const std::string& text() const { return text_; }
  /// The part of text() as it was before.
  std::string shown(std::string_view text) const;

 private:
  std::string_view wordOf(std::string_view number) const;

  std::string value_;
  std::vector<std::string_view> words_;  ///< parts of value_
  std::string text_;
};

/// Splits at the commas and semicolons that stand outside quotes, comments and angle brackets, and
/// drops the names of groups. GMime would do that too, but its parser calls itself for each group
/// within a group, and ends at a semicolon outside of one.
class AddressEntries {
 public:
  /// `text` must outlive this object. NULs in it count as blanks.
  explicit AddressEntries(std::string_view text) : text_(text) {}

  /// The next entry that is not blank; none at the end. "Doe, John <j@x.org>" without quotes, as
  /// many write it, is one entry.
  std::optional<std::string> next();

 private:
  struct Piece {
    std::string text;
    char end = '\0';  // what stands behind it: "," or ";", NUL at the end of all
  };
  Piece piece();

  std::string_view text_;
  std::optional<Piece> ahead_;
};

}  // namespace relaybird
