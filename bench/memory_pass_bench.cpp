// SPDX-License-Identifier: MIT
// What a pass costs per item, without a disk.
#include <string>
#include <unordered_set>
#include <vector>

#include "bench_world.h"
#include "memory_store/memory_store.h"
#include "platform/posix/posix_file_system.h"
#include "ratios.h"

namespace relaybird::bench {
namespace {

MemoryItem sampleItem(int number) {
  MemoryItem item;
  item.subject = "Message number " + std::to_string(number);
  item.body = std::string(2000, 'x');
  item.senderName = "Bob Example";
  item.senderAddress = "bob@example.com";
  return item;
}

// A store with that many unread items, and the engine over it.
struct MemoryWorld {
  explicit MemoryWorld(int items) : store(events), world(files, store.factory()) {
    for (int i = 0; i < items; ++i) {
      ids.push_back(store.deliver(sampleItem(i)));
    }
  }

  NullSleeper sleeper;
  PosixFileSystem files{sleeper};
  FakeEventQueue events;
  MemoryStore store;
  BenchWorld world;
  std::vector<std::string> ids;
};

// Per item: the whole way from the inbox to the outbox.
void passOver(benchmark::State& state, int items) {
  for (auto _ : state) {
    MemoryWorld memory(items);
    state.SetIterationTime(memory.world.timePass() / items);
    if (memory.store.outboxCount() != static_cast<std::size_t>(items)) {
      state.SkipWithError("not every item was forwarded");
    }
  }
}

constexpr int kIgnoredItems = 10000;

// Per item that stands on the ignore list.
void passOverIgnored(benchmark::State& state) {
  MemoryWorld memory(kIgnoredItems);
  memory.world.prefs.fields().mintSenderFilter = kForwardAllButListed;
  memory.world.prefs.fields().mcolSenderList = {"bob"};
  memory.world.timePass();
  bool wasRead = false;
  memory.store.setHook([&](std::string_view operation) {
    wasRead = wasRead || operation == "MailItem.Subject" || operation == "MailItem.Body";
  });
  memory.world.timePass();
  memory.store.setHook({});
  for (auto _ : state) {
    state.SetIterationTime(memory.world.timePass() / kIgnoredItems);
  }
  if (wasRead || memory.store.outboxCount() != 0) {
    state.SkipWithError("an ignored item was read or sent");
  }
}

// Per identifier: finding it among the same identifiers.
void bareLookUp(benchmark::State& state) {
  const MemoryWorld memory(kIgnoredItems);
  const std::unordered_set<std::string> set(memory.ids.begin(), memory.ids.end());
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    for (const std::string& id : memory.ids) {
      benchmark::DoNotOptimize(set.contains(id));
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(took.count() / kIgnoredItems);
  }
}

}  // namespace

void registerMemoryBenchmarks() {
  benchmark::RegisterBenchmark("memory_pass_100", passOver, 100)->UseManualTime()->Iterations(50);
  benchmark::RegisterBenchmark("memory_pass_30000", passOver, 30000)
      ->UseManualTime()
      ->Iterations(1);
  benchmark::RegisterBenchmark("memory_pass_ignored", passOverIgnored)
      ->UseManualTime()
      ->Iterations(10);
  benchmark::RegisterBenchmark("memory_bare_look_up", bareLookUp)->UseManualTime()->Iterations(20);
}

}  // namespace relaybird::bench
