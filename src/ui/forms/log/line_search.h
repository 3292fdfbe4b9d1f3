// SPDX-License-Identifier: MIT
// Finds a text in lines, while it is typed and from hit to hit, ignoring letter case. While the
// text grows, each line is examined only once: a line without "ab" cannot contain "abc". Uses the
// standard library and platform/text only; for one thread.
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
    bool aroundTheEnd;  ///< found after wrapping around
  };

  /// The lines must outlive it. They may grow; call forget() when lines are removed.
  explicit LineSearch(const std::vector<std::string>& lines) : lines_(lines) {}

  /// The first line that contains the text, starting at line `from` and wrapping around. A text
  /// that extends the previous one is searched from where that one was found. Empty if there is
  /// none, and for an empty text.
  std::optional<Hit> type(std::string_view text, std::size_t from);
  /// The next and the previous line that contain the typed text, relative to line `from`; that line
  /// itself if it is the only one.
  std::optional<Hit> next(std::size_t from);
  std::optional<Hit> previous(std::size_t from);
  /// Resets the search.
  void forget();

  /// The number of lines examined so far, for measurements.
  std::size_t examined() const { return examined_; }

 private:
  bool contains(std::size_t line);
  bool hasNoHit() const;
  bool isHit(std::size_t line) const;
  void begin(std::size_t origin);
  std::optional<Hit> advance();

  const std::vector<std::string>& lines_;
  std::string text_;  ///< folded
  // Where the search began, how many lines from there (wrapping around) do not contain the text,
  // and how many lines there were. The line after those without the text is the hit.
  std::size_t origin_ = 0;
  std::size_t misses_ = 0;
  std::size_t size_ = 0;
  std::size_t examined_ = 0;
};

}  // namespace relaybird
