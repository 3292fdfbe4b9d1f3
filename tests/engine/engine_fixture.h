// SPDX-License-Identifier: MIT
// The whole engine over a mailbox in memory and a clock that stands still.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "memory_store/memory_store.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"
#include "support/recording_reports.h"

namespace relaybird {

class EngineTest : public testing::Test {
 protected:
  EngineTest() {
    prefs_.ReadIniPref();
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
  FakeTimers timers_{clock_};
  FakeEventQueue events_;
  RecordingSleeper sleeper_{clock_};
  RecordingDisplay display_;
  RecordingLog log_{&clock_};
  RecordingAlerts alerts_;
  RecordingTrace trace_;
  MemoryStore store_{events_};
  NoFiles files_;
  NoFolders folders_;
  NotWindows osVersion_;
  ProfileFile profiles_{files_};
  clsPref prefs_{{.files = files_,
                  .profiles = profiles_,
                  .folders = folders_,
                  .osVersion = osVersion_,
                  .objects = store_.factory(),
                  .makeReader = itemReaders(store_.factory())}};
  ForwardingEngine engine_{{.objects = store_.factory(),
                            .prefs = prefs_,
                            .display = display_,
                            .log = log_,
                            .alerts = alerts_,
                            .trace = trace_,
                            .clock = clock_,
                            .sleeper = sleeper_,
                            .timers = timers_}};
};

}  // namespace relaybird
