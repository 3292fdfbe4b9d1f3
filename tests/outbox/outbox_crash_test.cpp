// SPDX-License-Identifier: MIT
// Crashes. A process ends at any step, in the middle of a write too, or a run leaves any state of
// files and journal behind: the next start recovers, and every message goes out exactly once. A
// step of the disk throws in place of a crash; power cuts are tried on CutDisk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "outbox/outbox.h"
#include "outbox/outbox_folder.h"
#include "outbox/outbox_world.h"
#include "support/cut_disk.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Thrown by a step of the disk, so that no later step happens, as in a process that ended there.
struct Crash {};

// Runs `action` up to step `step`; false when it ended before that step.
template <class Action>
bool crashes(FaultyFileSystem& files, std::size_t step, bool tear, Action action) {
  files.reset();
  files.hookBefore(
      step, [] { throw Crash{}; }, tear);
  bool crashed = false;
  try {
    action();
  } catch (const Crash&) {
    crashed = true;
  }
  files.reset();
  return crashed;
}

// As the store does it: the Message-ID of an earlier try, or a new one.
void forwardOnce(Outbox& outbox, const std::string& entry, const std::string& newId) {
  if (outbox.alreadySent(entry)) {
    return;
  }
  const std::string id = outbox.intendedMessageId(entry).value_or(newId);
  ASSERT_TRUE(outbox.send(entry, id, writes("Message-ID: " + id + "\n\n")));
}

TEST(OutboxCrash, AtAnyStepOfASendTheItemIsForwardedExactlyOnceWithOneMessageId) {
  std::size_t crashCount = 0;
  for (const bool tear : {false, true}) {
    for (std::size_t step = 1; step <= 12; ++step) {
      SCOPED_TRACE(std::to_string(step) + (tear ? " torn" : ""));
      OutboxWorld world;
      auto outbox = world.open();
      ASSERT_TRUE(outbox->send("before", "id0", writes("x")));
      crashCount += crashes(world.files, step, tear, [&] {
        (void)outbox->send("entry", "first", writes("Message-ID: first\n\n"));
      });
      outbox.reset();
      outbox = world.open();
      EXPECT_THAT(world.names("tmp"), IsEmpty());
      ASSERT_THAT(world.names("new"), SizeIs(outbox->alreadySent("entry") ? 2 : 1));
      const bool named = outbox->intendedMessageId("entry").has_value();
      forwardOnce(*outbox, "entry", "second");
      ASSERT_THAT(world.names("new"), SizeIs(2));
      const std::string text = world.bytesOf("new", world.names("new")[1]);
      EXPECT_EQ(text, named ? "Message-ID: first\n\n" : "Message-ID: second\n\n");
    }
  }
  EXPECT_GE(crashCount, 18u);
}

TEST(OutboxCrash, AtAnyStepOfTheRecoveryTooTheItemIsForwardedExactlyOnce) {
  std::size_t crashCount = 0;
  for (std::size_t step = 4; step <= 9; ++step) {
    for (std::size_t again = 1; again <= 25; ++again) {
      SCOPED_TRACE(std::to_string(step) + ", then " + std::to_string(again));
      OutboxWorld world;
      auto outbox = world.open();
      ASSERT_TRUE(outbox->send("before", "id0", writes("x")));
      crashes(world.files, step, true, [&] { (void)outbox->send("entry", "first", writes("x")); });
      outbox.reset();
      crashCount += crashes(world.files, again, true, [&] { outbox = world.open(); });
      outbox.reset();
      outbox = world.open();
      forwardOnce(*outbox, "entry", "second");
      EXPECT_THAT(world.names("new"), SizeIs(2));
      EXPECT_THAT(world.names("tmp"), IsEmpty());
    }
  }
  EXPECT_GE(crashCount, 50u);
}

TEST(OutboxCrash, AtAnyStepOfADeliveryNothingThatIsKnownToBeDeliveredComesBack) {
  for (std::size_t step = 1; step <= 6; ++step) {
    SCOPED_TRACE(step);
    OutboxWorld world;
    auto outbox = world.open();
    ASSERT_TRUE(outbox->send("entry", "id", writes("x")));
    const std::string name = world.names("new")[0];
    crashes(world.files, step, true, [&] {
      const auto claim = outbox->queue().claim(name);
      (void)outbox->queue().delivered({&*claim});
      (void)outbox->queue().removeDelivered();
      (void)outbox->queue().finishDeliveries();
    });
    outbox.reset();
    outbox = world.open();
    EXPECT_TRUE(outbox->alreadySent("entry"));
    // A line that is not whole does not count, so the message is delivered again.
    EXPECT_THAT(world.names("new"), SizeIs(step == 1 ? 1 : 0));
  }
}

// Opens the outbox and sends one message, tries each again if it fails, and then cuts the power.
void sendAndCut(std::size_t failing, std::size_t& steps) {
  const FakeClock clock;
  CutDisk disk(clock, {{"/", "/home"}, {}});
  FaultyFileSystem files(disk);
  files.failStep(failing, EIO);
  const RandomBytes random = countingBytes();
  std::unique_ptr<Outbox> outbox;
  for (int tries = 0; !outbox && tries < 3; ++tries) {
    auto opened = Outbox::open(files, clock, random, "/home/state/outbox", "/home/state/journal");
    if (opened) {
      outbox = std::move(*opened);
    }
  }
  ASSERT_TRUE(outbox);
  bool sent = false;
  for (int tries = 0; !sent && tries < 3; ++tries) {
    sent = static_cast<bool>(outbox->send("entry", "id", writes("message")));
  }
  ASSERT_TRUE(sent);
  steps = files.steps();
  disk.eachStateAfter(disk.steps(), [&](const DiskImage& image, const std::string& how) {
    CutDisk later(clock, image);
    const auto again =
        Outbox::open(later, clock, random, "/home/state/outbox", "/home/state/journal");
    ASSERT_TRUE(again) << how;
    EXPECT_TRUE((*again)->alreadySent("entry")) << how;
    EXPECT_THAT((*again)->queue().waiting().value(), SizeIs(1)) << how;
  });
}

TEST(OutboxCrash, WhatWasReportedSentSurvivesAPowerCutWhateverStepFailedOnceBefore) {
  std::size_t steps = 1;
  for (std::size_t failing = 0; failing <= steps && !testing::Test::HasFailure(); ++failing) {
    SCOPED_TRACE("failed step " + std::to_string(failing));
    sendAndCut(failing, steps);
  }
  EXPECT_GT(steps, 25u);
}

TEST(OutboxCrash, APowerCutAtAnyStepOfADeliveryNeverForwardsTheItemAnew) {
  const FakeClock clock;
  const RandomBytes random = countingBytes();
  const auto open = [&](CutDisk& disk) {
    return std::move(
        Outbox::open(disk, clock, random, "/home/state/outbox", "/home/state/journal").value());
  };
  CutDisk disk(clock, {{"/", "/home"}, {}});
  auto outbox = open(disk);
  for (const std::string entry : {"before", "entry"}) {
    ASSERT_TRUE(outbox->send(entry, entry + "@id", writes("message")));
  }
  const std::size_t begin = disk.steps();
  const std::string name = outbox->queue().waiting()->back().name;
  const auto claim = outbox->queue().claim(name);
  ASSERT_TRUE(outbox->queue().delivered({&*claim}));
  ASSERT_TRUE(outbox->queue().removeDelivered());
  const std::size_t durable = disk.steps();
  ASSERT_TRUE(outbox->queue().finishDeliveries());
  for (std::size_t step = begin; step <= disk.steps(); ++step) {
    disk.eachStateAfter(step, [&](const DiskImage& image, const std::string& how) {
      CutDisk later(clock, image);
      const auto again = open(later);
      EXPECT_TRUE(again->alreadySent("entry")) << step << ' ' << how;
      EXPECT_THAT(*again->queue().waiting(), SizeIs(testing::Le(step >= durable ? 1u : 2u)))
          << step << ' ' << how;
    });
  }
}

// Leaves a journal with one intent behind, and a file of its name in `part` unless that is empty.
void leave(OutboxWorld& world, const std::string& part, const std::string& suffix = {}) {
  const std::string name = makeOutboxName(world.clock.now(), 1, "beef");
  (void)world.open();
  auto journal = std::move(Journal::open(world.disk, world.clock, world.journal).value());
  ASSERT_TRUE(journal->intend("entry", "id@example", name));
  if (!part.empty()) {
    world.put(part, name + suffix, "message");
  }
}

TEST(OutboxRecovery, AFileInNewCurOrFailedWasSent) {
  for (const std::string part : {"new", "cur", "failed"}) {
    OutboxWorld world;
    leave(world, part, part == "cur" ? ":2,S" : "");
    const auto outbox = world.open();
    EXPECT_TRUE(outbox->alreadySent("entry")) << part;
    EXPECT_THAT(world.names(part), SizeIs(1));
  }
}

TEST(OutboxRecovery, ACompleteFileInTmpIsMovedOn) {
  OutboxWorld world;
  leave(world, "tmp");
  const auto outbox = world.open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  ASSERT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", world.names("new")[0]), "message");
}

TEST(OutboxRecovery, AnIntentWithoutAFileWasNotSentAndKeepsItsMessageId) {
  OutboxWorld world;
  leave(world, "");
  {
    const auto outbox = world.open();
    EXPECT_FALSE(outbox->alreadySent("entry"));
    EXPECT_EQ(outbox->intendedMessageId("entry"), "id@example");
  }
  const auto outbox = world.open();
  EXPECT_EQ(outbox->intendedMessageId("entry"), "id@example");
}

TEST(OutboxRecovery, AnIntentThatWasFoundUnsentIsNotLookedIntoAtEachStart) {
  OutboxWorld world;
  leave(world, "");
  (void)world.open();
  world.files.refused = [](const std::string& step) {
    return step.starts_with("syncFolder ") && step.ends_with("/new");
  };
  EXPECT_TRUE(world.tryOpen()) << "only finding out needs that step";
}

TEST(OutboxRecovery, AFileBothInTmpAndInNewIsNotSentTwice) {
  OutboxWorld world;
  leave(world, "tmp");
  world.put("new", world.names("tmp")[0], "message");
  const auto outbox = world.open();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  EXPECT_THAT(world.names("tmp"), IsEmpty());
}

TEST(OutboxRecovery, WhatTheJournalCallsSentIsNeverClearedAwayWithTmp) {
  for (const bool settled : {false, true}) {
    OutboxWorld world;
    leave(world, "tmp");
    {
      auto journal = std::move(Journal::open(world.disk, world.clock, world.journal).value());
      ASSERT_TRUE(journal->done(world.names("tmp")[0]));
      if (settled) {
        ASSERT_TRUE(journal->settle("entry"));
      }
    }
    const auto outbox = world.open();
    EXPECT_EQ(outbox->alreadySent("entry"), !settled);
    EXPECT_THAT(world.names("tmp"), IsEmpty());
    ASSERT_THAT(world.names("new"), SizeIs(1));
    EXPECT_EQ(world.bytesOf("new", world.names("new")[0]), "message");
  }
}

TEST(OutboxRecovery, WhatWasHandedOverIsClearedAwayWithTmp) {
  OutboxWorld world;
  leave(world, "tmp");
  {
    auto journal = std::move(Journal::open(world.disk, world.clock, world.journal).value());
    const std::string name = world.names("tmp")[0];
    ASSERT_TRUE(journal->done(name));
    ASSERT_TRUE(journal->deliver({name}));
    ASSERT_TRUE(journal->removed({name}));
  }
  const auto outbox = world.open();
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST(OutboxRecovery, ARenameThatFailsOnceFailsTheOpeningAndTheNextOneSends) {
  OutboxWorld world;
  leave(world, "tmp");
  world.files.reset();
  world.files.refused = [](const std::string& step) { return step.starts_with("rename "); };
  const auto failed = world.tryOpen();
  ASSERT_FALSE(failed);
  EXPECT_THAT(failed.error().text, testing::HasSubstr("rename " + world.folder + "/tmp/"));
  EXPECT_THAT(world.names("tmp"), SizeIs(1));
  world.files.refused = nullptr;
  const auto outbox = world.open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST(OutboxRecovery, ASyncThatFailsOnceFailsTheOpeningAndTheNextOneKnowsWhatWasSent) {
  OutboxWorld world;
  leave(world, "tmp");
  world.files.refused = [&](const std::string& step) {
    return step == "syncFolder " + world.folder + "/new";
  };
  ASSERT_FALSE(world.tryOpen());
  world.files.refused = nullptr;
  const auto outbox = world.open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST(OutboxRecovery, AFolderThatCannotBeListedFailsTheOpeningAndLosesNothing) {
  for (const std::string part : {"new", "cur", "failed", "tmp"}) {
    OutboxWorld world;
    leave(world, "tmp");
    world.files.refused = [&](const std::string& step) {
      return step == "list " + world.folder + '/' + part;
    };
    EXPECT_FALSE(world.tryOpen()) << part;
    world.files.refused = nullptr;
    const auto outbox = world.open();
    EXPECT_TRUE(outbox->alreadySent("entry"));
    EXPECT_THAT(world.names("new"), SizeIs(1));
  }
}

TEST(OutboxRecovery, AnUnreadableOrOversizedJournalGivesItsPlainReason) {
  OutboxWorld world;
  (void)world.open();
  writeBytes(world.journal, "rubbish\n");
  world.files.refused = [&](const std::string& step) { return step == "open " + world.journal; };
  const auto unreadable = world.tryOpen();
  ASSERT_FALSE(unreadable);
  EXPECT_EQ(unreadable.error().text, "Injected fault at: open " + world.journal);
  world.files.refused = nullptr;
  std::filesystem::resize_file(world.journal, (std::uintmax_t{256} << 20) + 1);
  const auto oversized = world.tryOpen();
  ASSERT_FALSE(oversized);
  EXPECT_EQ(oversized.error().code, EFBIG);
  EXPECT_EQ(oversized.error().text, "The outbox journal " + world.journal + " is too large");
}

TEST(OutboxRecovery, FilesInTmpThatNobodyNamesGoAtOnceWhenOursAndAfterADayAndAHalfOtherwise) {
  OutboxWorld world;
  (void)world.open();
  world.put("tmp", makeOutboxName(world.clock.now(), 7, "cafe"), "half");
  world.put("tmp", "17.other.host", "old");
  world.put("tmp", "18.other.host", "young");
  const auto now = std::filesystem::file_time_type::clock::now();
  world.clock.set(std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()));
  const auto age = [&](const char* name, std::chrono::minutes minutes) {
    std::filesystem::last_write_time(world.folder + "/tmp/" + name, now - minutes);
  };
  age("17.other.host", std::chrono::hours{36} + std::chrono::minutes{5});
  age("18.other.host", std::chrono::hours{36} - std::chrono::minutes{5});
  const auto outbox = world.open();
  EXPECT_THAT(world.names("tmp"), ElementsAre("18.other.host"));
}

TEST(OutboxRecovery, SaysWhenTheJournalWasDamaged) {
  OutboxWorld world;
  (void)world.open();
  writeBytes(world.journal, "rubbish\n");
  const auto outbox = world.open();
  EXPECT_THAT(outbox->findings(), SizeIs(1));
}

TEST(OutboxName, OwnNamesAreKnownAndInTheOrderOfTheirMaking) {
  const DateTime now = makeTime(2026, 11, 20);
  const std::string one = makeOutboxName(now, 9, "aa");
  EXPECT_LT(one, makeOutboxName(now, 10, "aa"));
  EXPECT_LT(one, makeOutboxName(now + std::chrono::microseconds{1}, 1, "aa"));
  EXPECT_TRUE(isOutboxName(one));
  for (const char* other :
       {"", ".", "x.M1.relaybird", ".M.relaybird", "1.relaybird", "1.M2.host"}) {
    EXPECT_FALSE(isOutboxName(other)) << other;
  }
}

}  // namespace
}  // namespace relaybird
