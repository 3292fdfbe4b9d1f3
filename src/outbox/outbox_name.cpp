// SPDX-License-Identifier: MIT
#include "outbox/outbox_name.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace relaybird {

namespace {

constexpr std::string_view kSuffix = ".relaybird";

}  // namespace

std::string makeOutboxName(DateTime now, std::uint64_t counter, std::string_view session) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(now);
  char stamp[80];
  std::snprintf(stamp, sizeof stamp, "%lld.M%06lldQ%010llu",
                static_cast<long long>(whole.time_since_epoch().count()),
                static_cast<long long>((now - whole).count()),
                static_cast<unsigned long long>(counter));
  return std::string(stamp) + 'R' + std::string(session) + std::string(kSuffix);
}

bool isOutboxName(std::string_view name) {
  const std::size_t dot = name.find('.');
  return dot > 0 && dot != name.npos && name.ends_with(kSuffix) &&
         name.substr(dot).starts_with(".M") &&
         std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(dot),
                     [](char digit) { return digit >= '0' && digit <= '9'; });
}

}  // namespace relaybird
