// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

struct CommandResult {
  enum class End {
    kExited,      ///< by itself; `code` is its exit status
    kKilled,      ///< by a signal; `code` is its number
    kTimedOut,    ///< it did not end in time and was ended
    kCancelled,   ///< it was ended because `stop` was requested
    kNotStarted,  ///< `code` is the error number
  };

  End end = End::kNotStarted;
  int code = 0;
  std::string
      output;  ///< the beginning of what it printed, both streams, at most kOutputLimit bytes
};

/// How much of a command's output is kept; the rest is read and dropped.
inline constexpr std::size_t kOutputLimit = 4096;

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;
  /// Runs a program (an absolute path and its arguments, no shell), feeds it `input` and waits for
  /// its end. A command that does not read all its input has not failed by that. When `stop` is
  /// requested, one that has all its input gets a moment to finish before it is ended.
  virtual CommandResult run(const std::vector<std::string>& arguments, std::string_view input,
                            std::chrono::milliseconds timeLimit, std::stop_token stop) = 0;
};

}  // namespace relaybird
