// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "mail/store_notice.h"
#include "outbox/delivery/executor.h"
#include "outbox/delivery/transport.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/system/random_bytes.h"

namespace relaybird {

/// What the Maildir store needs of the machine. All that is referred to must outlive the store and
/// the objects taken from it.
struct MaildirWorld {
  FileSystem& files;
  const Clock& clock;
  EventQueue& events;
  /// Where the outbox is delivered.
  Executor& executor;
  RandomBytes random;
  /// Takes forwards off this machine; none: they stay in the outbox. Used on the executor's thread.
  Transport* transport = nullptr;
  /// Told what the user should read, on the user-interface thread.
  std::function<void(StoreNotice)> notice = [](const StoreNotice&) {};
  /// Asked before each use of the Maildir: whether it is this program's alone. The error is a
  /// sentence for the user.
  std::function<Result<void>(const std::string& maildir)> lock = [](const std::string&) {
    return Result<void>();
  };
};

}  // namespace relaybird
