// SPDX-License-Identifier: MIT
// Whether a call stays linear on an input made to defeat it.
#pragma once

#include <algorithm>
#include <ctime>
#include <string>
#include <string_view>

namespace relaybird {

inline std::string repeated(std::string_view text, std::size_t times) {
  std::string out;
  out.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) out += text;
  return out;
}

/// Calls `call` with the inputs that `make` builds for `size` and for sixteen times that, and
/// compares the processor time of the two: quadratic work would make the ratio 256. The limit of 80
/// leaves a busy machine five times what linear work takes, and work too short to be measured
/// passes.
template <class Make, class Call>
bool staysLinear(std::size_t size, Make make, Call call) {
  const auto seconds = [&](std::size_t n) {
    const auto input = make(n);
    double best = 1e9;
    for (int round = 0; round < 2; ++round) {
      const std::clock_t start = std::clock();
      call(input);
      best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    return best;
  };
  constexpr double kShortest = 0.001;
  return seconds(16 * size) < 80 * std::max(seconds(size), kShortest);
}

}  // namespace relaybird
