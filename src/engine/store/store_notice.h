// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

namespace relaybird {

/// What a store has to tell that is no answer to a call: a line for the activity log, and what it
/// is about.
struct StoreNotice {
  enum class Kind {
    kNote,
    kRefused,  ///< a message was refused for good
  };

  /// Most notices are a line and nothing else.
  StoreNotice(std::string text, Kind what = Kind::kNote) : line(std::move(text)), kind(what) {}

  std::string line;
  Kind kind;
};

}  // namespace relaybird
