// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/clock.h"

namespace relaybird {

/// What a store has to tell that is no answer to a call: a line for the activity log, and what it
/// is about.
struct StoreNotice {
  enum class Kind {
    kNote,
    kRefused,  ///< a message was refused for good
    kStopped,  ///< an address gets nothing more until the user says otherwise
  };

  /// Most notices are a line and nothing else.
  StoreNotice(std::string text, Kind what = Kind::kNote) : line(std::move(text)), kind(what) {}

  std::string line;  ///< without a time
  Kind kind;
  /// When it happened; kNoDate: now. A thread of the store may be ahead of whoever reads this.
  DateTime time = kNoDate;
};

}  // namespace relaybird
