// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "platform/system/secret.h"

namespace relaybird {

/// The words of a command line, which blanks separate. There is no quoting.
std::vector<std::string> commandWords(std::string_view command);

struct CommandResult {
  enum class End {
    kExited,      ///< by itself; `code` is its exit status
    kKilled,      ///< by a signal; `code` is its number
    kTimedOut,    ///< it did not end in time and was ended
    kCancelled,   ///< it was ended because `stop` was requested
    kNotStarted,  ///< `code` is the error number
    kNoInput,     ///< not started either, as its input failed; `output` has the words
  };

  End end = End::kNotStarted;
  int code = 0;
  std::string output;  ///< the beginning of its output, both streams, at most kOutputLimit bytes
};

/// The number of bytes of a command's output that are kept; the rest is read and dropped.
inline constexpr std::size_t kOutputLimit = 4096;

/// What a command reads: each call gives the next piece, valid until the next call; empty at the
/// end. Can be called once through.
using CommandInput = std::function<Result<std::string_view>()>;
/// All of `bytes`, which must outlive it, at once.
CommandInput wholeInput(std::string_view bytes);

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;
  /// Runs a program (an absolute path and its arguments, no shell), gives it `input`, which is read
  /// before the program is started, and waits for its end. Not reading all input is not a failure.
  /// When `stop` is requested, a command that has read all its input gets a moment to finish before
  /// it is killed.
  virtual CommandResult run(const std::vector<std::string>& arguments, const CommandInput& input,
                            std::chrono::milliseconds timeLimit, std::stop_token stop) = 0;
};

struct SecretCommandResult {
  CommandResult command;  ///< its output is the beginning of the error stream alone
  Secret secret;          ///< the beginning of the output stream, at most kSecretOutputLimit bytes
};

/// Access tokens of some services have several kilobytes.
inline constexpr std::size_t kSecretOutputLimit = 16384;

/// Runs commands that print a password or an access token.
class SecretCommandRunner {
 public:
  virtual ~SecretCommandRunner() = default;
  /// Like CommandRunner::run, with empty input. The output is kept nowhere but in the result's
  /// secret. The command is killed at once when `stop` is requested.
  virtual SecretCommandResult runForSecret(const std::vector<std::string>& arguments,
                                           std::chrono::milliseconds timeLimit,
                                           std::stop_token stop) = 0;
};

}  // namespace relaybird
