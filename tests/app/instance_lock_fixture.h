// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "app/instance_lock.h"
#include "support/fake_clock.h"
#include "support/system_files.h"
#include "support/temp_folder.h"

namespace relaybird {

/// A mailbox, and locks that play the programs.
class InstanceLockTest : public testing::Test {
 protected:
  InstanceLockTest() { std::filesystem::create_directory(mailbox); }

  // A program of the given name.
  std::unique_ptr<InstanceLock> program(const std::string& name = "relaybird-console") {
    return std::make_unique<InstanceLock>(files, LockHolder{name, 42, "today"});
  }
  Result<void> takeName(InstanceLock& lock, const std::string& place,
                        const std::string& store = "maildir") {
    return lock.takeName(temp.path("state"), {store, place});
  }

  TempFolder temp;
  std::string mailbox = temp.path("Maildir");
  std::string note = temp.path("Maildir/.relaybird-holder");
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  SystemFiles files{sleeper};
};

}  // namespace relaybird
