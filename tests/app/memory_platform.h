// SPDX-License-Identifier: MIT
// A program's platform of the test's own: a disk in memory, a clock that stands still, no keyring
// and no network. The same on every system.
#pragma once

#include <memory>
#include <string>

#include "app/program_platform.h"
#include "platform/profile/profile_file.h"
#include "prefs/fake_files.h"
#include "prefs/pref_bench.h"
#include "support/fake_clock.h"
#include "support/store_fakes.h"
#include "ui/forms/fake_world.h"

namespace relaybird {

struct MemoryPlatform {
  /// `files` stays to be looked at as long as the platform lives.
  ProgramPlatform make() {
    ProgramPlatform system;
    auto disk = std::make_unique<FakeFiles>();
    files = disk.get();
    for (const char* folder : {"/home", "/home/ann", "/home/ann/.config", "/home/ann/.config/rbx",
                               "/home/ann/.local", "/home/ann/.local/state"}) {
      files->addFolder(folder);
    }
    system.streams = {
        .out = [this](const std::string& text) { out += text; },
        .err = [this](const std::string& text) { err += text; },
    };
    system.files = std::move(disk);
    system.profiles = std::make_unique<ProfileFile>(*system.files);
    auto clock = std::make_unique<FakeClock>();
    system.sleeper = std::make_unique<RecordingSleeper>(*clock);
    system.clock = std::move(clock);
    system.folders = std::make_unique<HomeFolders>();
    system.osVersion = std::make_unique<FakeOsVersion>();
    system.commands = std::make_unique<NoCommands>();
    system.systemInformation = std::make_unique<FakeSystemInformation>();
    system.folderViewer = std::make_unique<FakeFolderViewer>();
    system.user = {"/home/ann", "ann@here.example", "Ann"};
    system.process = 4711;
    return system;
  }
  void writePreferences(const std::string& text) const { files->addFile(kCurrentFile, text); }

  FakeFiles* files = nullptr;
  std::string out;
  std::string err;
};

}  // namespace relaybird
