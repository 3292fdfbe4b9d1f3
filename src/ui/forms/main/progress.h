// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// How far long work has come.
struct Progress {
  enum class Kind {
    kNone,     ///< nothing runs
    kSteps,    ///< `done` of `total` items
    kUnknown,  ///< something runs, and nobody knows for how long
  };
  Kind kind = Kind::kNone;
  int done = 0;
  int total = 0;
  bool operator==(const Progress&) const = default;
};

}  // namespace relaybird
