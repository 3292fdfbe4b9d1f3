// SPDX-License-Identifier: MIT
// The cost of one more line in a log that has grown for months.
#include <chrono>
#include <string>

#include <benchmark/benchmark.h>

#include "ui/forms/fake_world.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird::bench {
namespace {

constexpr int kMeasuredLines = 1000;

class LogBench : private FakeWorld {
 public:
  explicit LogBench(int lines) {
    for (int i = 0; i < lines; ++i) {
      add(i);
    }
  }
  void add(int number) {
    log.AddToLog("forwarded Message number " + std::to_string(number) + " at 11/20/26 15:04:05");
  }

 private:
  const ProgramWorld world_ = world();

 public:
  frmLog log{world_};
};

// Per line, added to a log of that many lines.
void addLines(benchmark::State& state, int before) {
  for (auto _ : state) {
    LogBench world(before);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kMeasuredLines; ++i) {
      world.add(i);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(took.count() / kMeasuredLines);
    if (world.log.lstLog.list().size() != static_cast<std::size_t>(before + kMeasuredLines)) {
      state.SkipWithError("a line is missing");
    }
  }
}

}  // namespace

void registerLogBenchmarks() {
  benchmark::RegisterBenchmark("log_first_lines", addLines, 0)->UseManualTime()->Iterations(50);
  benchmark::RegisterBenchmark("log_after_999000_lines", addLines, 999000)
      ->UseManualTime()
      ->Iterations(3);
}

}  // namespace relaybird::bench
