// SPDX-License-Identifier: MIT
// What becomes of each message that waits, with a transport whose answers the test chooses and a
// clock that only the test moves. Most tests run the tasks of the worker on the calling thread;
// those about threads have a real one. Several make the disk fail: no fault may deliver a message
// twice or lose it.
#include "outbox/delivery/delivery_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <latch>

#include "outbox/delivery/outgoing_message.h"
#include "outbox/delivery/sendmail_transport.h"
#include "outbox/delivery_fixture.h"
#include "platform/posix/posix_processes.h"

namespace relaybird {
namespace {

using Kind = Outcome::Kind;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(DeliveryWorkerTest, DeliversWhatWaitsOldestFirstAndRemovesIt) {
  send("one");
  send("two");
  EXPECT_TRUE(flush());
  send("three");
  EXPECT_TRUE(flush());
  EXPECT_THAT(transport.subjects, ElementsAre("one", "two", "three"));
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(notices, SizeIs(3));
  EXPECT_EQ(notices[0], "Handed over for delivery: \"one\"");
  EXPECT_TRUE(outbox->alreadySent("entry one"));
  EXPECT_EQ(worker->nextAttempt(), std::nullopt);
}

TEST_F(DeliveryWorkerTest, WhatIsToldOfADeliveryCarriesItsTime) {
  const DateTime start = world.clock.now();
  transport.onDeliver = [this](const std::stop_token&) { world.clock.advance(minutes{2}); };
  send("one");
  send("two");
  flush();
  EXPECT_THAT(times, ElementsAre(start + minutes{2}, start + minutes{4}));
}

TEST_F(DeliveryWorkerTest, WithoutATransportMessagesStay) {
  DeliveryWorker idle(setting(nullptr, executor));
  send("one");
  bool done = false;
  idle.flush([&] { done = true; });
  EXPECT_FALSE(done);
  events.runUntilIdle();
  EXPECT_TRUE(done);
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryWorkerTest, ATemporaryRefusalWaitsTwiceAsLongEachTimeUpToAnHour) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), SizeIs(1));
  for (const int wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
    EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{wait});
    world.clock.advance(minutes{wait} - std::chrono::seconds{1});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), IsEmpty()) << wait;
    world.clock.advance(std::chrono::seconds{1});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), SizeIs(1)) << wait;
  }
  EXPECT_THAT(world.names("new"), SizeIs(1));
  EXPECT_EQ(notices[0], "Kept for a later try: \"one\": 451 later");
}

// One message alone may be meant, so others are tried soon. If they get the same answer, all wait.
TEST_F(DeliveryWorkerTest, AQuotaHoldsOneMessageForAnHourAndAllForFour) {
  transport.answer = [](const std::string&) {
    return Outcome{
        Outcome::Kind::kTemporary, "5.4.5 enough for today", true, {}, Outcome::Cause::kLimit};
  };
  send("one");
  flush();
  EXPECT_THAT(take(), ElementsAre("one"));
  world.clock.advance(minutes{59});
  flush();
  EXPECT_THAT(take(), IsEmpty());
  send("two");
  flush();
  EXPECT_THAT(take(), ElementsAre("two"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + kRetryAfterLimit);
  world.clock.advance(kRetryAfterLimit - minutes{1});
  flush();
  EXPECT_THAT(take(), IsEmpty());
  world.clock.advance(minutes{1});
  transport.answer = {};
  flush();
  EXPECT_THAT(take(), SizeIs(2));
}

TEST_F(DeliveryWorkerTest, TheNextAttemptIsThatOfTheMessagesBehindAQuotasOnePauseOfAMinute) {
  transport.answer = [](const std::string& subject) {
    return subject == "limited" ? Outcome{Outcome::Kind::kTemporary,
                                          "5.4.5 enough for today",
                                          true,
                                          {},
                                          Outcome::Cause::kLimit}
                                : Outcome{};
  };
  send("limited");
  send("fine");
  flush();
  EXPECT_THAT(take(), ElementsAre("limited"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{1});
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), ElementsAre("fine"));
  EXPECT_EQ(worker->nextAttempt(), world.clock.now() + minutes{59}) << "the limited one's";
}

// Two answers in a row mean the account. With a success between them, each is about its message.
TEST_F(DeliveryWorkerTest, ASuccessClearsTheAccountOfASuspectedQuota) {
  transport.answer = [](const std::string& subject) {
    return subject.starts_with("limited") ? Outcome{Outcome::Kind::kTemporary,
                                                    "5.4.5 enough for today",
                                                    true,
                                                    {},
                                                    Outcome::Cause::kLimit}
                                          : Outcome{};
  };
  send("limited one");
  flush();
  world.clock.advance(minutes{1});
  send("fine");
  flush();
  send("limited two");
  flush();
  EXPECT_THAT(take(), ElementsAre("limited one", "fine", "limited two"));
  world.clock.advance(minutes{1});
  send("fine too");
  flush();
  EXPECT_THAT(take(), ElementsAre("fine too")) << "everything waits for four hours";
}

TEST_F(DeliveryWorkerTest, AMessageThatIsRefusedForGoodTakesItsSuspicionWithIt) {
  const Outcome limit{
      Outcome::Kind::kTemporary, "5.4.5 enough for today", true, {}, Outcome::Cause::kLimit};
  transport.answer = [&](const std::string&) { return limit; };
  send("bad");
  flush();
  world.clock.advance(minutes{60});
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550", false}; };
  flush();
  transport.answer = [&](const std::string&) { return limit; };
  send("limited");
  flush();
  EXPECT_THAT(take(), ElementsAre("bad", "bad", "limited"));
  world.clock.advance(minutes{1});
  transport.answer = nullptr;
  send("fine");
  flush();
  EXPECT_THAT(take(), ElementsAre("fine")) << "everything waits for four hours";
}

TEST_F(DeliveryWorkerTest, MessagesThatAreRefusedForTheTimeBeingDoNotBlockThoseBehindThem) {
  transport.answer = [](const std::string& subject) {
    return subject.starts_with("stuck") ? temporary() : Outcome{};
  };
  for (int i = 0; i < 12; ++i) {
    send("stuck " + std::to_string(i));
  }
  flush();
  send("fine");
  for (int i = 0; i < 3; ++i) {
    world.clock.advance(minutes{60});
    flush();
  }
  EXPECT_EQ(std::count(transport.subjects.begin(), transport.subjects.end(), "fine"), 1);
}

TEST_F(DeliveryWorkerTest, AListingThatFailsOnceKeepsWhatArrivedAndIsTriedAgain) {
  send("left from earlier");
  world.files.refused = [](const std::string& step) {
    return step.starts_with("list ") && step.ends_with("/new");
  };
  flush();
  EXPECT_THAT(take(), IsEmpty());
  world.files.refused = nullptr;
  ASSERT_TRUE(worker->nextAttempt());
  world.clock.set(*worker->nextAttempt());
  flush();
  EXPECT_THAT(take(), ElementsAre("left from earlier"));
  EXPECT_FALSE(worker->nextAttempt());
}

TEST_F(DeliveryWorkerTest, WhatIsKeptIsCountedWhenItIsSaid) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  std::vector<std::size_t> counted;
  onNotice = [&] { counted.push_back(worker->counts().kept); };
  flush();
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(counted, ElementsAre(1, 0));
}

TEST_F(DeliveryWorkerTest, ANewStartTriesAtOnce) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  restart();
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(2));
}

TEST_F(DeliveryWorkerTest, AClockThatIsSetBackDoesNotMakeMessagesWaitLonger) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  flush();
  world.clock.set(world.clock.now() - std::chrono::hours{48});
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(2));
}

TEST_F(DeliveryWorkerTest, ARefusalOfOneDoesNotHoldUpTheOthers) {
  transport.answer = [](const std::string& subject) {
    return subject == "one" ? temporary() : Outcome{};
  };
  send("one");
  send("two");
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("one", "two"));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryWorkerTest, ARefusalThatConcernsEverythingEndsTheSeries) {
  transport.answer = [](const std::string&) { return temporary(true); };
  send("one");
  send("two");
  flush();
  EXPECT_THAT(take(), ElementsAre("one"));
  send("three");
  flush();
  EXPECT_THAT(take(), IsEmpty());
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), ElementsAre("one", "two", "three"));
}

TEST_F(DeliveryWorkerTest, ManyRefusalsInARowEndTheSeriesAndOthersHaveTheirTurnNext) {
  transport.answer = [](const std::string&) { return temporary(); };
  for (int number = 0; number < 25; ++number) {
    send(std::to_string(number));
  }
  flush();
  EXPECT_THAT(take(), SizeIs(10));
  transport.answer = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(take(), SizeIs(25));
}

TEST_F(DeliveryWorkerTest, APermanentRefusalMovesAsideAndTheUserIsTold) {
  transport.answer = [](const std::string&) {
    return Outcome{Kind::kPermanent, "550 no\nsuch user", false};
  };
  send("one");
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[1]), "550 no\nsuch user\n");
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_EQ(notices[0], "Refused for good: \"one\": 550 no such user. It is now in " +
                            world.folder + "/failed");
}

TEST_F(DeliveryWorkerTest, WhatAServerSaysCannotDressUpTheWordsBesideARefusedMessage) {
  transport.answer = [](const std::string&) {
    return Outcome{Kind::kPermanent, "550 \x1B[2Jno\r\n\u202Euser\u200B caf\xE9", false};
  };
  send("one");
  flush();
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_EQ(world.bytesOf("failed", world.names("failed")[1]),
            "550 <U+001B>[2Jno\r\n<U+202E>user<U+200B> caf\\xe9\n");
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("550 <U+001B>[2Jno <U+202E>user<U+200B> caf\\xe9."));
}

TEST_F(DeliveryWorkerTest, IsGivenUpAfterFiveDays) {
  transport.answer = [](const std::string&) { return temporary(); };
  send("one");
  world.clock.advance(std::chrono::hours{5 * 24} - minutes{5});
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  world.clock.advance(minutes{10});
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  ASSERT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_THAT(world.bytesOf("failed", world.names("failed")[1]), HasSubstr("451 later"));
  EXPECT_THAT(notices.back(), HasSubstr("five days"));
}

TEST_F(DeliveryWorkerTest, AMessageWithoutRecipientsIsRefusedForGood) {
  ASSERT_TRUE(outbox->send("entry", "id", writes("From: a@example.org\nSubject: s\xff\n\nx")));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  EXPECT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_THAT(notices[0], HasSubstr("names no recipient"));
}

TEST_F(DeliveryWorkerTest, HostileNamesAndThingsInNewDoNoHarm) {
  const std::vector<std::string> odd = {"-rf",      "a b;$(x)", "line\nfeed",
                                        "\xff\xfe", "..x",      "x.txt"};
  for (const std::string& name : odd) {
    world.put("new", name, mail("odd"));
  }
  ASSERT_EQ(::mkfifo((world.folder + "/new/fifo").c_str(), 0600), 0);
  world.put("new", std::string(255, 'l'), mail("odd"));
  world.put("new", ".hidden", mail("hidden"));
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "no", false}; };
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(6));  // names with a leading dot are no messages
  EXPECT_THAT(world.names("new"), ElementsAre("..x", ".hidden", "fifo"));
  EXPECT_THAT(world.names("failed"), testing::Contains(std::string(255, 'l')));
}

TEST_F(DeliveryWorkerTest, AFileThatCannotBeReadIsKeptAndTheRestGoesOn) {
  send("one");
  send("two");
  send("three");
  const std::string first = world.names("new")[0];
  world.files.refused = [&](const std::string& step) {
    return step == "open " + world.folder + "/new/" + first;
  };
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), ElementsAre("two", "three"));
  EXPECT_THAT(world.names("new"), ElementsAre(first));
  ASSERT_THAT(notices, SizeIs(3));
  EXPECT_THAT(notices[0], HasSubstr("Kept for a later try: \"" + first + "\": Injected fault"));
  world.files.refused = nullptr;
  world.clock.advance(minutes{1});
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), ElementsAre("one"));
}

TEST_F(DeliveryWorkerTest, ARefusedMessageThatCannotBeMovedAsideIsKeptAndRefusedLater) {
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550 no", false}; };
  send("one");
  world.files.refused = [&](const std::string& step) {
    return step.starts_with("rename " + world.folder + "/new/");
  };
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("Kept for a later try: \"one\": 550 no; Injected fault"));
  world.files.refused = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(notices.back(), HasSubstr("Refused for good: \"one\": 550 no"));
}

TEST_F(DeliveryWorkerTest, ARefusedMessageThatWasMovedAsideIsSaidToBeThereWhateverElseFails) {
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550 no", false}; };
  send("one");
  world.files.refused = [&](const std::string& step) {
    return step.find(".txt") != step.npos || step == "syncFolder " + world.folder + "/failed";
  };
  flush();
  EXPECT_THAT(world.names("failed"), SizeIs(1));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("Refused for good: \"one\": 550 no"));
}

TEST_F(DeliveryWorkerTest, AFileThatVanishedIsForgotten) {
  send("one");
  send("two");
  const std::string second = world.names("new")[1];
  transport.onDeliver = [&](std::stop_token) {
    std::filesystem::remove(world.folder + "/new/" + second);
  };
  EXPECT_TRUE(flush());
  EXPECT_THAT(transport.subjects, ElementsAre("one"));
  EXPECT_THAT(notices, SizeIs(1));
}

TEST_F(DeliveryWorkerTest, ADiskThatFailsAfterADeliveryDoesNotDeliverTwice) {
  for (std::size_t step = 1; step <= 6; ++step) {
    send("one" + std::to_string(step));
    world.files.reset();
    world.files.failStep(step, EIO);
    EXPECT_TRUE(flush());
    world.files.reset();
    world.clock.advance(minutes{2});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), SizeIs(1)) << step;
  }
}

// Tells how far files were read.
class MeasuringDisk : public FaultyFileSystem {
 public:
  using FaultyFileSystem::FaultyFileSystem;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    class Measured : public InputFile {
     public:
      Measured(std::unique_ptr<InputFile> file, std::uint64_t& furthest)
          : file_(std::move(file)), furthest_(furthest) {}
      const FileInfo& info() const override { return file_->info(); }
      Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        furthest_ = std::max(furthest_, offset + size);
        return file_->readAt(offset, buffer, size);
      }

     private:
      std::unique_ptr<InputFile> file_;
      std::uint64_t& furthest_;
    };
    auto file = FaultyFileSystem::open(path);
    if (!file) {
      return file.error();
    }
    return std::unique_ptr<InputFile>(std::make_unique<Measured>(std::move(*file), furthest));
  }
  std::uint64_t furthest = 0;
};

class LargeFileTest : public DeliveryWorkerTest {
 protected:
  LargeFileTest() {
    close();
    world.through = &measuring;
    outbox = world.open();
    restart();
  }
  ~LargeFileTest() override { close(); }
  void close() {
    worker.reset();
    outbox.reset();
  }

  MeasuringDisk measuring{world.disk};
};

TEST_F(LargeFileTest, AFileThatIsTooLargeMovesAsideAndIsNeverWholeInMemory) {
  world.put("new", "huge", mail("huge"));
  // A file with a hole takes no room on the disk.
  std::filesystem::resize_file(world.folder + "/new/huge", kLargestOutgoing + (1U << 24));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  EXPECT_THAT(world.names("failed"), testing::Contains("huge"));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("too large"));
  EXPECT_LE(measuring.furthest, kLargestOutgoing + 1);
}

TEST_F(DeliveryWorkerTest, MessagesThatOthersPutBackAreFoundWithinAMinute) {
  flush();
  world.put("new", "by hand", mail("by hand"));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("by hand"));
}

TEST_F(DeliveryWorkerTest, MessagesThatOthersPutBackAreFoundAfterTheClockWasSetBackToo) {
  flush();
  world.clock.set(world.clock.now() - std::chrono::hours{48});
  world.put("new", "by hand", mail("by hand"));
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("by hand"))
      << "the folder was read at a time that is still to come";
}

TEST_F(DeliveryWorkerTest, AThousandFlushesDoNotReadTheFolderAThousandTimes) {
  transport.answer = [](const std::string&) { return temporary(true); };
  for (int number = 0; number < 50; ++number) {
    send(std::to_string(number));
    flush();
  }
  EXPECT_THAT(transport.subjects, SizeIs(1));
  world.clock.advance(minutes{1});
  transport.answer = nullptr;
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(51));
}

TEST_F(DeliveryWorkerTest, CountsWhatLeftAndWhatWasRefused) {
  transport.answer = [](const std::string& subject) {
    return subject == "bad" ? Outcome{Kind::kPermanent, "550", false} : Outcome{};
  };
  send("one");
  send("bad");
  send("two");
  flush();
  EXPECT_EQ(worker->counts().left, 2U);
  EXPECT_EQ(worker->counts().refused, 1U);
  EXPECT_EQ(worker->counts().kept, 0U);
}

TEST_F(DeliveryWorkerTest, TwoWorkersDoNotDeliverOneFileTwice) {
  send("one");
  ScriptedTransport other;
  DeliveryWorker second(setting(&other, executor));
  transport.onDeliver = [&](std::stop_token) { second.flush(nullptr); };
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(1));
  EXPECT_THAT(other.subjects, IsEmpty());
}

TEST_F(DeliveryWorkerTest, NothingIsCalledBackAfterItsEnd) {
  send("one");
  bool done = false;
  worker->flush([&] { done = true; });
  worker.reset();
  events.runUntilIdle();
  EXPECT_FALSE(done);
  EXPECT_THAT(notices, IsEmpty());
}

TEST_F(DeliveryWorkerTest, OnAThreadOfItsOwnSendingGoesOnMeanwhile) {
  useThreads();
  ThreadExecutor thread;
  DeliveryWorker threaded(setting(&transport, thread));
  for (int number = 0; number < 50; ++number) {
    send(std::to_string(number));
    threaded.flush(nullptr);
  }
  std::atomic<bool> done = false;
  threaded.flush([&] { done = true; });
  while (!done) {
    events.runPending();
    std::this_thread::yield();
  }
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(transport.subjects, SizeIs(50));
  EXPECT_THAT(notices, SizeIs(50));
}

TEST_F(DeliveryWorkerTest, ItsEndStopsADeliveryUnderWay) {
  useThreads();
  ThreadExecutor thread;
  std::latch begun(1);
  transport.onDeliver = [&](std::stop_token stop) {
    begun.count_down();
    while (!stop.stop_requested()) {
      std::this_thread::yield();
    }
  };
  transport.answer = [](const std::string&) { return Outcome{Kind::kCancelled, {}, false}; };
  send("one");
  send("two");
  {
    DeliveryWorker threaded(setting(&transport, thread));
    threaded.flush(nullptr);
    begun.wait();
  }
  EXPECT_THAT(transport.subjects, ElementsAre("one"));
  EXPECT_THAT(world.names("new"), SizeIs(2));
}

TEST_F(DeliveryWorkerTest, DeliversThroughARealCommand) {
  const std::string command = world.temp.path("mta");
  const std::string log = world.temp.path("log");
  writeBytes(command, "#!/bin/sh\necho \"$@\" >> " + log + "\ncat >> " + log + "\n");
  std::filesystem::permissions(command, std::filesystem::perms::owner_all);
  PosixCommandRunner runner([] { return std::chrono::milliseconds{0}; });
  SendmailTransport sendmail(runner, {command, "-x"});
  DeliveryWorker real(setting(&sendmail, executor));
  ASSERT_TRUE(outbox->send(
      "entry", "id", writes("From: a@example.org\nBcc: b@example.org\nSubject: s\n\n.\nx\n")));
  real.flush(nullptr);
  events.runUntilIdle();
  EXPECT_EQ(readBytes(log),
            "-x -i -f a@example.org -- b@example.org\nFrom: a@example.org\nSubject: s\n\n.\nx\n");
  EXPECT_THAT(world.names("new"), IsEmpty());
}

}  // namespace
}  // namespace relaybird
