// SPDX-License-Identifier: MIT
// The ranges are kept in order, without overlapping or touching each other, so that a search is
// binary and the text is as short as it can be. Sets of servers come in any order, with ranges
// written backwards (RFC 9051, section 9); merge() sorts them.
#include "stores/account/uid_set.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace relaybird {
namespace {

// Takes a number from 1 on off the text.
std::optional<std::uint32_t> takeNumber(std::string_view& text) {
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || number == 0) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
  return number;
}

// The first range that does not end before `uid`.
template <class Ranges>
auto rangeAt(Ranges& ranges, std::uint32_t uid) {
  return std::lower_bound(
      ranges.begin(), ranges.end(), uid,
      [](const UidSet::Range& range, std::uint32_t wanted) { return range.last < wanted; });
}

}  // namespace

UidSet::UidSet(std::vector<std::uint32_t> uids) {
  std::sort(uids.begin(), uids.end());
  for (const std::uint32_t uid : uids) {
    add(uid);
  }
}

std::optional<UidSet> UidSet::parse(std::string_view text, char separator) {
  UidSet result;
  std::vector<Range> ranges;
  while (true) {
    const auto first = takeNumber(text);
    auto last = first;
    if (first && text.starts_with(':')) {
      text.remove_prefix(1);
      last = takeNumber(text);
    }
    if (!first || !last) {
      return std::nullopt;
    }
    ranges.push_back({std::min(*first, *last), std::max(*first, *last)});
    if (text.empty()) {
      break;
    }
    if (text.front() != separator) {
      return std::nullopt;
    }
    text.remove_prefix(1);
  }
  result.ranges_ = std::move(ranges);
  result.merge();
  return result;
}

void UidSet::add(std::uint32_t first, std::uint32_t last) {
  if (first > last) {
    std::swap(first, last);
  }
  // The ranges that it overlaps or adjoins become one with it.
  const auto begin = rangeAt(ranges_, first == 0 ? 0 : first - 1);
  auto end = begin;
  for (; end != ranges_.end() && end->first <= std::uint64_t{last} + 1; ++end) {
    first = std::min(first, end->first);
    last = std::max(last, end->last);
  }
  if (begin == end) {
    ranges_.insert(begin, {first, last});
  } else {
    *begin = {first, last};
    ranges_.erase(std::next(begin), end);
  }
}

void UidSet::add(const UidSet& other) {
  ranges_.insert(ranges_.end(), other.ranges_.begin(), other.ranges_.end());
  merge();
}

void UidSet::remove(const UidSet& other) {
  std::vector<Range> left;
  auto cut = other.ranges_.begin();
  for (const Range& range : ranges_) {
    std::uint64_t from = range.first;  // what is not looked at yet; behind 2^32 - 1 at last
    while (cut != other.ranges_.end() && cut->last < range.first) {
      ++cut;
    }
    // The last range that is cut out may reach into the next one of ours, so it is kept.
    for (auto next = cut; next != other.ranges_.end() && next->first <= range.last; ++next) {
      cut = next;
      if (next->first > from) {
        left.push_back({static_cast<std::uint32_t>(from), next->first - 1});
      }
      from = std::uint64_t{next->last} + 1;
    }
    if (from <= range.last) {
      left.push_back({static_cast<std::uint32_t>(from), range.last});
    }
  }
  ranges_ = std::move(left);
}

bool UidSet::contains(std::uint32_t uid) const {
  const auto range = rangeAt(ranges_, uid);
  return range != ranges_.end() && range->first <= uid;
}

std::uint64_t UidSet::count() const {
  std::uint64_t total = 0;
  for (const Range& range : ranges_) {
    total += std::uint64_t{range.last} - range.first + 1;
  }
  return total;
}

std::vector<std::uint32_t> UidSet::uids(std::size_t most) const {
  std::vector<std::uint32_t> result;
  for (const Range& range : ranges_) {
    for (std::uint64_t uid = range.first; uid <= range.last; ++uid) {
      if (result.size() == most) {
        return result;
      }
      result.push_back(static_cast<std::uint32_t>(uid));
    }
  }
  return result;
}

std::vector<std::uint32_t> UidSet::newest(std::size_t most) const {
  std::vector<std::uint32_t> result;
  result.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(most, count())));
  for (auto range = ranges_.rbegin(); range != ranges_.rend(); ++range) {
    for (std::uint64_t uid = range->last; uid >= range->first && result.size() < most; --uid) {
      result.push_back(static_cast<std::uint32_t>(uid));
    }
  }
  std::reverse(result.begin(), result.end());
  return result;
}

std::string UidSet::text() const {
  std::string result;
  for (const Range& range : ranges_) {
    result += result.empty() ? "" : ",";
    result += std::to_string(range.first);
    if (range.last != range.first) {
      result += ':' + std::to_string(range.last);
    }
  }
  return result;
}

void UidSet::keepNewest(std::size_t most) {
  if (ranges_.size() > most) {
    ranges_.erase(ranges_.begin(), ranges_.end() - static_cast<std::ptrdiff_t>(most));
  }
}

// Sorts, and joins what overlaps or adjoins. In place, and sorted already as a rule: a long list
// comes in pieces, and each of them is merged.
void UidSet::merge() {
  const auto before = [](const Range& a, const Range& b) { return a.first < b.first; };
  if (!std::is_sorted(ranges_.begin(), ranges_.end(), before)) {
    std::sort(ranges_.begin(), ranges_.end(), before);
  }
  std::size_t count = 0;
  for (const Range range : ranges_) {
    if (count > 0 && range.first <= std::uint64_t{ranges_[count - 1].last} + 1) {
      ranges_[count - 1].last = std::max(ranges_[count - 1].last, range.last);
    } else {
      ranges_[count++] = range;
    }
  }
  ranges_.resize(count);
}

void UidGathering::add(UidSet uids) {
  auto& ranges = gathered_.uids.ranges_;
  if (ranges.empty()) {
    gathered_.uids = std::move(uids);
  } else {
    ranges.insert(ranges.end(), uids.ranges_.begin(), uids.ranges_.end());
  }
  if (ranges.size() > 2 * most_) {
    settle();
  }
}

void UidGathering::settle() {
  gathered_.uids.merge();
  gathered_.whole = gathered_.whole && gathered_.uids.ranges_.size() <= most_;
  gathered_.uids.keepNewest(most_);
}

UidGathering::Gathered UidGathering::take() {
  settle();
  return std::exchange(gathered_, {});
}

}  // namespace relaybird
