// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace relaybird {

struct InputLine {
  enum class Kind {
    kText,
    kUnusable,  ///< the line was passed over; `text` says why
    kEnd,       ///< nothing more will come
  };
  Kind kind = Kind::kText;
  std::string text;  ///< without its line end
};

/// A longer line is passed over: nobody types one, and memory stays bounded.
inline constexpr std::size_t kLongestLine = 65536;

/// Where commands come from. Everything on the user-interface thread.
class LineSource {
 public:
  virtual ~LineSource() = default;
  /// Calls `onLines` from the loop whenever next() has something. Lines are read ahead of their
  /// use only as far as one reading brings them. Called once.
  virtual void listen(std::function<void()> onLines) = 0;
  /// The next line; none while there is none. After the end come no more.
  virtual std::optional<InputLine> next() = 0;
  /// What stands before the line that the user types; `question` where it is the answer to one,
  /// which no history remembers. Nothing where there is no user.
  virtual void setPrompt(const std::string& /*prompt*/, bool /*question*/) {}
};

}  // namespace relaybird
