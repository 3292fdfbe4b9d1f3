// SPDX-License-Identifier: MIT
// What becomes of each message that waits, with a transport whose answers the test chooses. Most
// tests run the tasks of the worker on the calling thread; those about threads have a real one.
// delivery_retries_test.cpp has what waits for its next try, delivery_folder_test.cpp what may be
// in the folder and what the disk may do.
#include "outbox/delivery/delivery_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <latch>

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

TEST_F(DeliveryWorkerTest, WhoeverStopsItIsToldOfTheEndAndDoesNotWait) {
  useThreads();
  ThreadExecutor thread;
  std::latch begun(1);
  std::latch answers(1);
  transport.onDeliver = [&](const std::stop_token&) {
    begun.count_down();
    answers.wait();
  };
  send("one");
  send("two");
  DeliveryWorker threaded(setting(&transport, thread));
  threaded.flush(nullptr);
  begun.wait();
  bool stopped = false;
  EXPECT_FALSE(threaded.stop([&] { stopped = true; }));
  events.runUntilIdle();
  EXPECT_FALSE(stopped);
  answers.count_down();
  while (!stopped) {
    events.runPending();
    std::this_thread::yield();
  }
  EXPECT_THAT(transport.subjects, ElementsAre("one"));
  EXPECT_THAT(notices, ElementsAre("Handed over for delivery: \"one\""));
  EXPECT_THAT(world.names("new"), SizeIs(1));
}

TEST_F(DeliveryWorkerTest, OneThatDeliversNothingIsStoppedAtOnce) {
  send("one");
  EXPECT_TRUE(worker->stop([] { ADD_FAILURE(); }));
  EXPECT_FALSE(flush());
  EXPECT_THAT(transport.subjects, IsEmpty());
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
