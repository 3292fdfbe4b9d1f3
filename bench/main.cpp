// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "large_attachment.h"
#include "ratios.h"

namespace relaybird::bench {

void registerMemoryBenchmarks();
void registerMaildirBenchmarks();
void registerHostileBenchmarks();
void registerLogBenchmarks();
std::vector<Claim> hostileClaims();
namespace {

const std::vector<Claim> kClaims = {
    {"pass over 30,000 items, per item, against 100 items", "memory_pass_30000", "memory_pass_100",
     1.5},
    {"ignored item (memory) against a bare hash look-up", "memory_pass_ignored",
     "memory_bare_look_up", 20},
    {"ignored item (Maildir) against a bare hash look-up", "maildir_pass_ignored",
     "maildir_bare_look_up", 20},
    {"listing and deciding 10,000 messages against reading them", "maildir_decide",
     "maildir_plain_read", 3},
    {"forwarding 1,000 messages against writing as many files", "maildir_forward",
     "maildir_plain_write", 2},
    {"a line to a log of 999,000 lines against one to an empty log", "log_after_999000_lines",
     "log_first_lines", 3},
};

}  // namespace
}  // namespace relaybird::bench

int main(int argc, char** argv) {
  using namespace relaybird::bench;
  registerMemoryBenchmarks();
  registerMaildirBenchmarks();
  registerHostileBenchmarks();
  registerLogBenchmarks();

  std::string program = argv[0];
  std::string repetitions = "--benchmark_repetitions=7";
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  std::string aggregates = "--benchmark_report_aggregates_only=true";
  std::vector<char*> arguments = {program.data(), repetitions.data(), interleave.data(),
                                  aggregates.data()};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());

  // First, while this process is small: the measured one begins as a copy of it.
  const LargeAttachment largeAttachment = forwardLargeAttachment();

  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::vector<Claim> claims = kClaims;
  const std::vector<Claim> hostile = hostileClaims();
  claims.insert(claims.end(), hostile.begin(), hostile.end());
  const bool ratiosHold = printRatios(claims, reporter.medians());
  const bool memoryHolds = printLargeAttachment(largeAttachment);
  return ratiosHold && memoryHolds ? 0 : 1;
}
