// SPDX-License-Identifier: MIT
// What becomes of a thing that is wanted from a server, and which messages are to blame when a
// connection is lost instead.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "stores/account/uid_set.h"

namespace relaybird {

/// Whether a thing that was wanted is there.
enum class Wanted {
  kNot,  ///< never wanted, or taken already
  kComing,
  kThere,
  kGone,    ///< the server has no such message any more
  kFailed,  ///< the message cannot be had
  kLost,    ///< it did not come, for a reason outside of the message; a later want asks again
};

// Heads and bodies are each kept in a map from the number of a message to a slot, which has at
// least a `state` and the `words` of a failure.

template <class Slots>
Wanted stateIn(const Slots& slots, std::uint32_t uid) {
  const auto slot = slots.find(uid);
  return slot == slots.end() ? Wanted::kNot : slot->second.state;
}

/// Whether anything is on its way.
template <class Slots>
bool anyComing(const Slots& slots) {
  return std::any_of(slots.begin(), slots.end(),
                     [](const auto& entry) { return entry.second.state == Wanted::kComing; });
}

/// All that is on its way becomes kLost, for this reason.
template <class Slots>
void loseComing(Slots& slots, const std::string& why) {
  for (auto& [uid, slot] : slots) {
    if (slot.state == Wanted::kComing) {
      slot.state = Wanted::kLost;
      slot.words = why;
    }
  }
}

/// How a connection ended, for the messages that were asked for on it.
enum class Loss {
  kOther,         ///< says nothing about them
  kBroken,        ///< no answer any more, or the network lost it instead of one: hardly over them
  kClosedAtOnce,  ///< the server ended it as soon as it had to answer
};

/// Counts the connections that were lost over messages. One message over which a server fails must
/// not block the others for ever. Connections are also lost for reasons of the network, and no
/// message must be given up for those: only a connection that ends as soon as the server has to
/// answer counts fully.
class MessageBlame {
 public:
  /// Whether a connection that ends like this can be blamed on anything.
  static bool counts(Loss how) { return weightOf(how) > 0; }

  /// Notes that a connection was lost while this message was asked for. True: it has happened too
  /// often, and the message is to be given up. Its count starts anew then.
  bool add(std::uint32_t uid, Loss how) {
    if (!counts(how)) {
      return false;
    }
    int& blame = blame_[uid];
    blame += weightOf(how);
    if (blame < kMost) {
      return false;
    }
    blame_.erase(uid);
    return true;
  }
  /// The message has come.
  void clear(std::uint32_t uid) { blame_.erase(uid); }
  void keepOnly(const UidSet& uids) {
    std::erase_if(blame_, [&](const auto& entry) { return !uids.contains(entry.first); });
  }
  void forget() { blame_.clear(); }

 private:
  // Twice closed at once, or four times lost otherwise.
  static constexpr int kMost = 4;
  static constexpr int weightOf(Loss how) {
    return how == Loss::kClosedAtOnce ? 2 : how == Loss::kBroken ? 1 : 0;
  }

  std::unordered_map<std::uint32_t, int> blame_;
};

}  // namespace relaybird
