// SPDX-License-Identifier: MIT
// Finds a text in lines, while it is typed, and from hit to hit. Letter case does not count. A line
// is looked at once for a text that grows as it is typed, however many letters that takes: a line
// without "ab" has no "abc" either. Standard library and platform text alone; one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

class LineSearch {
 public:
  struct Hit {
    std::size_t line;
    bool aroundTheEnd;  ///< found after going on at the other end
  };

  /// The lines must outlive it. They may grow; where they become fewer, forget() is called.
  explicit LineSearch(const std::vector<std::string>& lines) : lines_(lines) {}

  /// The first line with the text, from line `from` on and around the end. A text that continues
  /// the one before is looked for from where that one was. None for an empty text, too.
  std::optional<Hit> type(std::string_view text, std::size_t from);
  /// The next and the previous line with the text that was typed, from line `from`; that line
  /// itself where it is the only one.
  std::optional<Hit> next(std::size_t from);
  std::optional<Hit> previous(std::size_t from);
  /// As if nothing had been typed.
  void forget();

  /// How many lines have been looked at so far.
  std::size_t looks() const { return looks_; }

 private:
  bool has(std::size_t line);
  bool nowhere() const;
  bool isHit(std::size_t line) const;
  void begin(std::size_t origin);
  std::optional<Hit> walk();

  const std::vector<std::string>& lines_;
  std::string text_;  ///< folded
  // Where the search began, how many lines from there on and around the end do not have the text,
  // and how many lines there were: the line behind those without it is the hit.
  std::size_t origin_ = 0;
  std::size_t without_ = 0;
  std::size_t size_ = 0;
  std::size_t looks_ = 0;
};

}  // namespace relaybird
