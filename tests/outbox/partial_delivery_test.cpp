// SPDX-License-Identifier: MIT
// Messages that a server takes for some of their recipients only, and verdicts that arrive
// together.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <latch>
#include <map>
#include <set>
#include <thread>

#include "outbox/delivery_fixture.h"
#include "support/cut_disk.h"

namespace relaybird {
namespace {

using Kind = Outcome::Kind;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

constexpr const char* kToThree =
    "From: ann@example.org\nTo: good@example.org\nBcc: gone@example.org,\n full@example.org\n"
    "Subject: three\n\nbody\n";

// Has taken a message for these, and answers for each recipient alone.
struct PickyTransport : SingleTransport {
  Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
    Outcome outcome;
    bool accepted = false;
    for (const std::string& address : message.envelope.recipients) {
      ++tries[address];
      if (const auto words = refusals.find(address); words != refusals.end()) {
        outcome.refused.push_back({address, words->second, words->second[0] == '5'});
      } else {
        ++taken[address];
        accepted = true;
      }
    }
    if (!accepted) {
      outcome.kind = Kind::kTemporary;
      outcome.words = "nobody was accepted";
    }
    return outcome;
  }
  std::map<std::string, std::string> refusals = {{"gone@example.org", "550 no such user"},
                                                 {"full@example.org", "450 mailbox busy"}};
  std::map<std::string, int> tries;
  std::map<std::string, int> taken;
};

class PartialDeliveryTest : public DeliveryWorkerTest {
 protected:
  PartialDeliveryTest() { use(picky); }
  void sendToThree() { ASSERT_TRUE(outbox->send("entry", "three@id", writes(kToThree))); }
  PickyTransport picky;
};

TEST_F(PartialDeliveryTest, EachRecipientHasAFateOfItsOwn) {
  sendToThree();
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[0]),
            "From: ann@example.org\nBcc: gone@example.org\nSubject: three\n\nbody\n");
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[1]), "550 no such user\n");
  EXPECT_THAT(notices,
              ElementsAre("Handed over for delivery to 1 of 3 recipients: \"three\"",
                          "Refused for good for gone@example.org: \"three\": 550 no such user. It "
                          "is now in " +
                              world.folder + "/failed",
                          "Kept for a later try: \"three\": full@example.org: 450 mailbox busy"));
  EXPECT_EQ(worker->counts().left, 1U);
  EXPECT_EQ(worker->counts().refused, 1U);
  EXPECT_EQ(worker->counts().kept, 1U);

  picky.refusals.clear();
  world.clock.advance(minutes{1});
  flush();
  EXPECT_EQ(picky.tries["good@example.org"], 1);
  EXPECT_EQ(picky.tries["gone@example.org"], 1);
  EXPECT_EQ(picky.taken["full@example.org"], 1);
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(world.names("failed"), SizeIs(2));
}

TEST_F(PartialDeliveryTest, WhoHasTheMessageIsKnownToTheNextStart) {
  sendToThree();
  flush();
  reopen();
  use(picky);
  flush();
  EXPECT_EQ(picky.tries["good@example.org"], 1);
  EXPECT_EQ(picky.tries["gone@example.org"], 1);
  EXPECT_EQ(picky.tries["full@example.org"], 2);
}

TEST_F(PartialDeliveryTest, ACopyForARefusedRecipientCanBePutBackAndGoesToThatOneAlone) {
  sendToThree();
  flush();
  picky.refusals = {{"full@example.org", "450 mailbox busy"}};
  const std::string copy = world.names("failed")[0];
  std::filesystem::rename(world.folder + "/failed/" + copy, world.folder + "/new/" + copy);
  worker->tryAgain(nullptr);
  events.runUntilIdle();
  EXPECT_EQ(picky.taken["gone@example.org"], 1);
  EXPECT_EQ(picky.taken["good@example.org"], 1);
}

TEST_F(PartialDeliveryTest, WhoeverIsLeftAfterFiveDaysIsGivenUpAlone) {
  sendToThree();
  flush();
  world.clock.advance(std::chrono::hours{5 * 24 - 2} + minutes{1});
  for (int hour = 0; hour < 4; ++hour) {
    EXPECT_THAT(world.names("new"), SizeIs(1)) << hour;
    flush();
    world.clock.advance(std::chrono::hours{1});
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
  ASSERT_THAT(world.names("failed"), SizeIs(4));
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[2]),
            "From: ann@example.org\nBcc: full@example.org\nSubject: three\n\nbody\n");
  EXPECT_THAT(notices.back(), HasSubstr("Refused for good for full@example.org"));
}

TEST_F(PartialDeliveryTest, ACopyThatCannotBeWrittenKeepsTheRecipientWaiting) {
  sendToThree();
  world.files.refused = [&](const std::string& step) { return step.ends_with(".for-2"); };
  picky.refusals = {{"gone@example.org", "550 no such user"}};
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  world.files.refused = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_EQ(picky.taken["good@example.org"], 1);
  EXPECT_EQ(picky.taken["full@example.org"], 1);
}

TEST_F(PartialDeliveryTest, ALargeCopyWhoseTextCannotBeReadKeepsTheRecipientWaiting) {
  picky.refusals = {{"gone@example.org", "550 no such user"}};
  const std::string text = kToThree + std::string(200'000, '\n');
  int reads = 0;
  for (int failing = 1; failing == 1 || reads >= failing - 1; ++failing) {
    ASSERT_LT(failing, 50);
    const std::string id = std::to_string(failing);
    ASSERT_TRUE(outbox->send("entry " + id, id + "@id", writes(text)));
    const std::size_t failedBefore = world.names("failed").size();
    reads = 0;
    world.files.refused = [&](const std::string& step) {
      return step.starts_with("read " + world.folder + "/new/") && ++reads == failing;
    };
    flush();
    if (reads < failing) {
      break;
    }
    EXPECT_THAT(world.names("new"), SizeIs(1)) << failing;
    EXPECT_THAT(world.names("tmp"), IsEmpty()) << failing;
    EXPECT_THAT(world.names("failed"), SizeIs(failedBefore)) << failing;
    world.clock.advance(minutes{30});
    flush();
    EXPECT_THAT(world.names("new"), IsEmpty()) << failing;
    ASSERT_THAT(world.names("failed"), SizeIs(failedBefore + 2)) << failing;
  }
  EXPECT_GT(reads, 3);
  EXPECT_EQ(picky.taken["good@example.org"], picky.taken["full@example.org"]);
  EXPECT_EQ(world.names("failed").size(),
            2 * static_cast<std::size_t>(picky.taken["good@example.org"]));
}

// A delivery on a disk whose power may be cut after every step.
class CutDelivery {
 public:
  CutDelivery(const FakeClock& clock, const DiskImage& image) : disk(clock, image), clock_(clock) {}
  void run(PickyTransport& transport) {
    auto outbox = Outbox::open(disk, clock_, random_, "/home/state/outbox", "/home/state/journal");
    ASSERT_TRUE(outbox) << outbox.error().text;
    if (waits_) {
      ASSERT_TRUE((*outbox)->send("entry", "three@id", writes(kToThree)));
    }
    begin = disk.steps();
    FakeEventQueue events;
    InlineExecutor executor;
    DeliveryWorker worker({disk, clock_, **outbox, &transport, executor, events, {}});
    worker.flush(nullptr);
  }
  static CutDelivery withAMessage(const FakeClock& clock) {
    CutDelivery made(clock, {{"/", "/home"}, {}});
    made.waits_ = true;
    return made;
  }
  CutDisk disk;
  std::size_t begin = 0;  // the step at which the message was known to wait

 private:
  const FakeClock& clock_;
  RandomBytes random_ = countingBytes();
  bool waits_ = false;
};

TEST(PartialDelivery, APowerCutAtAnyStepLosesNobodyAndDoublesOnlyWhatWasNotOnRecordYet) {
  const FakeClock clock;
  CutDelivery before = CutDelivery::withAMessage(clock);
  PickyTransport first;
  before.run(first);
  const std::size_t recorded =
      before.disk.nextStep("sync of file /home/state/journal", before.begin) + 1;
  ASSERT_LT(recorded, before.disk.steps());
  std::set<DiskImage> seen;
  for (std::size_t cut = before.begin; cut <= before.disk.steps(); ++cut) {
    before.disk.eachStateAfter(cut, [&](const DiskImage& image, const std::string& how) {
      if (cut >= recorded && !seen.insert(image).second) {
        return;
      }
      SCOPED_TRACE("after step " + std::to_string(cut) + ", " + how);
      CutDelivery after(clock, image);
      PickyTransport second;
      second.refusals.erase("full@example.org");
      after.run(second);
      EXPECT_EQ(second.taken["full@example.org"], 1);
      EXPECT_LE(second.tries["good@example.org"], cut >= recorded ? 0 : 1);
      std::set<std::string> aside;
      for (const auto& [name, bytes] : after.disk.image().files) {
        EXPECT_FALSE(name.starts_with("/home/state/outbox/new/")) << name;
        if (name.starts_with("/home/state/outbox/failed/") && name.find(".txt") == name.npos) {
          aside.insert(bytes);
        }
      }
      EXPECT_THAT(aside, ElementsAre("From: ann@example.org\nBcc: gone@example.org\n"
                                     "Subject: three\n\nbody\n"));
    });
  }
  EXPECT_GT(seen.size(), 10u);
}

// Takes all messages that the feed has before it reports any.
struct GreedyTransport : Transport {
  void deliverAll(MessageFeed& feed, std::stop_token) override {
    for (;;) {
      std::vector<Verdict> verdicts;
      while (auto fed = feed.next()) {
        subjects.push_back(fed->message.subject);
        verdicts.push_back({fed->number, {}});
      }
      if (verdicts.empty()) {
        return;
      }
      std::reverse(verdicts.begin(), verdicts.end());
      ++reports;
      feed.report(std::move(verdicts));
    }
  }
  std::vector<std::string> subjects;
  int reports = 0;
};

TEST_F(PartialDeliveryTest, VerdictsThatArriveTogetherAreRecordedWithOneWaitForTheDisk) {
  GreedyTransport greedy;
  use(greedy);
  for (int i = 0; i < 5; ++i) {
    send(std::to_string(i));
  }
  world.files.reset();
  flush();
  EXPECT_EQ(greedy.reports, 1);
  EXPECT_THAT(greedy.subjects, SizeIs(5));
  EXPECT_THAT(world.names("new"), IsEmpty());
  const auto& steps = world.files.record();
  EXPECT_EQ(std::count(steps.begin(), steps.end(), "sync " + world.journal), 1);
}

TEST_F(PartialDeliveryTest, MessagesThatArriveDuringASeriesJoinIt) {
  ScriptedTransport one;
  use(one);
  one.onDeliver = [&](std::stop_token) {
    if (one.subjects.size() < 3) {
      send(std::to_string(one.subjects.size()));
    }
  };
  flush();
  world.clock.advance(std::chrono::seconds{1});
  send("first");
  flush();
  EXPECT_THAT(one.subjects, ElementsAre("first", "1", "2"));
}

TEST_F(PartialDeliveryTest, TheHourlyLimitHoldsThoughManyMessagesAreUnderWay) {
  GreedyTransport greedy;
  mostPerHour = 7;
  use(greedy);
  for (int i = 0; i < 20; ++i) {
    send(std::to_string(i));
  }
  flush();
  EXPECT_THAT(greedy.subjects, SizeIs(7));
  EXPECT_EQ(stops, 1);
  EXPECT_THAT(world.names("new"), SizeIs(13));
}

TEST_F(PartialDeliveryTest, AMessageWithoutAVerdictStaysAndIsTriedAgain) {
  struct Forgetful : Transport {
    void deliverAll(MessageFeed& feed, std::stop_token) override {
      while (feed.next()) {
        ++handed;
      }
    }
    int handed = 0;
  } forgetful;
  use(forgetful);
  send("one");
  flush();
  flush();
  EXPECT_EQ(forgetful.handed, 2);
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(PartialDeliveryTest, AMessageThatIsPutBackComesAgainInTheSameSeries) {
  struct Hesitant : Transport {
    void deliverAll(MessageFeed& feed, std::stop_token) override {
      while (auto fed = feed.next()) {
        subjects.push_back(fed->message.subject);
        if (subjects.size() == 2) {
          feed.putBack(fed->number);
        } else {
          feed.report({{fed->number, {}}});
        }
      }
    }
    std::vector<std::string> subjects;
  } hesitant;
  use(hesitant);
  send("one");
  send("two");
  send("three");
  flush();
  EXPECT_THAT(hesitant.subjects, ElementsAre("one", "two", "two", "three"));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

}  // namespace
}  // namespace relaybird
