// SPDX-License-Identifier: MIT
#include "ratios.h"

#include <cstdio>

namespace relaybird::bench {

MedianReporter::MedianReporter() : ConsoleReporter(OO_Tabular) {}

void MedianReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
      medians_[run.run_name.function_name] =
          run.GetAdjustedRealTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
    }
  }
  ConsoleReporter::ReportRuns(runs);
}

bool printRatios(const std::vector<Claim>& claims, const std::map<std::string, double>& medians) {
  bool all = true;
  std::printf("\n%-62s %12s %12s %7s %7s\n", "claim", "measured ns", "against ns", "ratio",
              "limit");
  for (const Claim& claim : claims) {
    const auto measured = medians.find(claim.measured);
    const auto against = medians.find(claim.against);
    if (measured == medians.end() || against == medians.end()) {
      std::printf("%-62s was not measured\n", claim.what.c_str());
      all = false;
      continue;
    }
    const double ratio = measured->second / against->second;
    const bool holds = ratio <= claim.limit;
    all = all && holds;
    std::printf("%-62s %12.0f %12.0f %7.2f %7.2f%s\n", claim.what.c_str(), measured->second,
                against->second, ratio, claim.limit, holds ? "" : "  EXCEEDED");
  }
  return all;
}

}  // namespace relaybird::bench
