// SPDX-License-Identifier: MIT
// The engine over a store to be measured, with everything else as cheap as it can be.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "compose/cls_security.h"
#include "engine/forwarding_engine.h"
#include "platform/profile/profile_file.h"
#include "platform/system/os_version.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"

namespace relaybird::bench {

class NullLog : public ActivityLog {
 public:
  void AddToLog(const std::string& text) override { bytes += text.size(); }
  void AddToLogV(const std::string&) override {}
  bool verbose() const override { return false; }
  std::size_t bytes = 0;
};

class NullAlerts : public Alerts {
 public:
  void checkFailed(const std::string&) override {}
  void checkCompleted() override {}
  void forwardRefused(const std::string&) override {}
  void addressStopped(const std::string&) override {}
  void maximumReached() override {}
};

class NullTrace : public TraceLog {
 public:
  void trace(const std::string&) override {}
};

class NullSleeper : public Sleeper {
 public:
  void sleep(std::chrono::milliseconds) override {}
};

class NullDisplay : public EngineDisplay {
 public:
  void lblCurrentActions(const std::string& text) override { status = text; }
  std::string txtNumberForwarded() const override { return forwarded; }
  void txtNumberForwarded(const std::string& text) override { forwarded = text; }
  void txtMinToNextFwd(const std::string&) override {}
  void cmdForwardNow(bool) override {}
  void repaint() override {}
  void processPendingEvents() override {}
  std::string status;
  std::string forwarded = "0";
};

/// Default settings, with one address and a very large maximum.
struct BenchWorld {
  BenchWorld(FileSystem& files, ObjectFactory& objects)
      : profiles(files),
        prefs({.files = files,
               .profiles = profiles,
               .folders = folders,
               .osVersion = osVersion,
               .objects = objects,
               .makeReader = itemReaders(objects)}),
        engine({.objects = objects,
                .prefs = prefs,
                .display = display,
                .log = log,
                .alerts = alerts,
                .trace = trace,
                .clock = clock,
                .sleeper = sleeper,
                .timers = timers}) {
    auto& fields = prefs.fields();
    fields.mstrFwdToAddress = {"5550100@sms.example.net"};
    fields.mcolSenderList = {""};
    fields.mstrTextToMatch = {""};
    fields.mintSenderFilter = kForwardFromAnyone;
    fields.mbolIncludeAttachments = true;
    fields.mlngMaxToForward = 32767;
  }

  /// Seconds that one pass over the inbox took.
  double timePass() {
    display.forwarded = "0";
    const auto begin = std::chrono::steady_clock::now();
    engine.pass().ForwardMail();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }

  FakeClock clock;
  FakeTimers timers{clock};
  NullSleeper sleeper;
  NullLog log;
  NullAlerts alerts;
  NullTrace trace;
  NullDisplay display;
  NoFolders folders;
  NotWindows osVersion;
  ProfileFile profiles;
  clsPref prefs;
  ForwardingEngine engine;
};

}  // namespace relaybird::bench
