// SPDX-License-Identifier: MIT
// Claims about speed, as ratios of two benchmarks of one run. Absolute times depend on the machine
// and on what else it does; a ratio of two things measured in turns does not.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace relaybird::bench {

/// The first benchmark costs at most `limit` times the second.
struct Claim {
  std::string what;
  std::string measured;
  std::string against;
  double limit;
};

/// Prints as usual and keeps the median time of each benchmark, in nanoseconds.
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  MedianReporter();
  void ReportRuns(const std::vector<Run>& runs) override;
  const std::map<std::string, double>& medians() const { return medians_; }

 private:
  std::map<std::string, double> medians_;
};

/// Prints a row for each claim; false when one does not hold or was not measured.
bool printRatios(const std::vector<Claim>& claims, const std::map<std::string, double>& medians);

}  // namespace relaybird::bench
