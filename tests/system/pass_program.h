// SPDX-License-Identifier: MIT
// One run of the program without a screen: the engine over a Maildir store on any disk. Everything
// in the inbox is forwarded to one address, up to 100 messages; a test may change `prefs`.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/engine_house.h"
#include "stores/maildir/maildir_house.h"

namespace relaybird {

struct PassProgram {
  /// `run` distinguishes the random numbers of this run from those of others, and its time unless
  /// several programs share a clock.
  PassProgram(const MailSettings& settings, const std::string& stateFolder, FileSystem& files,
              std::uint64_t run, Transport* transport, FakeClock* shared = nullptr)
      : ownClock(makeTime(2026, 11, 20, 15, 4, 5) +
                 std::chrono::minutes{shared == nullptr ? run : 0}),
        clock(shared != nullptr ? *shared : ownClock),
        store(settings,
              {.files = files,
               .clock = clock,
               .events = events,
               .executor = executor,
               .commands = commands,
               .random = countingRandom(run),
               .stateFolder = stateFolder,
               .notice = [this](const StoreNotice& told) { log.AddToLog(told.line); }},
              borrowed(transport)) {
    house.forwardEverything();
  }

  void pass() {
    house.engine.pass().ForwardMail();
    events.runUntilIdle();
  }

  FakeClock ownClock;
  FakeClock& clock;
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  RecordingSleeper sleeper{clock};
  RecordingLog log{&clock};
  MaildirStore store;
  EngineHouse house{store.factory(), clock, sleeper, log};
  clsPref& prefs = house.prefs;
};

}  // namespace relaybird
