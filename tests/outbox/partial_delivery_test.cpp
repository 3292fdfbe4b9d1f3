// SPDX-License-Identifier: MIT
// Messages that a server takes for some of their recipients only, verdicts that arrive together,
// and answers that get lost.
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
  void use(Transport& to) {
    worker.reset();
    worker.emplace(setting(&to, executor));
  }
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
  worker.reset();
  outbox.reset();
  outbox = world.open();
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
  world.clock.advance(std::chrono::hours{5 * 24 + 1});
  flush();
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

TEST_F(PartialDeliveryTest, ALostAnswerIsWaitedForBeforeTheMessageIsSentAgain) {
  use(transport);
  transport.answer = [](const std::string&) {
    return Outcome{Kind::kUnknown, "the connection was lost", false};
  };
  send("one");
  flush();
  EXPECT_THAT(notices[0], HasSubstr("it may have arrived; kept for a later try under the same "
                                    "Message-ID: \"one\": the connection was lost"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{10});
  world.clock.advance(minutes{9});
  flush();
  EXPECT_THAT(take(), SizeIs(1));
  world.clock.advance(minutes{1});
  transport.answer = nullptr;
  flush();
  EXPECT_THAT(take(), ElementsAre("one"));
}

TEST_F(PartialDeliveryTest, ANewStartOrARequestDoesNotForgetThatAMessageMayHaveArrived) {
  for (const bool anew : {true, false}) {
    SCOPED_TRACE(anew);
    struct Searching : ScriptedTransport {
      Arrived hasArrived(const OutgoingMessage&, std::stop_token) override {
        ++asked;
        return Arrived::kYes;
      }
      int asked = 0;
    } searching;
    use(searching);
    searching.answer = [](const std::string&) { return Outcome{Kind::kUnknown, "lost", false}; };
    send(anew ? "one" : "two");
    flush();
    world.clock.advance(minutes{4});
    notices.clear();
    if (anew) {
      worker.reset();
      outbox.reset();
      outbox = world.open();
      use(searching);
      flush();
    } else {
      worker->tryAgain(nullptr);
      events.runUntilIdle();
    }
    EXPECT_THAT(searching.subjects, SizeIs(1));
    ASSERT_THAT(notices, SizeIs(1));
    EXPECT_THAT(notices[0], HasSubstr("may have arrived"));
    // The journal counts whole seconds.
    EXPECT_LE(*worker->nextAttempt(), world.clock.now() + minutes{6});
    world.clock.advance(minutes{5});
    flush();
    EXPECT_EQ(searching.asked, 0);
    world.clock.advance(minutes{1});
    flush();
    EXPECT_EQ(searching.asked, 1);
    EXPECT_THAT(searching.subjects, SizeIs(1));
    EXPECT_THAT(world.names("new"), IsEmpty());
  }
}

struct SearchingTransport : ScriptedTransport {
  bool searches() const override { return true; }
  Arrived hasArrived(const OutgoingMessage& message, std::stop_token stop) override {
    asked.push_back(message.subject);
    if (onSearch) {
      onSearch(stop);
    }
    return silent                       ? Arrived::kNotKnownNow
           : message.subject == arrived ? Arrived::kYes
                                        : Arrived::kNo;
  }
  bool silent = false;  // nobody can tell
  std::function<void(std::stop_token)> onSearch;
  std::string arrived;
  std::vector<std::string> asked;
};

TEST_F(PartialDeliveryTest, AfterACrashDuringATryTheSentFolderIsSearchedBeforeTheNextOne) {
  for (const std::string arrived : {"one", ""}) {
    SCOPED_TRACE(arrived);
    const TempFolder copy;
    OutboxWorld later;
    later.folder = copy.path("mail/outbox");
    later.journal = copy.path("state/rbx/journal");
    SearchingTransport searching;
    // What a kill leaves while the answer for "one" is awaited.
    searching.onDeliver = [&](std::stop_token) {
      if (!std::filesystem::exists(copy.path("mail"))) {
        std::filesystem::copy(world.temp.path(""), copy.path(""),
                              std::filesystem::copy_options::recursive);
      }
    };
    use(searching);
    send("one");
    send("two");
    flush();
    EXPECT_THAT(std::exchange(searching.subjects, {}), ElementsAre("one", "two"));
    EXPECT_THAT(searching.asked, IsEmpty());

    worker.reset();
    outbox = later.open();
    searching.arrived = arrived;
    use(searching);
    flush();
    EXPECT_THAT(searching.asked, ElementsAre("one")) << "the other one was not begun";
    // In any order: the copies' times are those of the copying.
    EXPECT_THAT(searching.subjects, arrived.empty() ? UnorderedElementsAreArray({"one", "two"})
                                                    : UnorderedElementsAreArray({"two"}));
    EXPECT_THAT(later.names("new"), IsEmpty());
    worker.reset();
    outbox.reset();
    outbox = world.open();
    for (const std::string& entry : outbox->alreadySent()) {
      ASSERT_TRUE(outbox->settle(entry));
    }
  }
}

TEST_F(PartialDeliveryTest, AnAnswerThatRefusesEndsTheDoubtWhetherTheMessageHasArrived) {
  SearchingTransport searching;
  searching.answer = [](const std::string&) { return temporary(); };
  use(searching);
  send("one");
  flush();
  worker.reset();
  outbox.reset();
  outbox = world.open();
  searching.answer = nullptr;
  use(searching);
  flush();
  EXPECT_THAT(searching.asked, IsEmpty());
  EXPECT_THAT(searching.subjects, ElementsAre("one", "one"));
}

TEST_F(PartialDeliveryTest, ABeginningIsDurableBeforeTheMessageLeavesWithOneSyncForEach) {
  SearchingTransport searching;
  std::vector<std::size_t> syncs;
  const auto count = [&] {
    const auto record = world.files.record();
    return static_cast<std::size_t>(
        std::count(record.begin(), record.end(), "sync " + world.journal));
  };
  searching.onDeliver = [&](std::stop_token) { syncs.push_back(count()); };
  use(searching);
  send("one");
  send("two");
  send("three");
  world.files.reset();
  flush();
  EXPECT_THAT(syncs, ElementsAre(1, 2, 3));
  EXPECT_EQ(count(), 4u);
}

TEST_F(PartialDeliveryTest, AMessageThatIsFoundToHaveArrivedIsNotSentAgain) {
  struct Searching : ScriptedTransport {
    Arrived hasArrived(const OutgoingMessage& message, std::stop_token) override {
      asked.push_back(message.subject);
      return message.subject == "one" ? Arrived::kYes : Arrived::kNo;
    }
    std::vector<std::string> asked;
  } searching;
  use(searching);
  searching.answer = [](const std::string& subject) {
    return subject == "three" ? temporary() : Outcome{Kind::kUnknown, "lost", false};
  };
  send("one");
  send("two");
  send("three");
  flush();
  EXPECT_THAT(searching.asked, IsEmpty());
  std::exchange(searching.subjects, {});
  searching.answer = nullptr;
  world.clock.advance(minutes{10});
  flush();
  EXPECT_THAT(searching.asked, ElementsAre("one", "two"));
  EXPECT_THAT(std::exchange(searching.subjects, {}), ElementsAre("two", "three"));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// Messages whose answers got lost, on a transport that cannot tell whether they have arrived.
class DoubtfulDeliveryTest : public PartialDeliveryTest {
 protected:
  static constexpr const char* kWaits =
      "Waits until it can be found out whether it has arrived already, for a day at most: ";
  DoubtfulDeliveryTest() { use(searching); }
  void loseTheAnswersFor(const std::vector<std::string>& subjects) {
    searching.answer = [](const std::string&) { return Outcome{Kind::kUnknown, "lost", false}; };
    for (const std::string& subject : subjects) {
      send(subject);
    }
    flush();
    EXPECT_THAT(std::exchange(searching.subjects, {}), UnorderedElementsAreArray(subjects));
    searching.answer = nullptr;
    searching.silent = true;
    notices.clear();
    world.clock.advance(minutes{10});
  }
  void startAgain() {
    worker.reset();
    outbox.reset();
    outbox = world.open();
    use(searching);
  }
  SearchingTransport searching;
};

// It was sent again, and arrived twice although the folder of sent mail had it.
TEST_F(DoubtfulDeliveryTest, AMessageWaitsWhileNobodyCanTellWhetherItHasArrived) {
  loseTheAnswersFor({"one"});
  flush();
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{20});
  EXPECT_EQ(worker->counts().kept, 1U);
  world.clock.advance(minutes{20});
  flush();
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{40});
  EXPECT_THAT(searching.asked, SizeIs(2));
  EXPECT_THAT(searching.subjects, IsEmpty());
  EXPECT_THAT(notices, ElementsAre(std::string(kWaits) + "\"one\"")) << "once";
  startAgain();
  flush();
  EXPECT_THAT(searching.asked, SizeIs(3));
  EXPECT_THAT(searching.subjects, IsEmpty());

  searching.silent = false;
  searching.arrived = "one";
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(searching.subjects, IsEmpty());
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_EQ(notices.back(), "Has arrived already, so it is not sent again: \"one\"");
}

TEST_F(DoubtfulDeliveryTest, AMessageThatIsFoundNotToHaveArrivedIsSentAfterTheWait) {
  loseTheAnswersFor({"one"});
  flush();
  searching.silent = false;
  searching.answer = [](const std::string&) { return Outcome{Kind::kUnknown, "lost", false}; };
  world.clock.advance(minutes{20});
  flush();
  EXPECT_THAT(searching.subjects, ElementsAre("one"));
  notices.clear();
  searching.silent = true;
  world.clock.advance(minutes{60});
  flush();
  EXPECT_THAT(notices, ElementsAre(std::string(kWaits) + "\"one\"")) << "a doubt of its own";
  searching.silent = false;
  searching.answer = nullptr;
  world.clock.advance(minutes{60});
  flush();
  EXPECT_THAT(searching.subjects, ElementsAre("one", "one"));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(DoubtfulDeliveryTest, ADayAfterTheLostAnswerTheMessageIsSentAllTheSame) {
  for (const bool anew : {false, true}) {
    SCOPED_TRACE(anew);
    const std::string subject = anew ? "two" : "one";
    loseTheAnswersFor({subject});
    flush();
    world.clock.advance(kLongestDoubt - minutes{11});
    if (anew) {
      startAgain();
    }
    flush();
    EXPECT_THAT(searching.subjects, IsEmpty()) << "a minute is left";
    notices.clear();
    // The transport does not take it at first.
    searching.answer = [](const std::string&) { return temporary(true); };
    for (int i = 0; i < 3; ++i) {
      world.clock.advance(minutes{60});
      flush();
    }
    EXPECT_THAT(std::exchange(searching.subjects, {}), SizeIs(3));
    ASSERT_THAT(notices, SizeIs(2)) << "each once";
    EXPECT_EQ(notices[0],
              "It could not be found out for a day whether it has arrived already, so it is sent "
              "again under the same Message-ID: \"" +
                  subject + "\"");
    searching.answer = nullptr;
    world.clock.advance(minutes{60});
    flush();
    EXPECT_THAT(std::exchange(searching.subjects, {}), ElementsAre(subject));
    EXPECT_THAT(world.names("new"), IsEmpty());
    searching.silent = false;
  }
}

TEST_F(DoubtfulDeliveryTest, TheOthersGoOnAndOneFailedSearchIsEnoughForASeries) {
  std::vector<std::string> doubtful;
  for (int i = 10; i < 30; ++i) {
    doubtful.push_back(std::to_string(i));
  }
  for (const std::string& subject : doubtful) {
    searching.answer = [](const std::string&) { return Outcome{Kind::kUnknown, "lost", false}; };
    send(subject);
    flush();
    worker->tryAgain(nullptr);  // ends the pause after many lost answers
    events.runUntilIdle();
  }
  searching.subjects.clear();
  searching.answer = nullptr;
  searching.silent = true;
  world.clock.advance(minutes{10});
  send("other");
  send("another");
  notices.clear();
  flush();
  EXPECT_THAT(searching.asked, SizeIs(1));
  EXPECT_THAT(searching.subjects, UnorderedElementsAre("other", "another"));
  EXPECT_EQ(std::count_if(notices.begin(), notices.end(),
                          [](const std::string& line) { return line.starts_with(kWaits); }),
            20);
  send("later");
  flush();
  EXPECT_THAT(searching.asked, SizeIs(1)) << "none is due";
  EXPECT_THAT(searching.subjects, UnorderedElementsAre("other", "another", "later"));
}

// The answer for a message may also have got lost with the program.
TEST_F(DoubtfulDeliveryTest, AfterACrashTheDayBeginsWithTheFirstSearch) {
  const TempFolder copy;
  searching.onDeliver = [&](std::stop_token) {
    std::filesystem::copy(world.temp.path(""), copy.path(""),
                          std::filesystem::copy_options::recursive);
  };
  send("one");
  flush();
  searching.onDeliver = nullptr;
  searching.subjects.clear();
  searching.silent = true;
  world.folder = copy.path("mail/outbox");
  world.journal = copy.path("state/rbx/journal");
  world.clock.advance(std::chrono::hours{100});
  startAgain();
  flush();
  EXPECT_THAT(searching.asked, SizeIs(1));
  world.clock.advance(kLongestDoubt - minutes{1});
  startAgain();
  flush();
  EXPECT_THAT(searching.asked, SizeIs(2));
  EXPECT_THAT(searching.subjects, IsEmpty());
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(searching.subjects, ElementsAre("one"));
}

TEST_F(DoubtfulDeliveryTest, TheEndOfTheProgramStopsASearchAndSendsNothing) {
  loseTheAnswersFor({"one", "two"});
  useThreads();
  std::latch begun(1);
  searching.onSearch = [&](std::stop_token stop) {
    begun.count_down();
    while (!stop.stop_requested()) {
      std::this_thread::yield();
    }
  };
  ThreadExecutor thread;
  {
    DeliveryWorker threaded(setting(&searching, thread));
    threaded.flush(nullptr);
    begun.wait();
  }
  EXPECT_THAT(searching.asked, SizeIs(1));
  EXPECT_THAT(searching.subjects, IsEmpty());
  EXPECT_THAT(world.names("new"), SizeIs(2));
}

TEST_F(PartialDeliveryTest, WhatKeepsEverythingBackIsToldOnce) {
  use(transport);
  transport.answer = [](const std::string&) {
    return Outcome{Kind::kTemporary, "535 wrong password", true};
  };
  send("one");
  for (int i = 0; i < 5; ++i) {
    flush();
    world.clock.advance(minutes{60});
  }
  EXPECT_THAT(take(), SizeIs(5));
  EXPECT_THAT(notices, ElementsAre("Kept for a later try: \"one\": 535 wrong password"));
  worker->tryAgain(nullptr);
  events.runUntilIdle();
  EXPECT_THAT(notices, SizeIs(2)) << "the user asked";
}

TEST_F(PartialDeliveryTest, AServerThatIsOutOfReachForAWeekMovesNothingToFailed) {
  use(transport);
  transport.answer = [](const std::string&) { return temporary(true); };
  send("one");
  send("two");
  for (int i = 0; i < 7 * 24; ++i) {
    world.clock.advance(minutes{60});
    flush();
  }
  EXPECT_THAT(world.names("failed"), IsEmpty());
  EXPECT_THAT(world.names("new"), SizeIs(2));
  take();
  transport.answer = nullptr;
  world.clock.advance(minutes{60});
  flush();
  EXPECT_THAT(take(), ElementsAre("one", "two"));
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
