// SPDX-License-Identifier: MIT
// The whole engine over a mailbox in memory and a clock that stands still.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine_house.h"
#include "memory_store/memory_store.h"

namespace relaybird {

class EngineTest : public testing::Test {
 protected:
  EngineTest() {
    prefs_.fields().mstrFwdToAddress = {"5550100@sms.example.net"};
    clock_.set(kStart);
    engine_.state().activationTime = kStart;
  }

  // Hooks refer to local variables of a test; the engine releases the store after those are gone.
  ~EngineTest() override { store_.setHook({}); }

  static constexpr DateTime kStart =
      std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + std::chrono::hours{15};

  /// Ordinary mail that arrived a minute after activation.
  static MemoryItem mail(const std::string& subject) {
    MemoryItem item;
    item.subject = subject;
    item.body = "text of " + subject;
    item.senderName = "Bob Example";
    item.senderAddress = "bob@example.com";
    item.received = kStart + std::chrono::minutes{1};
    item.modified = kStart + std::chrono::minutes{1};
    return item;
  }
  void deliver(const std::string& subject) { store_.deliver(mail(subject)); }

  void check() { engine_.pass().ForwardMail(); }

  /// The log lines without those that begin and end every check.
  std::vector<std::string> decisions() const {
    std::vector<std::string> found;
    for (const std::string& line : log_.lines) {
      if (!line.starts_with("Started Email Check at ") &&
          !line.starts_with("Completed Email Check at ")) {
        found.push_back(line);
      }
    }
    return found;
  }
  std::vector<std::string> sentSubjects() const {
    std::vector<std::string> subjects;
    for (const auto& message : store_.outbox()) {
      subjects.push_back(message.subject);
    }
    return subjects;
  }

  FakeClock clock_;
  FakeEventQueue events_;
  RecordingSleeper sleeper_{clock_};
  RecordingLog log_{&clock_};
  MemoryStore store_{events_};
  EngineHouse house_{store_.factory(), clock_, sleeper_, log_};
  FakeTimers& timers_ = house_.timers;
  RecordingDisplay& display_ = house_.display;
  RecordingAlerts& alerts_ = house_.alerts;
  RecordingTrace& trace_ = house_.trace;
  clsPref& prefs_ = house_.prefs;
  ForwardingEngine& engine_ = house_.engine;
};

}  // namespace relaybird
