// SPDX-License-Identifier: MIT
// A value for each of many messages, in little more memory than the values take: a map of nodes
// takes twice that and more. What is set gathers in a small map, and is merged into a sorted array
// when there is enough of it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "stores/account/uid_set.h"

namespace relaybird {

/// So many messages are remembered in one table. Three times what a check looks at, so that it
/// knows all of its messages, whatever mailbox it has to do with.
inline constexpr std::size_t kMostRemembered = 100'000;

template <class Value>
class UidTable {
 public:
  struct Entry {
    std::uint32_t uid = 0;
    [[no_unique_address]] Value value{};
  };

  UidTable() = default;
  /// Of more than `most` messages, those with the highest numbers are kept.
  explicit UidTable(std::size_t most) : most_(most) {}

  void set(std::uint32_t uid, Value value) {
    fresh_.insert_or_assign(uid, std::move(value));
    if (fresh_.size() >= kMostFresh) {
      merge();
    }
  }
  /// Null where nothing is known; valid until the next change.
  const Value* find(std::uint32_t uid) const {
    if (const auto fresh = fresh_.find(uid); fresh != fresh_.end()) {
      return &fresh->second;
    }
    const auto at = std::lower_bound(
        sorted_.begin(), sorted_.end(), uid,
        [](const Entry& entry, std::uint32_t wanted) { return entry.uid < wanted; });
    return at != sorted_.end() && at->uid == uid ? &at->value : nullptr;
  }
  bool contains(std::uint32_t uid) const { return find(uid) != nullptr; }
  /// Returns whether any was removed.
  bool keepOnly(const UidSet& uids) {
    merge();
    return std::erase_if(sorted_, [&](const Entry& entry) { return !uids.contains(entry.uid); }) >
           0;
  }
  void clear() {
    fresh_.clear();
    sorted_ = {};
  }
  /// All, rising; valid until the next change.
  const std::vector<Entry>& entries() {
    merge();
    return sorted_;
  }

 private:
  static constexpr std::size_t kMostFresh = 1024;

  void merge() {
    if (fresh_.empty()) {
      return;
    }
    std::vector<Entry> merged;
    merged.reserve(sorted_.size() + fresh_.size());
    auto old = sorted_.begin();
    for (auto& [uid, value] : fresh_) {
      for (; old != sorted_.end() && old->uid < uid; ++old) {
        merged.push_back(std::move(*old));
      }
      old += old != sorted_.end() && old->uid == uid ? 1 : 0;
      merged.push_back({uid, std::move(value)});
    }
    std::move(old, sorted_.end(), std::back_inserter(merged));
    if (merged.size() > most_) {
      merged.erase(merged.begin(), merged.end() - static_cast<std::ptrdiff_t>(most_));
    }
    fresh_.clear();
    sorted_ = std::move(merged);
  }

  std::size_t most_ = kMostRemembered;
  std::vector<Entry> sorted_;
  std::map<std::uint32_t, Value> fresh_;
};

}  // namespace relaybird
