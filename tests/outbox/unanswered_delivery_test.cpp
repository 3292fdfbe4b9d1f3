// SPDX-License-Identifier: MIT
// Messages whose answer got lost: whether they have arrived is found out, if anybody can tell,
// before they are sent again.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <latch>
#include <thread>

#include "outbox/delivery_fixture.h"

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

Outcome lost(const std::string&) {
  return {Kind::kUnknown, "lost", false};
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

class UnansweredDeliveryTest : public DeliveryWorkerTest {};

TEST_F(UnansweredDeliveryTest, ALostAnswerIsWaitedForBeforeTheMessageIsSentAgain) {
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

TEST_F(UnansweredDeliveryTest, ANewStartOrARequestDoesNotForgetThatAMessageMayHaveArrived) {
  for (const bool anew : {true, false}) {
    SCOPED_TRACE(anew);
    SearchingTransport searching;
    searching.arrived = anew ? "one" : "two";
    use(searching);
    searching.answer = lost;
    send(searching.arrived);
    flush();
    world.clock.advance(minutes{4});
    notices.clear();
    if (anew) {
      reopen();
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
    EXPECT_THAT(searching.asked, IsEmpty());
    world.clock.advance(minutes{1});
    flush();
    EXPECT_THAT(searching.asked, SizeIs(1));
    EXPECT_THAT(searching.subjects, SizeIs(1));
    EXPECT_THAT(world.names("new"), IsEmpty());
  }
}

TEST_F(UnansweredDeliveryTest, AfterACrashDuringATryTheSentFolderIsSearchedBeforeTheNextOne) {
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
    reopen();
    for (const std::string& entry : outbox->alreadySent()) {
      ASSERT_TRUE(outbox->settle(entry));
    }
  }
}

TEST_F(UnansweredDeliveryTest, AnAnswerThatRefusesEndsTheDoubtWhetherTheMessageHasArrived) {
  SearchingTransport searching;
  searching.answer = [](const std::string&) { return temporary(); };
  use(searching);
  send("one");
  flush();
  reopen();
  searching.answer = nullptr;
  use(searching);
  flush();
  EXPECT_THAT(searching.asked, IsEmpty());
  EXPECT_THAT(searching.subjects, ElementsAre("one", "one"));
}

TEST_F(UnansweredDeliveryTest, ABeginningIsDurableBeforeTheMessageLeavesWithOneSyncForEach) {
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

TEST_F(UnansweredDeliveryTest, AMessageThatIsFoundToHaveArrivedIsNotSentAgain) {
  SearchingTransport searching;
  searching.arrived = "one";
  use(searching);
  searching.answer = [](const std::string& subject) {
    return subject == "three" ? temporary() : lost(subject);
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

// The folder of sent mail has a message as soon as one recipient was accepted. The others never got
// it: what was found there was taken off the outbox.
class SomeRecipientsTest : public UnansweredDeliveryTest {
 protected:
  SomeRecipientsTest() {
    searching.arrived = "three";
    use(searching);
    EXPECT_TRUE(outbox->send("entry", "three@id",
                             writes("From: ann@example.org\nTo: good@example.org\nBcc: "
                                    "full@example.org\nSubject: three\n\nbody\n")));
  }
  static Outcome exceptFull(Kind kind) {
    return {.kind = kind,
            .words = "lost",
            .refused = {{"full@example.org", "450 mailbox busy", false}}};
  }
  void tryWith(std::function<Outcome(const std::string&)> answer) {
    searching.answer = std::move(answer);
    flush();
    world.clock.advance(minutes{30});
  }
  // Goes on with what a kill leaves while the answer of a try is awaited.
  void killDuringATry() {
    searching.onDeliver = [this](std::stop_token) {
      std::filesystem::copy(world.temp.path(""), killed_.path(""),
                            std::filesystem::copy_options::recursive);
    };
    flush();
    searching.onDeliver = nullptr;
    world.folder = killed_.path("mail/outbox");
    world.journal = killed_.path("state/rbx/journal");
    reopen();
    use(searching);
  }
  SearchingTransport searching;

 private:
  const TempFolder killed_;
};

TEST_F(SomeRecipientsTest, AMessageThatWasSentToAllIsNotSentAgainWhenItIsFound) {
  tryWith(lost);
  tryWith(nullptr);
  EXPECT_THAT(searching.asked, SizeIs(1));
  EXPECT_THAT(searching.subjects, SizeIs(1));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, AMessageThatWasSentToSomeIsSentAgainAlthoughItIsFound) {
  tryWith([](const std::string&) { return exceptFull(Kind::kUnknown); });
  EXPECT_THAT(notices[0], HasSubstr("it may have arrived"));
  EXPECT_THAT(world.names("new"), SizeIs(1));
  tryWith(nullptr);
  EXPECT_THAT(searching.subjects, SizeIs(2));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, AMessageIsSentAgainAlthoughItsFirstTryIsFound) {
  tryWith([](const std::string&) { return exceptFull(Kind::kDelivered); });
  tryWith(lost);
  tryWith(nullptr);
  EXPECT_THAT(searching.subjects, SizeIs(3));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, OnlyTheLastTryCountsForWhomAFoundMessageHasReached) {
  searching.arrived = "";
  tryWith(lost);
  tryWith([](const std::string&) { return exceptFull(Kind::kUnknown); });
  EXPECT_THAT(searching.asked, SizeIs(1));
  searching.arrived = "three";
  tryWith(nullptr);
  EXPECT_THAT(searching.subjects, SizeIs(3));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, AnAddressThatDoesNotExistDoesNotMakeTheOthersGetItTwice) {
  tryWith([](const std::string&) {
    return Outcome{.kind = Kind::kUnknown,
                   .words = "lost",
                   .refused = {{"full@example.org", "550 no such user", true}}};
  });
  EXPECT_THAT(world.names("failed"), SizeIs(2));
  tryWith(nullptr);
  EXPECT_THAT(searching.asked, SizeIs(1));
  EXPECT_THAT(searching.subjects, SizeIs(1));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// Only this run remembered that the answer got lost.
TEST_F(SomeRecipientsTest, AMessageThatWasSentToSomeWaitsOverANewStartAndARequest) {
  searching.answer = [](const std::string&) { return exceptFull(Kind::kUnknown); };
  flush();
  for (int i = 0; i < 2; ++i) {
    world.clock.advance(minutes{4});
    worker->userAsks();
    events.runUntilIdle();
    EXPECT_THAT(searching.subjects, SizeIs(1));
    reopen();
    use(searching);
    flush();
    EXPECT_THAT(searching.subjects, SizeIs(1));
  }
  world.clock.advance(minutes{2});
  tryWith(nullptr);
  EXPECT_THAT(searching.asked, IsEmpty());
  EXPECT_THAT(searching.subjects, SizeIs(2));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// The message was found and taken off the outbox, and nobody was told of the address.
TEST_F(SomeRecipientsTest, AnAddressWhoseCopyTheDiskHasRefusedIsNotForgotten) {
  world.files.refused = [](const std::string& step) { return step.ends_with(".for-2"); };
  tryWith([](const std::string&) {
    return Outcome{.kind = Kind::kUnknown,
                   .words = "lost",
                   .refused = {{"full@example.org", "550 no such user", true}}};
  });
  world.files.refused = nullptr;
  EXPECT_THAT(world.names("failed"), ElementsAre(testing::EndsWith(".txt")));
  reopen();
  use(searching);
  tryWith([](const std::string&) {
    return Outcome{.kind = Kind::kDelivered,
                   .words = {},
                   .refused = {{"full@example.org", "550 no such user", true}}};
  });
  EXPECT_THAT(searching.subjects, SizeIs(2));
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(world.names("failed"), SizeIs(2));
}

// The message of the others was found in its place.
TEST_F(SomeRecipientsTest, ACopyThatWasPutBackIsSentAgainAlthoughTheMessageIsFound) {
  tryWith([](const std::string&) {
    return Outcome{.kind = Kind::kDelivered,
                   .words = {},
                   .refused = {{"full@example.org", "550 no such user", true}}};
  });
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  const std::string copy = world.names("failed")[0];
  std::filesystem::rename(world.folder + "/failed/" + copy, world.folder + "/new/" + copy);
  reopen();
  use(searching);
  tryWith(lost);
  tryWith(nullptr);
  EXPECT_THAT(searching.subjects, SizeIs(3));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, AfterACrashDuringASecondTryTheMessageIsSentAgainAlthoughItIsFound) {
  searching.arrived = "";
  tryWith(lost);
  searching.answer = nullptr;
  killDuringATry();
  searching.arrived = "three";
  flush();
  EXPECT_THAT(searching.subjects, SizeIs(3));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

TEST_F(SomeRecipientsTest, AfterACrashDuringATryTheMessageIsSentAgainAlthoughItIsFound) {
  killDuringATry();
  flush();
  EXPECT_THAT(searching.subjects, SizeIs(2));
  EXPECT_THAT(world.names("new"), IsEmpty());
}

// Messages whose answers got lost, on a transport that cannot tell whether they have arrived.
class DoubtfulDeliveryTest : public UnansweredDeliveryTest {
 protected:
  static constexpr const char* kWaits =
      "Waits until it can be found out whether it has arrived already, for a day at most: ";
  DoubtfulDeliveryTest() { use(searching); }
  void loseTheAnswersFor(const std::vector<std::string>& subjects) {
    searching.answer = lost;
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
    reopen();
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
  searching.answer = lost;
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
    searching.answer = lost;
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

}  // namespace
}  // namespace relaybird
