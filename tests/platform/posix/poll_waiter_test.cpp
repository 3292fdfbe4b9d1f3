// SPDX-License-Identifier: MIT
// A loop over descriptors and signals. Time is virtual: a poll that would wait moves the clock
// instead, and one that would wait forever is counted and ends the loop.
#include "platform/posix/poll_waiter.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/watched_signals.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// Watches signals through the loop, as a program does.
class SignalWatch {
 public:
  SignalWatch(PollWaiter& waiter, const std::vector<WatchedSignal>& signals,
              std::function<void(int)> onSignal)
      : signals_(signals),
        watch_(waiter.watchReadable(signals_.descriptor(), [this, onSignal = std::move(onSignal)] {
          // The callback may end this watch, so nothing of it is touched afterwards.
          if (const int signal = signals_.take()) {
            onSignal(signal);
          }
        })) {}

 private:
  WatchedSignals signals_;
  std::unique_ptr<PollWaiter::Watch> watch_;
};

class PollWaiterTest : public testing::Test {
 protected:
  std::unique_ptr<SignalWatch> watchSignals(const std::vector<WatchedSignal>& signals,
                                            std::function<void(int)> onSignal) {
    return std::make_unique<SignalWatch>(*waiter, signals, std::move(onSignal));
  }
  std::unique_ptr<SignalWatch> watchTermination(std::function<void(int)> onSignal) {
    return watchSignals({{SIGTERM, true}, {SIGINT, true}}, std::move(onSignal));
  }
  PollCalls virtualCalls() {
    return {[this] { return now; },
            [this](pollfd* descriptors, nfds_t count, int timeout) {
              timeouts.push_back(timeout);
              const int ready = ::poll(descriptors, count, 0);
              if (ready != 0) {
                return ready;
              }
              if (timeout > 0) {
                now += milliseconds(timeout);
              }
              if (timeout < 0) {
                ++endlessWaits;
                loop.quit();
              }
              return 0;
            }};
  }
  // Runs until the loop would wait forever.
  void runToIdle() { loop.run(); }

  milliseconds now{0};
  std::vector<int> timeouts;
  int endlessWaits = 0;
  std::string log;
  std::shared_ptr<PollWaiter> waiter = std::make_shared<PollWaiter>(virtualCalls());
  MainLoop loop{waiter};
};

TEST_F(PollWaiterTest, ALimitIsTheTimeoutOfThePoll) {
  const auto timer = loop.makeTimer(25000ms, [&] { log += 't'; });
  timer->setEnabled(true);
  loop.runUntil([&] { return !log.empty(); });
  loop.processPending();
  timer->setEnabled(false);
  runToIdle();
  EXPECT_EQ(timeouts, (std::vector{25000, 0, -1}));
}

TEST_F(PollWaiterTest, WatchesMayOutliveTheWaiter) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto other = std::make_unique<PollWaiter>();
  auto watch = other->watchReadable(ends[0], [&] { log += 'x'; });
  ASSERT_EQ(::write(ends[1], "a", 1), 1);
  const auto ready = other->wait(0ms);
  other.reset();
  watch.reset();
  ASSERT_EQ(ready.size(), 1U);
  ready.front()();
  EXPECT_EQ(log, "");
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(PollWaiterTest, WatchesDescriptorsUntilTheWatchEnds) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "abc", 3), 3);
  std::unique_ptr<PollWaiter::Watch> watch;
  watch = waiter->watchReadable(ends[0], [&] {
    char c = 0;
    const ssize_t got = ::read(ends[0], &c, 1);
    if (got == 1) {
      log += c;
    } else {
      log += "end";
      watch.reset();
    }
  });
  loop.runUntil([&] { return log == "abc"; });
  EXPECT_EQ(log, "abc");
  ::close(ends[1]);
  runToIdle();
  EXPECT_EQ(log, "abcend");
  EXPECT_EQ(endlessWaits, 1);
  ::close(ends[0]);
}

TEST_F(PollWaiterTest, ADescriptorThatIsClosedIsToldOnce) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto watch = waiter->watchReadable(ends[0], [&] { log += 'x'; });
  ::close(ends[0]);
  ::close(ends[1]);
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(PollWaiterTest, TerminationSignalsBecomeCalls) {
  struct sigaction before {};
  ::sigaction(SIGTERM, nullptr, &before);
  {
    const auto watch =
        watchTermination([&](int signal) { log += signal == SIGTERM ? "term " : "int "; });
    EXPECT_THROW((void)watchTermination([](int) {}), std::logic_error);
    ::raise(SIGTERM);
    ::raise(SIGINT);
    EXPECT_EQ(log, "");
    runToIdle();
    EXPECT_EQ(log, "term int ");
  }
  struct sigaction after {};
  ::sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
  EXPECT_NO_THROW((void)watchTermination([](int) {}));
}

TEST_F(PollWaiterTest, ASecondTerminationSignalDoesWhatItDidBefore) {
  const auto watch = watchTermination([&](int) { log += "asked "; });
  ::raise(SIGTERM);
  struct sigaction after {};
  ::sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, SIG_DFL);
  ::sigaction(SIGINT, nullptr, &after);
  EXPECT_NE(after.sa_handler, SIG_DFL);
  runToIdle();
  EXPECT_EQ(log, "asked ");
}

TEST_F(PollWaiterTest, AnotherSignalIsHeardAgainAndAgainBesideTheTerminationSignals) {
  const auto end = watchTermination([&](int) { log += "end "; });
  const auto watch = watchSignals({{SIGHUP, false}},
                                  [&](int signal) { log += signal == SIGHUP ? "hangup " : "? "; });
  EXPECT_THROW((void)watchSignals({{SIGUSR2, false}, {SIGHUP, false}}, [](int) {}),
               std::logic_error);
  struct sigaction other {};
  ::sigaction(SIGUSR2, nullptr, &other);
  EXPECT_EQ(other.sa_handler, SIG_DFL);
  ::raise(SIGHUP);
  ::raise(SIGHUP);
  ::raise(SIGTERM);
  loop.runUntil([&] { return log.size() == 18; });
  EXPECT_EQ(std::count(log.begin(), log.end(), ' '), 3);
  EXPECT_NE(log.find("end "), std::string::npos);
}

TEST_F(PollWaiterTest, ASignalThatWasIgnoredStaysIgnored) {
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGINT, &ignore, &before);
  const auto watch = watchTermination([&](int) { log += "called"; });
  ::raise(SIGINT);
  runToIdle();
  EXPECT_EQ(log, "");
  ::sigaction(SIGINT, &before, nullptr);
}

TEST_F(PollWaiterTest, ACallbackMayEndItsTerminationWatch) {
  std::unique_ptr<SignalWatch> watch;
  watch = watchTermination([&](int) {
    watch.reset();
    log += "ended";
  });
  ::raise(SIGTERM);
  runToIdle();
  EXPECT_EQ(log, "ended");
}

TEST(PollWaiterThreads, PostWakesASleepingLoopFromAnotherThread) {
  MainLoop loop{std::make_shared<PollWaiter>()};
  int ran = 0;
  std::thread poster([&] {
    for (int i = 0; i < 1000; ++i) {
      loop.post([&] { ++ran; });
    }
    loop.post([&] { loop.quit(); });
  });
  loop.run();
  poster.join();
  EXPECT_EQ(ran, 1000);
}

TEST(PollWaiterThreads, QuitWakesASleepingLoopFromAnotherThread) {
  std::atomic<bool> asleep{false};
  PollCalls system = systemPollCalls();
  const auto realPoll = system.poll;
  system.poll = [&](pollfd* descriptors, nfds_t count, int timeout) {
    asleep = timeout == -1;
    return realPoll(descriptors, count, timeout);
  };
  MainLoop loop{std::make_shared<PollWaiter>(system)};
  std::thread quitter([&] {
    while (!asleep) {
      std::this_thread::yield();
    }
    loop.quit();
  });
  loop.run();
  quitter.join();
  EXPECT_TRUE(asleep);
}

TEST(PollWaiterThreads, TicksByTheRealClock) {
  MainLoop loop{std::make_shared<PollWaiter>()};
  int ticks = 0;
  const auto timer = loop.makeTimer(1ms, [&] { ++ticks; });
  timer->setEnabled(true);
  EXPECT_TRUE(loop.runUntil([&] { return ticks == 3; }));
}

}  // namespace
}  // namespace relaybird
