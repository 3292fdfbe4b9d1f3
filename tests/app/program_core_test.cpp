// SPDX-License-Identifier: MIT
// What a program is before it shows anything, over a platform of the test's own.
#include "app/program_core.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>

#include "app/memory_platform.h"
#include "platform/main_loop.h"
#include "support/fake_waiter.h"

namespace relaybird {
namespace {

class ProgramCoreTest : public testing::Test {
 protected:
  std::string whyNoStore() {
    try {
      (void)core.objects().CreateObject("outlook.application");
    } catch (const MailStoreError& error) {
      return error.what();
    }
    return {};
  }

  MemoryPlatform system;
  std::string notices;
  MainLoop loop{std::make_shared<FakeWaiter>()};
  ProgramCore core{system.make(),
                   {"relaybird-console", "1.2.3", {1, 2, 3}},
                   loop,
                   [this](const StoreNotice& notice) { notices += notice.line + "\n"; },
                   [] { return true; }};
};

TEST_F(ProgramCoreTest, SettingsThatCannotBeUsedRefuseTheConsole) {
  system.writePreferences("[mail]\nstore=pigeon\n");
  const auto refusal = core.prepare();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->status, kSettingsForbid);
  EXPECT_FALSE(refusal->mailboxTaken);
  EXPECT_TRUE(refusal->text.starts_with("The mail store \"pigeon\"")) << refusal->text;
}

TEST_F(ProgramCoreTest, TheWindowsStartWithoutAMailboxAndEachUseOfItSaysWhy) {
  system.writePreferences("[mail]\nstore=pigeon\n");
  EXPECT_FALSE(
      core.prepare(InstanceLock::Wait::kNone, ProgramCore::WrongSettings::kStartWithoutMailbox));
  EXPECT_EQ(core.mailbox().store, "none");
  EXPECT_EQ(core.mailbox().place, kCurrentFile);
  EXPECT_TRUE(whyNoStore().starts_with("The mail store \"pigeon\"")) << whyNoStore();
}

TEST_F(ProgramCoreTest, AMailboxThatAnotherProgramHasRefusesTheStart) {
  system.files->failCallsWith("lockFolder", EWOULDBLOCK);
  const auto refusal = core.prepare();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->status, kCannotStart);
  EXPECT_TRUE(refusal->mailboxTaken);
}

TEST_F(ProgramCoreTest, TheNoteOfTheLockNamesTheProcessAndTheTimeOfThePlatform) {
  ASSERT_FALSE(core.prepare());
  std::string note;
  for (const auto& [path, entry] : system.files->entries) {
    if (path.ends_with("/holder")) {
      note = entry.bytes;
    }
  }
  EXPECT_TRUE(note.starts_with("relaybird-console\n4711\n2026-11-20 15:04:05\n")) << note;
}

// As for a user of Windows whose trace file an administrator would have to make.
TEST_F(ProgramCoreTest, ATraceThatCannotBeWrittenIsToldOfOnceInTheLog) {
  system.files->addFolder("/home/ann/.local/state/rbx");
  system.files->addFolder("/home/ann/.local/state/rbx/rbxkey");
  system.files->addFile("/home/ann/.local/state/rbx/rbxkey/db", "");
  system.files->failCallsWith("rbxdb.txt", EACCES);
  core.trace.trace("one");
  EXPECT_EQ(notices, "") << "not in the middle of a step";
  loop.processPending();
  core.trace.trace("two");
  loop.processPending();
  EXPECT_TRUE(notices.starts_with("The trace is switched on, but cannot be written: ")) << notices;
  EXPECT_EQ(std::count(notices.begin(), notices.end(), '\n'), 1) << notices;
}

TEST_F(ProgramCoreTest, WhatThePlatformDoesNotHaveNobodyIsAskedFor) {
  const SecretWorld secrets = core.secretWorld();
  EXPECT_EQ(secrets.keyring, nullptr);
  EXPECT_EQ(secrets.accounts, nullptr);
  EXPECT_EQ(secrets.commands, nullptr);
}

TEST_F(ProgramCoreTest, AFailedReopeningLeavesTheReasonAndAGoodOneTakesItAway) {
  ASSERT_FALSE(core.prepare());
  system.writePreferences("[mail]\nstore=pigeon\n");
  Result<void> opened;
  const auto take = [&opened](const Result<void>& result) { opened = result; };
  core.setup().reopen(take);
  ASSERT_FALSE(opened);
  EXPECT_EQ(whyNoStore(), opened.error().text);
  EXPECT_EQ(core.setup().whyClosed(), opened.error().text);
  system.writePreferences("");
  core.setup().reopen(take);
  EXPECT_TRUE(opened);
  EXPECT_EQ(core.setup().whyClosed(), "");
}

}  // namespace
}  // namespace relaybird
