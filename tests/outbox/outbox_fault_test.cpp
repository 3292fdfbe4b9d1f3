// SPDX-License-Identifier: MIT
// Disk errors. Every step of a send, of opening the outbox and of a trial of the disk fails, alone
// and with all that follow it: nothing is lost, nothing goes out twice, and the reported result is
// true.
#include "outbox/outbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using testing::AnyOf;
using testing::Conditional;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class OutboxFaultTest : public testing::Test {
 protected:
  OutboxWorld world;
};

TEST_F(OutboxFaultTest, AWriterThatFailsLeavesNothingBehind) {
  const auto outbox = world.open();
  const auto sent = outbox->send("entry", "id", [](OutputFile& file) -> Result<void> {
    (void)file.write("half");
    return Error{EIO, "the attachment cannot be read"};
  });
  ASSERT_FALSE(sent);
  EXPECT_EQ(sent.error().text, "the attachment cannot be read");
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_FALSE(outbox->alreadySent("entry"));
}

TEST_F(OutboxFaultTest, EachFailingStepLeavesAClearErrorAndARepeatedSendSendsOnce) {
  for (const int code : {ENOSPC, EIO}) {
    for (const bool tear : {false, true}) {
      for (std::size_t step = 1; step <= 10; ++step) {
        SCOPED_TRACE(std::to_string(step) + (tear ? " torn" : ""));
        OutboxWorld fresh;
        auto outbox = fresh.open();
        ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
        ASSERT_TRUE(outbox->send("second", "id0", writes("x")));
        fresh.files.reset();
        fresh.files.tearFailingWrites(tear);
        fresh.files.failStep(step, code);
        const auto sent = outbox->send("entry", "id1", writes("Subject: s\n\nx"));
        fresh.files.reset();
        EXPECT_EQ(outbox->alreadySent("entry"), static_cast<bool>(sent));
        EXPECT_EQ(static_cast<bool>(sent), step >= 9);
        EXPECT_THAT(fresh.names("new"), SizeIs(sent ? 3 : 2));
        if (!sent) {
          EXPECT_EQ(sent.error().code, code);
          EXPECT_FALSE(sent.error().text.empty());
        }
        ASSERT_TRUE(outbox->send("entry", "id1", writes("Subject: s\n\nx")));
        EXPECT_THAT(fresh.names("new"), SizeIs(3));
        EXPECT_THAT(fresh.names("tmp"), IsEmpty());
        outbox.reset();
        outbox = fresh.open();
        EXPECT_TRUE(outbox->alreadySent("entry"));
        EXPECT_THAT(fresh.names("new"), SizeIs(3));
      }
    }
  }
}

TEST_F(OutboxFaultTest, ADiskThatStaysBrokenSendsNothingAndRecoversWithTheNextStart) {
  for (std::size_t step = 1; step <= 8; ++step) {
    SCOPED_TRACE(step);
    OutboxWorld fresh;
    auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
    ASSERT_TRUE(outbox->send("second", "id0", writes("x")));
    fresh.files.reset();
    fresh.files.failFromStep(step, EIO);
    const bool sent = static_cast<bool>(outbox->send("entry", "id1", writes("x")));
    EXPECT_EQ(sent, outbox->alreadySent("entry"));
    outbox.reset();
    fresh.files.reset();
    outbox = fresh.open();
    if (sent) {
      EXPECT_TRUE(outbox->alreadySent("entry"));
    }
    // A file that stayed in tmp/ with its intent counts as sent after the start: the next try adds
    // nothing.
    ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
    EXPECT_THAT(fresh.names("new"), SizeIs(3));
    EXPECT_THAT(fresh.names("tmp"), IsEmpty());
  }
}

// The steps of a send to an outbox that was used before: 7 renames into new/, 8 syncs new/.
constexpr std::size_t kRenameStep = 7;

// The reported result must be true: sent means that the one message of the entry waits in new/;
// failed means that it does not, unless the error says that it still may. After the next start and
// one more try, there is exactly one message.
void expectNothingLostAndNothingTwice(OutboxWorld& fresh, std::unique_ptr<Outbox>& outbox,
                                      const Result<void>& sent) {
  fresh.files.reset();
  fresh.files.refused = nullptr;
  EXPECT_EQ(outbox->alreadySent("entry"), static_cast<bool>(sent));
  if (sent) {
    EXPECT_THAT(fresh.names("new"), SizeIs(3));
  }
  const bool open = !sent && sent.error().text.find("may still go out") != std::string::npos;
  if (!sent && !open) {
    EXPECT_THAT(fresh.names("new"), SizeIs(2));
  }
  if (sent) {
    ASSERT_TRUE(outbox->settle("entry"));
  }
  outbox.reset();
  outbox = fresh.open();
  EXPECT_THAT(fresh.names("new"),
              AnyOf(SizeIs(sent ? 3 : 2), Conditional(open, SizeIs(3), SizeIs(sent ? 3 : 2))));
  EXPECT_THAT(fresh.names("tmp"), IsEmpty());
  if (!sent) {
    ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
  }
  EXPECT_THAT(fresh.names("new"), SizeIs(3));
}

// Whether a recorded step is one that `refused` names: an operation, perhaps with a path in the
// outbox.
bool isRefused(const std::string& step, const std::string& refused, const std::string& folder) {
  const std::size_t blank = refused.find(' ');
  if (blank == refused.npos) {
    return step.starts_with(refused + ' ');
  }
  return step.starts_with(refused.substr(0, blank + 1) + folder + '/' + refused.substr(blank + 1));
}

// Sends one forward whose rename into new/ fails, after `rename` was called with both names: it may
// have happened all the same. Repeats that for every combination of `others`, the steps that fail
// from then on.
void expectAFailedSendFor(
    const std::vector<std::string>& others,
    const std::function<void(const std::string& from, const std::string& to)>& rename) {
  for (std::size_t bits = 0; bits < 1u << others.size(); ++bits) {
    SCOPED_TRACE(bits);
    OutboxWorld fresh;
    auto outbox = fresh.open();
    ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
    ASSERT_TRUE(outbox->send("second", "id0", writes("x")));
    bool tried = false;
    fresh.files.refused = [&](const std::string& step) {
      if (step.starts_with("rename " + fresh.folder)) {
        const std::string from = step.substr(7, step.find(' ', 7) - 7);
        rename(from, step.substr(8 + from.size()));
        return tried = true;
      }
      for (std::size_t i = 0; tried && i < others.size(); ++i) {
        if ((bits >> i & 1) != 0 && isRefused(step, others[i], fresh.folder)) {
          return true;
        }
      }
      return false;
    };
    const auto sent = outbox->send("entry", "id1", writes("x"));
    EXPECT_FALSE(sent);
    expectNothingLostAndNothingTwice(fresh, outbox, sent);
    if (testing::Test::HasFailure()) {
      return;
    }
  }
}

TEST_F(OutboxFaultTest, ARenameThatFailsIsAFailedSendWhateverElseFails) {
  expectAFailedSendFor(
      {"remove new", "remove tmp", "inspect", "append", "write", "sync", "create", "syncFolder"},
      [](const std::string&, const std::string&) {});
}

TEST_F(OutboxFaultTest, ARenameThatHappenedAlthoughItsAnswerWasAnErrorIsFoundOut) {
  expectAFailedSendFor(
      {"remove new", "remove tmp", "inspect new", "inspect tmp", "syncFolder new"},
      [](const std::string& from, const std::string& to) { std::filesystem::rename(from, to); });
}

TEST_F(OutboxFaultTest, ASendThatWasLeftOpenIsLookedIntoBeforeItIsRepeated) {
  for (const bool moved : {false, true}) {
    OutboxWorld fresh;
    auto outbox = fresh.open();
    fresh.files.refused = [&](const std::string& step) {
      return step.starts_with((moved ? "syncFolder " : "rename ") + fresh.folder) ||
             step.starts_with("remove ");
    };
    const auto sent = outbox->send("entry", "id1", writes("first"));
    ASSERT_FALSE(sent);
    EXPECT_THAT(sent.error().text, HasSubstr("may still go out"));
    EXPECT_FALSE(outbox->send("entry", "id1", writes("again"))) << "the disk has not changed";
    fresh.files.refused = nullptr;
    ASSERT_TRUE(outbox->send("entry", "id1", writes("once more")));
    ASSERT_THAT(fresh.names("new"), SizeIs(1));
    EXPECT_EQ(fresh.bytesOf("new", fresh.names("new")[0]), "first");
    EXPECT_THAT(fresh.names("tmp"), IsEmpty());
    EXPECT_TRUE(outbox->alreadySent("entry"));
    EXPECT_EQ(outbox->queue().waiting()->size(), 1u);
  }
}

// A power cut could bring the name in new/ back, beside the forward of the next try.
TEST_F(OutboxFaultTest, AForwardTakenBackIsNotCalledGoneBeforeItsFolderCouldBeSynced) {
  auto outbox = world.open();
  world.files.refused = [&](const std::string& step) {
    return step == "syncFolder " + world.folder + "/new";
  };
  const auto sent = outbox->send("entry", "id1", writes("first"));
  ASSERT_FALSE(sent);
  EXPECT_THAT(sent.error().text, HasSubstr("may still go out"));
  EXPECT_EQ(outbox->intendedMessageId("entry"), "id1");
  world.files.reset();
  EXPECT_FALSE(outbox->send("entry", "id1", writes("again")));
  EXPECT_THAT(world.files.record(), Each(Not(StartsWith("create "))))
      << "another one was written before it was found out";
  world.files.refused = nullptr;
  ASSERT_TRUE(outbox->send("entry", "id1", writes("once more")));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(OutboxFaultTest, AForwardThatWasTakenBackLeavesNoDoubtToTheNextTry) {
  auto outbox = world.open();
  const std::string intoNew = ' ' + world.folder + "/new/";
  world.files.refused = [&](const std::string& step) {
    return step.starts_with("rename ") && step.find(intoNew) != std::string::npos;
  };
  ASSERT_FALSE(outbox->send("entry", "id1", writes("first")));
  world.files.refused = [](const std::string& step) { return step.starts_with("list "); };
  EXPECT_TRUE(outbox->send("entry", "id1", writes("again"))) << "only finding out needs a list";
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(OutboxFaultTest, AnyOneAndAnyTwoFailingStepsOfASendLoseNothingAndDoubleNothing) {
  constexpr std::size_t kSteps = 14;
  std::size_t tried = 0;
  for (std::size_t one = 1; one <= kSteps; ++one) {
    for (std::size_t two = one; two <= kSteps; ++two) {
      SCOPED_TRACE(std::to_string(one) + " and " + std::to_string(two));
      OutboxWorld fresh;
      auto outbox = fresh.open();
      ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
      ASSERT_TRUE(outbox->send("second", "id0", writes("x")));
      fresh.files.reset();
      fresh.files.failSteps({one, two}, EIO);
      const auto sent = outbox->send("entry", "id1", writes("x"));
      if (one <= kRenameStep + 1) {
        EXPECT_FALSE(sent);
      }
      expectNothingLostAndNothingTwice(fresh, outbox, sent);
      if (HasFailure()) {
        return;
      }
      ++tried;
    }
  }
  EXPECT_EQ(tried, kSteps * (kSteps + 1) / 2);
}

TEST_F(OutboxFaultTest, WhatFailsOfItsOwnStepsBlamesTheDiskAndAFailingWriterTheMessage) {
  for (const int code : {ENOSPC, EDQUOT, EROFS, EIO, EACCES}) {
    for (std::size_t step = 1; step <= kRenameStep + 1; ++step) {
      OutboxWorld fresh;
      auto outbox = fresh.open();
      ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
      ASSERT_TRUE(outbox->send("second", "id0", writes("x")));
      fresh.files.reset();
      fresh.files.failStep(step, code);
      EXPECT_FALSE(outbox->send("entry", "id1", writes("x"))) << step;
      EXPECT_TRUE(outbox->refusedByDisk()) << step;
      ASSERT_TRUE(outbox->tryDisk());
      EXPECT_FALSE(outbox->refusedByDisk());
    }
  }
  const auto outbox = world.open();
  EXPECT_FALSE(outbox->send("entry", "id", [](OutputFile&) -> Result<void> {
    return Error{EIO, "the source cannot be read"};
  }));
  EXPECT_FALSE(outbox->refusedByDisk());
  world.files.reset();
  world.files.failStep(2, EFBIG);
  EXPECT_FALSE(outbox->send("entry", "id", writes("more than a file can hold")));
  EXPECT_FALSE(outbox->refusedByDisk());
}

TEST_F(OutboxFaultTest, TheDiskIsTriedWithAsManyBytesAsItRefusedAndNothingStays) {
  const auto outbox = world.open();
  world.files.reset();
  world.files.failStep(3, ENOSPC);
  EXPECT_FALSE(outbox->send("entry", "id", [](OutputFile& file) -> Result<void> {
    if (auto written = file.write(std::string(100'000, 'x')); !written) {
      return written;
    }
    return file.write(std::string(50'000, 'x'));
  }));
  world.files.reset();
  ASSERT_TRUE(outbox->tryDisk());
  std::size_t bytes = 0;
  for (const std::string& step : world.files.record()) {
    if (step.starts_with("write " + world.folder + "/tmp/")) {
      bytes += std::stoul(step.substr(step.rfind(' ')));
    }
  }
  EXPECT_EQ(bytes, 150'000u);
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(OutboxFaultTest, ATrialFailsWithAnyOfItsStepsAndSucceedsWhenAllDo) {
  auto outbox = world.open();
  ASSERT_TRUE(outbox->send("first", "id0", writes("x")));
  std::size_t failed = 0;
  for (std::size_t step = 1;; ++step) {
    world.files.reset();
    // The journal cannot be written, so it has a change to write later.
    world.files.refused = [&](const std::string& what) {
      return what.find(world.journal) != std::string::npos;
    };
    ASSERT_FALSE(outbox->send("entry", "id1", writes("xyz")));
    world.files.refused = nullptr;
    world.files.reset();
    world.files.failStep(step, ENOSPC);
    const auto tried = outbox->tryDisk();
    EXPECT_EQ(outbox->refusedByDisk(), !tried) << step;
    if (world.files.steps() < step) {
      ASSERT_TRUE(tried);
      break;
    }
    if (!tried) {
      ++failed;
    }
  }
  EXPECT_GE(failed, 13u);
  outbox.reset();
  world.files.reset();
  outbox = world.open();  // what could not be removed is cleared away
  EXPECT_THAT(world.names("tmp"), IsEmpty());
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(OutboxFaultTest, AFileInThePlaceOfNewIsAFailedSendAndLosesNothing) {
  auto outbox = world.open();
  std::filesystem::remove(world.folder + "/new");
  writeBytes(world.folder + "/new", "in the way");
  EXPECT_FALSE(outbox->send("entry", "id1", writes("x")));
  EXPECT_FALSE(outbox->alreadySent("entry"));
  std::filesystem::remove(world.folder + "/new");
  std::filesystem::create_directory(world.folder + "/new");
  ASSERT_TRUE(outbox->send("entry", "id1", writes("x")));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(OutboxFaultTest, EachFailingStepOfOpeningIsAnErrorOrHarmless) {
  for (std::size_t step = 1; step <= 30; ++step) {
    OutboxWorld fresh;
    fresh.files.failStep(step, EACCES);
    const auto outbox = fresh.tryOpen();
    if (!outbox) {
      EXPECT_EQ(outbox.error().code, EACCES) << step;
      EXPECT_FALSE(outbox.error().text.empty()) << step;
    }
    fresh.files.reset();
  }
  OutboxWorld fresh;
  fresh.random = [](std::size_t) -> Result<std::string> { return Error{ENOSYS, "no numbers"}; };
  const auto outbox = fresh.tryOpen();
  ASSERT_FALSE(outbox);
  EXPECT_EQ(outbox.error().text, "no numbers");
}

}  // namespace
}  // namespace relaybird
