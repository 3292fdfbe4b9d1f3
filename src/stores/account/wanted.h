// SPDX-License-Identifier: MIT
// What becomes of a thing that is wanted from a server, and which messages are to blame when a
// connection is lost instead, or the server refuses them.
#pragma once

#include <algorithm>
#include <chrono>
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
  kLost,    ///< it did not come, for a reason outside of the message, or one that may pass; a later
            ///< want asks again
};

/// What to tell of a message that the server has answered NO or BAD for, and that is to be asked
/// for again.
inline std::string refusedForNow(const std::string& words) {
  return "The mail server refuses a message for now: " + words;
}

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

/// Of two refusals of a message, or two connections lost over it, the second counts only so long
/// after the first.
inline constexpr std::chrono::minutes kRefusalPause{10};
/// The same where no other message has come in between: the server may be giving out none.
inline constexpr std::chrono::hours kRefusalPauseAlone{2};
/// A message is given up over so many refusals that count: after half an hour at the earliest. A
/// connection that is closed at once weighs as much as two of them.
inline constexpr int kMostRefusals = 4;

/// Counts the connections that were lost over messages, and the refusals of messages. One message
/// over which a server fails must not block the others for ever.
///
/// Connections are also lost for reasons of the network, and no message must be given up for those:
/// only a connection that ends as soon as the server has to answer counts fully. And a server that
/// is overloaded, or that lets its users have only so much in a time, refuses messages, or ends
/// connections over them, that it gives out later: one such time must count once, however often the
/// message is asked for in it.
///
/// Without a clock; all times are of one steady clock. Heads and bodies have an object each: of a
/// message whose text is damaged, the head comes at every check.
class MessageBlame {
 public:
  using Time = std::chrono::milliseconds;

  /// The present time of all that follows.
  void setTime(Time now) { now_ = now; }

  /// Whether a connection that ends like this can be blamed on anything.
  static bool counts(Loss how) { return weightOf(how) > 0; }

  /// Notes that a connection was lost while this message was asked for. True: it has happened too
  /// often, and the message is to be given up. That stays so until it has come.
  bool add(std::uint32_t uid, Loss how) {
    if (!counts(how)) {
      return false;
    }
    return count(losses_[uid], weightOf(how));
  }
  /// Notes that the server has refused this message, which somebody waits for, and which was asked
  /// for alone. True: it is to be given up. That stays so until it has come.
  bool addRefusal(std::uint32_t uid) { return count(refusals_[uid], 1); }
  /// The message has come.
  void clear(std::uint32_t uid) {
    ++came_;
    losses_.erase(uid);
    refusals_.erase(uid);
  }
  void keepOnly(const UidSet& uids) {
    const auto isOther = [&](const auto& entry) { return !uids.contains(entry.first); };
    std::erase_if(losses_, isOther);
    std::erase_if(refusals_, isOther);
  }
  void forget() {
    losses_.clear();
    refusals_.clear();
  }

 private:
  struct Failures {
    int weight = 0;          // of those that count
    Time last{0};            // of these
    std::uint64_t came = 0;  // messages that had come until then
  };

  static constexpr int weightOf(Loss how) {
    return how == Loss::kClosedAtOnce ? 2 : how == Loss::kBroken ? 1 : 0;
  }

  bool count(Failures& failures, int weight) const {
    const Time pause = came_ > failures.came ? Time(kRefusalPause) : Time(kRefusalPauseAlone);
    if (failures.weight == 0 ||
        (failures.weight < kMostRefusals && now_ - failures.last >= pause)) {
      failures = {failures.weight + weight, now_, came_};
    }
    return failures.weight >= kMostRefusals;
  }

  Time now_{0};
  std::uint64_t came_ = 0;
  std::unordered_map<std::uint32_t, Failures> losses_;
  std::unordered_map<std::uint32_t, Failures> refusals_;
};

}  // namespace relaybird
