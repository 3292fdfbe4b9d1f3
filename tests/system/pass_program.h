// SPDX-License-Identifier: MIT
// One run of the program without a screen: the engine over a Maildir store on any disk. Everything
// in the inbox is forwarded to one address, up to 100 messages; a test may change `prefs`.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "stores/maildir/maildir_house.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"
#include "support/recording_reports.h"

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
    prefs.ReadIniPref();
    prefs.fields().mstrFwdToAddress = {"cell@phone.example"};
    prefs.fields().mlngMaxToForward = 100;
    prefs.fields().mbolIgnoreExistingUnread = false;
    prefs.fields().mbolIncludeAttachments = true;
  }

  void pass() {
    engine.pass().ForwardMail();
    events.runUntilIdle();
  }

  FakeClock ownClock;
  FakeClock& clock;
  FakeTimers timers{clock};
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  RecordingSleeper sleeper{clock};
  RecordingDisplay display;
  RecordingLog log{&clock};
  RecordingAlerts alerts;
  RecordingTrace trace;
  MaildirStore store;
  NoFolders folders;
  NotWindows osVersion;
  PosixFileSystem prefFiles{sleeper};
  ProfileFile profiles{prefFiles};
  clsPref prefs{{.files = prefFiles,
                 .profiles = profiles,
                 .folders = folders,
                 .osVersion = osVersion,
                 .objects = store.factory(),
                 .makeReader = itemReaders(store.factory())}};
  ForwardingEngine engine{{.objects = store.factory(),
                           .prefs = prefs,
                           .display = display,
                           .log = log,
                           .alerts = alerts,
                           .trace = trace,
                           .clock = clock,
                           .sleeper = sleeper,
                           .timers = timers}};
};

}  // namespace relaybird
