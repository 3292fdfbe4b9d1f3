// SPDX-License-Identifier: MIT
// What a line costs a log that has been growing for months.
#include <chrono>
#include <string>

#include <benchmark/benchmark.h>

#include "platform/posix/posix_file_system.h"
#include "platform/result.h"
#include "support/fake_clock.h"
#include "support/scripted_dialogs.h"
#include "ui/forms/log/frm_log.h"

namespace relaybird::bench {
namespace {

constexpr int kMeasuredLines = 1000;

class PlainScreen : public Screen {
 public:
  void repaint() override {}
  void processPendingEvents() override {}
  void endProgram() override {}
  std::int32_t textWidth(const std::string& text) const override {
    return static_cast<std::int32_t>(text.size());
  }
};

class NoClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string&) override { return {}; }
};

struct LogWorld {
  explicit LogWorld(int lines) : log({clock, screen, clipboard, dialogs, files}) {
    for (int i = 0; i < lines; ++i) {
      add(i);
    }
  }
  void add(int number) {
    log.AddToLog("forwarded Message number " + std::to_string(number) + " at 11/20/26 15:04:05");
  }

  FakeClock clock;
  PlainScreen screen;
  NoClipboard clipboard;
  ScriptedDialogs dialogs;
  RecordingSleeper sleeper{clock};
  PosixFileSystem files{sleeper};
  frmLog log;
};

// Per line, added to a log of that many lines.
void addLines(benchmark::State& state, int before) {
  for (auto _ : state) {
    LogWorld world(before);
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
