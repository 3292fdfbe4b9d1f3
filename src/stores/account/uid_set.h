// SPDX-License-Identifier: MIT
// Sets of message numbers as IMAP writes them ("1:4,7,9:12", RFC 9051 section 9, sequence-set), in
// the memory of their ranges: a server may name four thousand million messages in a few bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// So many ranges of a set are kept, those with the highest numbers: the newest messages. What a
/// server sends must not fill the memory, and a check looks at far fewer messages.
inline constexpr std::size_t kMostRanges = 200'000;

class UidSet {
 public:
  struct Range {
    std::uint32_t first = 0;
    std::uint32_t last = 0;  ///< not below `first`
    bool operator==(const Range&) const = default;
  };

  UidSet() = default;
  /// In any order.
  explicit UidSet(std::vector<std::uint32_t> uids);
  /// Nothing if the text is not a set of numbers from 1 on. "*" is not accepted: no server sends
  /// it.
  static std::optional<UidSet> parse(std::string_view text, char separator = ',');

  /// Adds first..last in either order. Costs a search, and moving the ranges behind it.
  void add(std::uint32_t first, std::uint32_t last);
  void add(std::uint32_t uid) { add(uid, uid); }
  /// Linear in the ranges of both.
  void add(const UidSet& other);
  void remove(const UidSet& other);
  /// Drops the lowest ranges beyond `most`.
  void keepNewest(std::size_t most);
  bool contains(std::uint32_t uid) const;

  bool empty() const { return ranges_.empty(); }
  std::uint64_t count() const;
  /// Rising, neither overlapping nor adjoining.
  const std::vector<Range>& ranges() const { return ranges_; }
  /// The members from the lowest on, at most `most` of them.
  std::vector<std::uint32_t> uids(std::size_t most) const;
  /// The highest members, at most `most` of them; rising.
  std::vector<std::uint32_t> newest(std::size_t most) const;
  /// In the shortest form; empty for the empty set, which IMAP cannot express.
  std::string text() const;

  bool operator==(const UidSet&) const = default;

 private:
  friend class UidGathering;
  void merge();

  std::vector<Range> ranges_;
};

/// Gathers sets that a server sends one after another. Whatever their order and number, that costs
/// little more than reading them, and the memory of twice `most` ranges.
class UidGathering {
 public:
  /// Of more than `most` ranges those with the highest numbers are kept.
  explicit UidGathering(std::size_t most = kMostRanges) : most_(most) {}

  struct Gathered {
    UidSet uids;
    bool whole = true;  ///< no range was dropped
  };

  void add(UidSet uids);
  /// All that was added since the last call.
  Gathered take();

 private:
  void settle();

  std::size_t most_;
  Gathered gathered_;  // its ranges are in any order, until settle()
};

}  // namespace relaybird
