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
/// on the writer. Both texts must stay where they are while this object lives.
class HiddenWords {
 public:
  /// `value`: unfolded UTF-8.
  explicit HiddenWords(std::string_view value);

  const std::string& text() const { return text_; }
  /// The words again in place of their atoms. Private-use characters of the writer's own that look
  /// like an atom are dropped.
  std::string shown(std::string_view text) const;

 private:
  std::string_view wordOf(std::string_view number) const;

  std::vector<std::string_view> words_;
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
