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
  std::string output;  ///< the beginning of its output, both streams, at most kOutputLimit bytes
};

/// The number of bytes of a command's output that are kept; the rest is read and dropped.
inline constexpr std::size_t kOutputLimit = 4096;

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;
  /// Runs a program (an absolute path and its arguments, no shell), gives it `input` and waits for
  /// its end. Not reading all input is not a failure. When `stop` is requested, a command that has
  /// read all its input gets a moment to finish before it is killed.
  virtual CommandResult run(const std::vector<std::string>& arguments, std::string_view input,
                            std::chrono::milliseconds timeLimit, std::stop_token stop) = 0;
};

}  // namespace relaybird
