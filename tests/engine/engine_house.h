// SPDX-License-Identifier: MIT
// The engine over any store, with preferences that are the defaults and no file, timers that the
// test fires, and everything recorded that it reports.
#pragma once

#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"
#include "support/recording_reports.h"

namespace relaybird {

struct EngineHouse {
  /// All must outlive this object. The log is the caller's, because its store may report there too.
  EngineHouse(ObjectFactory& store, FakeClock& time, RecordingSleeper& pauses, RecordingLog& lines)
      : objects(store), clock(time), sleeper(pauses), log(lines) {
    prefs.ReadIniPref();
  }

  /// Everything in the inbox is forwarded to one address, up to 100 messages.
  void forwardEverything() {
    prefs.fields().mstrFwdToAddress = {"cell@phone.example"};
    prefs.fields().mlngMaxToForward = 100;
    prefs.fields().mbolIgnoreExistingUnread = false;
    prefs.fields().mbolIncludeAttachments = true;
  }

  ObjectFactory& objects;
  FakeClock& clock;
  RecordingSleeper& sleeper;
  RecordingLog& log;
  FakeTimers timers{clock};
  RecordingDisplay display;
  RecordingAlerts alerts;
  RecordingTrace trace;
  NoFiles files;
  NoFolders folders;
  NotWindows osVersion;
  ProfileFile profiles{files};
  clsPref prefs{{.files = files,
                 .profiles = profiles,
                 .folders = folders,
                 .osVersion = osVersion,
                 .objects = objects,
                 .makeReader = itemReaders(objects)}};
  ForwardingEngine engine{{.objects = objects,
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
