// SPDX-License-Identifier: MIT
// A scratch Maildir with the engine over it.
#pragma once

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "bench_world.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/system/random_bytes.h"
#include "stores/maildir/maildir_store.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird::bench {

/// Takes every message, reads it to its end, and forgets it.
class DiscardingTransport : public SingleTransport {
 public:
  Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
    const auto read = message.text.forEachPiece([](std::string_view) { return Result<void>(); });
    taken += read ? 1 : 0;
    return {};
  }
  int taken = 0;
};

struct MaildirBench {
  /// Without a transport, forwards stay in the outbox.
  explicit MaildirBench(Transport* way = nullptr) : transport(way) {
    for (const char* part : {"/cur", "/new", "/tmp"}) {
      std::filesystem::create_directories(inbox() + part);
    }
  }

  std::string inbox() const { return folder.path() + "/Maildir"; }

  MailSettings settings() const {
    MailSettings settings;
    settings.maildir = inbox();
    settings.address = "ann@example.org";
    settings.name = "Ann Example";
    return settings;
  }

  /// Puts `count` messages into new/, numbered from 1.
  void fill(int count, const std::function<std::string(int)>& message) {
    for (int i = 1; i <= count; ++i) {
      const std::string name =
          std::to_string(1795000000 + i) + ".bench" + std::to_string(i) + ".host";
      std::ofstream(inbox() + "/new/" + name, std::ios::binary) << message(i);
    }
    // The messages arrived a minute ago, so that a listing of them can be reused.
    const auto then = std::filesystem::file_time_type::clock::now() - std::chrono::minutes{1};
    for (const char* part : {"/cur", "/new"}) {
      std::filesystem::last_write_time(inbox() + part, then);
    }
  }

  /// Opens the session, the outbox and its journal, so that only the pass itself is measured.
  void warmUp() { world.engine.session().ResetOlkObj(true, true, false); }

  /// The number of forwards in the outbox.
  int waiting() const {
    const std::string place = folder.path() + "/state/rbx/outbox/new";
    if (!std::filesystem::exists(place)) {
      return 0;
    }
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(place), {}));
  }

  Transport* transport;
  TempFolder folder;
  NullSleeper sleeper;
  PosixFileSystem files{sleeper};
  PosixClock clock;
  FakeEventQueue events;
  InlineExecutor executor;
  NoCommands commands;
  MaildirStore store{settings(),
                     {.files = files,
                      .clock = clock,
                      .events = events,
                      .executor = executor,
                      .commands = commands,
                      .random = systemRandomBytes,
                      .stateFolder = folder.path() + "/state"},
                     std::shared_ptr<Transport>(std::shared_ptr<void>(), transport)};
  BenchWorld world{files, store.factory()};
};

}  // namespace relaybird::bench
