// SPDX-License-Identifier: MIT
// A delivery worker over an outbox on disk, with a transport whose answers the test sets.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "outbox/delivery/delivery_worker.h"
#include "outbox/outbox_world.h"
#include "support/fake_timers.h"
#include "support/store_fakes.h"

namespace relaybird {

inline std::string mail(const std::string& subject) {
  return "From: ann@example.org\nTo: bob@example.org\nSubject: " + subject + "\n\nbody\n";
}

/// Answers as the test says, and keeps the subjects in the order in which they came.
struct ScriptedTransport : SingleTransport {
  Outcome deliver(const OutgoingMessage& message, std::stop_token stop) override {
    subjects.push_back(message.subject);
    if (onDeliver) {
      onDeliver(stop);
    }
    return answer ? answer(message.subject) : Outcome{};
  }
  std::vector<std::string> subjects;
  std::function<Outcome(const std::string& subject)> answer;
  std::function<void(std::stop_token)> onDeliver;
};

class DeliveryWorkerTest : public testing::Test {
 protected:
  DeliveryWorkerTest() {
    world.clock.set(
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()));
    outbox = world.open();
    restart();
  }
  DeliveryWorker::Setting setting(Transport* to, Executor& on) {
    return {*world.through,
            world.clock,
            *outbox,
            to,
            on,
            events,
            [this](const StoreNotice& told) {
              notices.push_back(told.line);
              times.push_back(told.time);
              if (told.kind == StoreNotice::Kind::kStopped) {
                ++stops;
              }
              if (onNotice) {
                onNotice();
              }
            },
            mostPerHour};
  }
  void use(Transport& to) {
    worker.reset();
    worker.emplace(setting(&to, executor));
  }
  void restart() { use(transport); }
  /// What the next start of the program finds on the disk; use() begins the work.
  void reopen() {
    worker.reset();
    outbox.reset();
    outbox = world.open();
  }
  void useThreads() {
    worker.reset();
    outbox.reset();
    world.through = &world.disk;
    outbox = world.open();
  }
  void send(const std::string& subject) {
    ASSERT_TRUE(outbox->send("entry " + subject, subject + "@id", writes(mail(subject))));
  }
  /// Flushes and runs what was posted. True when `done` was called.
  bool flush() {
    bool done = false;
    worker->flush([&] { done = true; });
    EXPECT_FALSE(done);
    events.runUntilIdle();
    return done;
  }
  std::vector<std::string> take() { return std::exchange(transport.subjects, {}); }

  std::function<void()> onNotice;
  OutboxWorld world;
  FakeEventQueue events;
  InlineExecutor executor;
  ScriptedTransport transport;
  std::unique_ptr<Outbox> outbox;
  std::vector<std::string> notices;
  std::vector<DateTime> times;  ///< of the notices
  int stops = 0;                ///< how many of them raise that an address is stopped
  std::size_t mostPerHour = kMostPerHour;
  std::optional<DeliveryWorker> worker;
};

inline Outcome temporary(bool everything = false) {
  return {Outcome::Kind::kTemporary, "451 later", everything};
}

}  // namespace relaybird
