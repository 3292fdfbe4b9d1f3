// SPDX-License-Identifier: MIT
// Messages that the journal holds until they leave or get a file: what they cost, where they go,
// and what is left of them when the disk fails, the program ends or the power is cut.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "outbox/journal_line.h"
#include "outbox/outbox_world.h"
#include "support/cut_disk.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

struct Crash {};

class HeldMessageTest : public testing::Test {
 protected:
  std::unique_ptr<Outbox> open() {
    auto outbox = world.open();
    outbox->queue().holdForDelivery(true);
    return outbox;
  }
  std::unique_ptr<Outbox> openWithOneSent() {
    auto outbox = open();
    EXPECT_TRUE(outbox->send("before", "id0", writes("first")));
    EXPECT_TRUE(deliverAll(*outbox));
    world.files.reset();
    return outbox;
  }
  // Everything that waits leaves.
  static Result<void> deliverAll(Outbox& outbox) {
    for (const auto waiting = outbox.queue().waiting(); const WaitingMessage& message : *waiting) {
      const auto claim = outbox.queue().claim(message.name);
      EXPECT_TRUE(outbox.queue().delivered({&*claim}));
    }
    return outbox.queue().finishDeliveries();
  }
  static std::vector<std::string> texts(Outbox& outbox) {
    std::vector<std::string> found;
    for (const auto waiting = outbox.queue().waiting(); const WaitingMessage& message : *waiting) {
      found.push_back(wholeText(outbox.queue().read(*outbox.queue().claim(message.name)).value()));
    }
    return found;
  }

  OutboxWorld world;
};

TEST_F(HeldMessageTest, CostsOneWaitForTheDiskAndNoFile) {
  const auto outbox = openWithOneSent();
  ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
  EXPECT_EQ(std::count_if(world.files.record().begin(), world.files.record().end(),
                          [](const std::string& step) { return step.starts_with("sync"); }),
            1);
  EXPECT_THAT(world.files.record(), Not(testing::Contains(HasSubstr(world.folder))));
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_EQ(outbox->queue().countWaiting(), 1U);
}

TEST_F(HeldMessageTest, LeavesWithoutAFileAndItsTextLeavesTheJournalToo) {
  auto outbox = open();
  ASSERT_TRUE(outbox->send("entry", "id", writes("private-text")));
  EXPECT_THAT(readBytes(world.journal), HasSubstr("private-text"));
  EXPECT_THAT(texts(*outbox), ElementsAre("private-text"));
  world.files.reset();
  ASSERT_TRUE(deliverAll(*outbox));
  EXPECT_THAT(world.files.record(), Not(testing::Contains(HasSubstr(world.folder))));
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
  EXPECT_EQ(outbox->queue().countWaiting(), 0U);
  EXPECT_THAT(readBytes(world.journal), Not(HasSubstr("private-text")));
  outbox.reset();
  outbox = open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
}

TEST_F(HeldMessageTest, GetsAFileAtTheEndOfASeriesAndAtTheEndOfHolding) {
  const auto outbox = open();
  ASSERT_TRUE(outbox->send("entry", "id", writes("one")));
  EXPECT_THAT(world.names("new"), IsEmpty());
  ASSERT_TRUE(outbox->queue().finishDeliveries());
  ASSERT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", world.names("new")[0]), "one");
  ASSERT_TRUE(outbox->send("other", "id2", writes("two")));
  EXPECT_EQ(outbox->queue().countWaiting(), 2U);
  outbox->queue().holdForDelivery(false);
  EXPECT_THAT(world.names("new"), SizeIs(2));
  EXPECT_THAT(*outbox->queue().waiting(), SizeIs(2));
  EXPECT_THAT(readBytes(world.journal), Not(HasSubstr("two")));
}

TEST_F(HeldMessageTest, TheWaitOfASendServesTheDeliveryWhichWaitsForNoLinesOfOthers) {
  const auto outbox = open();
  ASSERT_TRUE(outbox->send("one", "id1", writes("one")));
  const auto claim = outbox->queue().claim(outbox->queue().waiting().value().at(0).name);
  ASSERT_TRUE(outbox->queue().begin(*claim));
  ASSERT_TRUE(outbox->send("two", "id2", writes("two")));
  ASSERT_TRUE(outbox->settle("one"));
  world.files.reset();
  ASSERT_TRUE(outbox->queue().makeDurable());
  EXPECT_THAT(world.files.record(), IsEmpty());
  ASSERT_TRUE(outbox->queue().delivered({&*claim}));
  world.files.reset();
  ASSERT_TRUE(outbox->queue().makeDurable());
  EXPECT_THAT(world.files.record(), ElementsAre("sync " + world.journal));
}

// A user who removes a file from the outbox takes the message back.
TEST_F(HeldMessageTest, IsNotMadeAgainWhenItsFileWasRemovedByHand) {
  auto outbox = open();
  ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
  ASSERT_TRUE(outbox->queue().finishDeliveries());
  ASSERT_TRUE(world.disk.remove(world.folder + "/new/" + world.names("new").at(0)));
  outbox.reset();
  outbox = open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
}

TEST_F(HeldMessageTest, WaitsAtTheNextStartWithItsTimeAlsoWhenItsEntryIsSettled) {
  for (const bool settled : {false, true}) {
    OutboxWorld other;
    auto outbox = other.open();
    outbox->queue().holdForDelivery(true);
    ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
    if (settled) {
      // A failure makes the journal write its file anew.
      other.files.reset();
      other.files.failStep(1, EIO);
      EXPECT_FALSE(outbox->settle("entry"));
      ASSERT_TRUE(outbox->queue().makeDurable());
      EXPECT_THAT(readBytes(other.journal), HasSubstr(" text "));
    }
    EXPECT_EQ(outbox->queue().waiting().value().at(0).modified,
              std::chrono::floor<std::chrono::seconds>(other.clock.now()));
    outbox.reset();
    EXPECT_EQ(DeliveryQueue::countWaiting(other.disk, other.folder, other.journal), 1U);
    outbox = other.open();
    EXPECT_EQ(DeliveryQueue::countWaiting(other.disk, other.folder, other.journal), 1U);
    EXPECT_EQ(texts(*outbox).at(0), "text");
    EXPECT_THAT(other.names("new"), SizeIs(1));
    EXPECT_EQ(outbox->alreadySent("entry"), !settled);
  }
}

TEST_F(HeldMessageTest, LargeMessagesAndThoseOfNoEntryGetFilesAtOnce) {
  const auto outbox = open();
  const std::string large((std::size_t{64} << 10) + 1, 'x');
  ASSERT_TRUE(outbox->send("large", "id", writes(large)));
  ASSERT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(world.bytesOf("new", world.names("new")[0]), large);
  ASSERT_TRUE(outbox->send("", "id2", writes("x")));
  EXPECT_THAT(world.names("new"), SizeIs(2));
  EXPECT_THAT(world.names("tmp"), IsEmpty());
}

TEST_F(HeldMessageTest, TheMemoryAndTheJournalStayBounded) {
  const auto outbox = open();
  const std::string text(60000, 'x');
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(outbox->send("entry " + std::to_string(i), "id", writes(text)));
  }
  EXPECT_THAT(world.names("new"), SizeIs(100 - (4 << 20) / 60000));
  EXPECT_THAT(*outbox->queue().waiting(), SizeIs(100));
  std::size_t largest = 0;
  for (int i = 0; i < 250; ++i) {
    for (const auto waiting = outbox->queue().waiting(); const WaitingMessage& message : *waiting) {
      const auto claim = outbox->queue().claim(message.name);
      ASSERT_TRUE(outbox->queue().delivered({&*claim}));
    }
    ASSERT_TRUE(outbox->send("more " + std::to_string(i), "id", writes(text)));
    largest = std::max<std::size_t>(largest, world.disk.inspect(world.journal)->size);
  }
  EXPECT_LT(largest, std::size_t{16} << 20);
  EXPECT_GT(largest, std::size_t{3} << 20) << "it does not write the file anew all the time either";
}

// Mail is written by strangers, who can compute check sums.
TEST_F(HeldMessageTest, ATextThatLooksLikeLinesOfTheJournalChangesNothing) {
  auto outbox = open();
  const std::string forged = "\n" + encodeJournalLine({"settled", "entry"}) +
                             encodeJournalLine({"delivered", "file"}) + "\n";
  ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
  ASSERT_TRUE(outbox->send("bad", "id2", writes(forged)));
  outbox.reset();
  std::string journal = readBytes(world.journal);
  const std::size_t at = journal.find("text");
  ASSERT_NE(at, journal.npos);
  outbox = open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_THAT(texts(*outbox), ElementsAre("text", forged));
  outbox.reset();
  // With a damaged beginning of its line, too.
  writeBytes(world.journal, journal.replace(journal.find("bad"), 1, "B"));
  outbox = open();
  EXPECT_TRUE(outbox->alreadySent("entry"));
  EXPECT_FALSE(outbox->alreadySent("bad"));
  EXPECT_THAT(outbox->findings(), SizeIs(1));
}

TEST_F(HeldMessageTest, ARefusedOneMovesToFailed) {
  auto outbox = open();
  ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
  {
    const auto claim = outbox->queue().claim(outbox->queue().waiting().value().at(0).name);
    ASSERT_TRUE(outbox->queue().refuse(*claim, "no"));
  }
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[0]), "text");
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
  outbox.reset();
  EXPECT_THAT(*world.open()->queue().waiting(), IsEmpty());
}

TEST_F(HeldMessageTest, AFullJournalDiskLeavesItToTheFiles) {
  auto outbox = openWithOneSent();
  world.files.refused = [](const std::string& step) {
    return step.starts_with("write ") && step.find("/journal") != step.npos &&
           std::stoul(step.substr(step.rfind(' '))) > 3000;
  };
  ASSERT_TRUE(outbox->send("entry", "id", writes(std::string(5000, 'x'))));
  EXPECT_FALSE(outbox->refusedByDisk());
  ASSERT_THAT(world.names("new"), SizeIs(1));
  world.files.refused = nullptr;
  outbox.reset();
  EXPECT_TRUE(world.open()->alreadySent("entry"));
}

TEST_F(HeldMessageTest, AFullDiskFailsTheSendAndLeavesNothing) {
  auto outbox = openWithOneSent();
  world.files.tearFailingWrites(true);
  world.files.failFromStep(1, ENOSPC);
  const auto sent = outbox->send("entry", "id", writes("text"));
  ASSERT_FALSE(sent);
  EXPECT_THAT(sent.error().text, Not(HasSubstr("may still go out")));
  EXPECT_TRUE(outbox->refusedByDisk());
  EXPECT_FALSE(outbox->alreadySent("entry"));
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
  world.files.reset();
  outbox.reset();
  outbox = open();
  EXPECT_FALSE(outbox->alreadySent("entry"));
  EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
}

// The line may be whole on the disk then.
TEST_F(HeldMessageTest, AWaitForTheDiskThatFailsIsTakenBackOrSaidToBeInDoubt) {
  for (const bool again : {false, true}) {
    OutboxWorld other;
    auto outbox = other.open();
    outbox->queue().holdForDelivery(true);
    ASSERT_TRUE(outbox->send("before", "id0", writes("first")));
    other.files.reset();
    int syncs = 0;
    other.files.refused = [&](const std::string& step) {
      return step.starts_with("sync ") && (++syncs == 1 || again);
    };
    const auto sent = outbox->send("entry", "id", writes("text"));
    other.files.refused = nullptr;
    outbox.reset();
    if (again) {
      ASSERT_FALSE(sent);
      EXPECT_THAT(sent.error().text, HasSubstr("may still go out"));
      continue;
    }
    // Taken back, it went the other way.
    EXPECT_TRUE(sent);
    EXPECT_THAT(other.open()->queue().waiting().value(), SizeIs(2));
  }
}

// As the store does it: the Message-ID of an earlier try, or a new one.
void forwardOnce(Outbox& outbox, const std::string& newId) {
  if (!outbox.alreadySent("entry")) {
    const std::string id = outbox.intendedMessageId("entry").value_or(newId);
    ASSERT_TRUE(outbox.send("entry", id, writes(id)));
  }
}

TEST_F(HeldMessageTest, AtAnyStepOfSendingAndStoringACrashForwardsItExactlyOnce) {
  std::size_t crashes = 0;
  for (const bool tear : {false, true}) {
    for (std::size_t step = 1; step <= 16; ++step) {
      SCOPED_TRACE(std::to_string(step) + (tear ? " torn" : ""));
      OutboxWorld other;
      auto outbox = other.open();
      outbox->queue().holdForDelivery(true);
      ASSERT_TRUE(outbox->send("before", "id0", writes("first")));
      other.files.reset();
      other.files.hookBefore(
          step, [] { throw Crash{}; }, tear);
      try {
        (void)outbox->send("entry", "one", writes("one"));
        (void)outbox->queue().finishDeliveries();
      } catch (const Crash&) {
        ++crashes;
      }
      other.files.reset();
      outbox.reset();
      outbox = other.open();
      EXPECT_THAT(other.names("tmp"), IsEmpty());
      forwardOnce(*outbox, "two");
      EXPECT_THAT(other.names("new"), SizeIs(2));
      EXPECT_THAT(*outbox->queue().waiting(), SizeIs(2));
    }
  }
  EXPECT_GE(crashes, 24U);
}

TEST_F(HeldMessageTest, AtAnyStepOfTheNextStartACrashLeavesItOnce) {
  std::size_t crashes = 0;
  for (const bool tear : {false, true}) {
    for (std::size_t step = 1; step <= 40; ++step) {
      SCOPED_TRACE(std::to_string(step) + (tear ? " torn" : ""));
      OutboxWorld other;
      auto outbox = other.open();
      outbox->queue().holdForDelivery(true);
      ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
      outbox.reset();
      other.files.reset();
      other.files.hookBefore(
          step, [] { throw Crash{}; }, tear);
      try {
        outbox = other.open();
      } catch (const Crash&) {
        ++crashes;
      }
      other.files.reset();
      outbox.reset();
      outbox = other.open();
      EXPECT_TRUE(outbox->alreadySent("entry"));
      EXPECT_THAT(texts(*outbox), ElementsAre("text"));
      EXPECT_THAT(other.names("new"), SizeIs(1));
      EXPECT_THAT(other.names("tmp"), IsEmpty());
    }
  }
  EXPECT_GE(crashes, 24U);
}

TEST_F(HeldMessageTest, AStepThatFailsWhenASeriesEndsLosesNothingAndDoublesNothing) {
  std::size_t failures = 0;
  for (std::size_t step = 1; step <= 24; ++step) {
    SCOPED_TRACE(step);
    OutboxWorld other;
    auto outbox = other.open();
    outbox->queue().holdForDelivery(true);
    for (const std::string entry : {"left", "stays", "too"}) {
      ASSERT_TRUE(outbox->send(entry, entry + "@id", writes(entry)));
    }
    {
      const auto claim = outbox->queue().claim(outbox->queue().waiting()->front().name);
      ASSERT_TRUE(outbox->queue().delivered({&*claim}));
    }
    other.files.reset();
    other.files.failStep(step, ENOSPC);
    failures += outbox->queue().finishDeliveries() ? 0U : 1U;
    other.files.reset();
    EXPECT_THAT(texts(*outbox), testing::UnorderedElementsAre("stays", "too"));
    outbox.reset();
    outbox = other.open();
    EXPECT_THAT(texts(*outbox), testing::UnorderedElementsAre("stays", "too"));
    ASSERT_TRUE(deliverAll(*outbox));
    EXPECT_THAT(other.names("new"), IsEmpty());
    outbox.reset();
    outbox = other.open();
    EXPECT_THAT(*outbox->queue().waiting(), IsEmpty());
    EXPECT_THAT(other.names("tmp"), IsEmpty());
  }
  EXPECT_GE(failures, 10U);
}

// Whether the send had the journal written anew.
bool sendRewrites(OutboxWorld& world, Outbox& outbox, int number) {
  // Its encoding is three times as long.
  const std::string text(64000, '\n');
  world.files.reset();
  EXPECT_TRUE(outbox.send("entry " + std::to_string(number), "id", writes(text)));
  const auto& steps = world.files.record();
  return std::any_of(steps.begin(), steps.end(), [&](const std::string& step) {
    return step.starts_with("create " + world.journal);
  });
}

TEST_F(HeldMessageTest, AJournalThatCannotBeWrittenAnewLosesNothingAndDoublesNothing) {
  auto trial = open();
  int last = 1;  // the first one makes the journal
  EXPECT_TRUE(sendRewrites(world, *trial, 0));
  while (!sendRewrites(world, *trial, last)) {
    ASSERT_LT(++last, 100);
  }
  // Before anything is done, and when all is done but the last step.
  for (const std::size_t step : {std::size_t{1}, std::size_t{6}}) {
    SCOPED_TRACE(step);
    OutboxWorld other;
    auto outbox = other.open();
    outbox->queue().holdForDelivery(true);
    for (int number = 0; number < last; ++number) {
      EXPECT_EQ(sendRewrites(other, *outbox, number), number == 0);
    }
    other.files.reset();
    other.files.failStep(step, ENOSPC);
    const auto sent = outbox->send("entry", "id", writes("text"));
    other.files.reset();
    EXPECT_EQ(outbox->alreadySent("entry"), static_cast<bool>(sent));
    ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
    const auto count = static_cast<std::size_t>(last) + 1;
    EXPECT_THAT(*outbox->queue().waiting(), SizeIs(count));
    outbox.reset();
    outbox = other.open();
    EXPECT_TRUE(outbox->alreadySent("entry"));
    EXPECT_THAT(*outbox->queue().waiting(), SizeIs(count));
    EXPECT_THAT(other.names("new"), SizeIs(count));
    EXPECT_THAT(other.names("tmp"), IsEmpty());
  }
}

class CutPower : public testing::Test {
 protected:
  std::unique_ptr<Outbox> open(FileSystem& disk) {
    auto outbox = Outbox::open(disk, clock, random, "/home/state/outbox", "/home/state/journal");
    return outbox ? std::move(*outbox) : nullptr;
  }

  const FakeClock clock;
  const RandomBytes random = countingBytes();
};

TEST_F(CutPower, AHeldMessageThatWasReportedSentSurvivesWhateverStepFailedOnceBefore) {
  std::size_t steps = 1;
  for (std::size_t failing = 0; failing <= steps && !HasFailure(); ++failing) {
    SCOPED_TRACE("failed step " + std::to_string(failing));
    CutDisk disk(clock, {{"/", "/home"}, {}});
    FaultyFileSystem files(disk);
    files.failStep(failing, EIO);
    auto outbox = open(files);
    for (int tries = 0; !outbox && tries < 3; ++tries) {
      outbox = open(files);
    }
    ASSERT_TRUE(outbox);
    outbox->queue().holdForDelivery(true);
    bool sent = false;
    for (int tries = 0; !sent && tries < 3; ++tries) {
      sent = static_cast<bool>(outbox->send("entry", "id", writes("message")));
    }
    ASSERT_TRUE(sent);
    const std::size_t begin = disk.steps();
    (void)outbox->queue().finishDeliveries();
    steps = files.steps();
    for (std::size_t step = begin; step <= disk.steps(); ++step) {
      disk.eachStateAfter(step, [&](const DiskImage& image, const std::string& how) {
        CutDisk later(clock, image);
        const auto again = open(later);
        ASSERT_TRUE(again) << how;
        EXPECT_TRUE(again->alreadySent("entry")) << how;
        ASSERT_THAT(again->queue().waiting().value(), SizeIs(1)) << step << ' ' << how;
        const auto claim = again->queue().claim(again->queue().waiting().value()[0].name);
        EXPECT_EQ(wholeText(again->queue().read(*claim).value()), "message") << how;
      });
    }
  }
  EXPECT_GT(steps, 25U);
}

TEST_F(CutPower, AHeldMessageThatIsKnownToHaveLeftNeverComesBack) {
  CutDisk disk(clock, {{"/", "/home"}, {}});
  auto outbox = open(disk);
  outbox->queue().holdForDelivery(true);
  for (const std::string entry : {"before", "entry"}) {
    ASSERT_TRUE(outbox->send(entry, entry + "@id", writes("message")));
  }
  const std::size_t begin = disk.steps();
  {
    const auto claim = outbox->queue().claim(outbox->queue().waiting()->back().name);
    ASSERT_TRUE(outbox->queue().delivered({&*claim}));
  }
  ASSERT_TRUE(outbox->queue().makeDurable());
  const std::size_t durable = disk.steps();
  ASSERT_TRUE(outbox->queue().finishDeliveries());
  for (std::size_t step = begin; step <= disk.steps(); ++step) {
    disk.eachStateAfter(step, [&](const DiskImage& image, const std::string& how) {
      CutDisk later(clock, image);
      const auto again = open(later);
      EXPECT_TRUE(again->alreadySent("entry")) << step << ' ' << how;
      EXPECT_THAT(*again->queue().waiting(),
                  SizeIs(AllOf(testing::Ge(1U), testing::Le(step >= durable ? 1U : 2U))))
          << step << ' ' << how;
    });
  }
}

// The disk may have made the file although it reported a failure.
TEST_F(HeldMessageTest, AFileThatWasMadeAndNotRecordedLeavesWithTheMessage) {
  for (const char* failing : {"syncFolder ", "sync ", "rename ", "write ", "create "}) {
    SCOPED_TRACE(failing);
    OutboxWorld other;
    auto outbox = other.open();
    outbox->queue().holdForDelivery(true);
    ASSERT_TRUE(outbox->send("entry", "id", writes("text")));
    other.files.refused = [&](const std::string& step) {
      return step.starts_with(failing) && step.find("outbox/") != step.npos;
    };
    EXPECT_FALSE(outbox->queue().finishDeliveries());
    other.files.refused = nullptr;
    EXPECT_THAT(*outbox->queue().waiting(), SizeIs(1));
    ASSERT_TRUE(deliverAll(*outbox));
    EXPECT_THAT(other.names("new"), IsEmpty());
    EXPECT_THAT(other.names("tmp"), IsEmpty());
    outbox.reset();
    EXPECT_THAT(*other.open()->queue().waiting(), IsEmpty());
  }
}

}  // namespace
}  // namespace relaybird
