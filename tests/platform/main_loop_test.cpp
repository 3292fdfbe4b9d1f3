// SPDX-License-Identifier: MIT
// Time is virtual: a poll that would wait moves the clock instead, and one that would wait forever
// is counted and ends the loop.
#include "platform/posix/main_loop.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <optional>
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
  SignalWatch(MainLoop& loop, const std::vector<WatchedSignal>& signals,
              std::function<void(int)> onSignal)
      : signals_(signals),
        watch_(loop.watchReadable(signals_.descriptor(), [this, onSignal = std::move(onSignal)] {
          // The callback may end this watch, so nothing of it is touched afterwards.
          if (const int signal = signals_.take()) {
            onSignal(signal);
          }
        })) {}

 private:
  WatchedSignals signals_;
  std::unique_ptr<MainLoop::Watch> watch_;
};

class MainLoopTest : public testing::Test {
 protected:
  std::unique_ptr<SignalWatch> watchSignals(const std::vector<WatchedSignal>& signals,
                                            std::function<void(int)> onSignal) {
    return std::make_unique<SignalWatch>(*loop, signals, std::move(onSignal));
  }
  std::unique_ptr<SignalWatch> watchTermination(std::function<void(int)> onSignal) {
    return watchSignals({{SIGTERM, true}, {SIGINT, true}}, std::move(onSignal));
  }
  MainLoopSystem virtualSystem() {
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
                loop->quit();
              }
              return 0;
            }};
  }
  // Runs until the loop would wait forever.
  void runToIdle() { loop->run(); }
  std::unique_ptr<Timer> ticking(milliseconds interval, const std::string& name) {
    auto timer = loop->makeTimer(interval,
                                 [this, name] { log += name + std::to_string(now.count()) + ' '; });
    timer->setEnabled(true);
    return timer;
  }

  milliseconds now{0};
  std::vector<int> timeouts;
  int endlessWaits = 0;
  std::string log;
  std::optional<MainLoop> loop{std::in_place, virtualSystem()};
};

TEST_F(MainLoopTest, RunsEventsInTheOrderOfPostingAndNeverInsidePost) {
  loop->post([&] {
    log += 'a';
    loop->post([&] { log += 'c'; });
    log += 'A';
  });
  loop->post([&] { log += 'b'; });
  EXPECT_EQ(log, "");
  runToIdle();
  EXPECT_EQ(log, "aAbc");
}

TEST_F(MainLoopTest, SleepsWithoutEndWhileNothingIsToBeDone) {
  const auto timer = loop->makeTimer(10ms, [&] { log += 't'; });  // made, not enabled
  runToIdle();
  EXPECT_EQ(timeouts, std::vector{-1});
  EXPECT_EQ(log, "");
}

TEST_F(MainLoopTest, SleepsUntilTheNextTickAndNotLess) {
  const auto slow = ticking(60000ms, "m");
  const auto fast = ticking(25000ms, "s");
  loop->runUntil([&] { return now >= 60000ms && log.find('m') != std::string::npos; });
  EXPECT_EQ(log, "s25000 s50000 m60000 ");
  EXPECT_EQ(timeouts, (std::vector{25000, 25000, 10000}));
}

TEST_F(MainLoopTest, TimersDueTogetherTickInTheOrderOfEnabling) {
  const auto late = loop->makeTimer(10ms, [&] { log += 'l'; });
  const auto early = loop->makeTimer(10ms, [&] { log += 'e'; });
  early->setEnabled(true);
  late->setEnabled(true);
  loop->runUntil([&] { return log.size() >= 4; });
  EXPECT_EQ(log, "elel");
}

TEST_F(MainLoopTest, OfMissedTicksOneComesLate) {
  const auto busy = loop->makeTimer(100ms, [&] {
    log += std::to_string(now.count()) + ' ';
    if (now == 100ms) {
      now += 450ms;
    }
  });
  busy->setEnabled(true);
  loop->runUntil([&] { return now > 700ms; });
  // One tick for those from 200 to 500, as soon as there is time for it.
  EXPECT_EQ(log, "100 550 600 700 ");
}

TEST_F(MainLoopTest, AnIntervalCountsFromWhenItIsSetOrEnabled) {
  const auto timer = ticking(100ms, "t");
  now += 60ms;
  timer->setEnabled(true);  // already enabled: no change
  loop->runUntil([&] { return !log.empty(); });
  EXPECT_EQ(log, "t100 ");
  timer->setInterval(30ms);
  loop->runUntil([&] { return now > 160ms; });
  EXPECT_EQ(log, "t100 t130 t160 ");
}

TEST_F(MainLoopTest, ATickMayDestroyItselfAndOthers) {
  auto victim = ticking(10ms, "v");
  std::unique_ptr<Timer> self = loop->makeTimer(5ms, [&] {
    victim.reset();
    self.reset();
    log += 'x';
  });
  self->setEnabled(true);
  runToIdle();
  EXPECT_EQ(log, "x");
  EXPECT_EQ(endlessWaits, 1);
}

TEST_F(MainLoopTest, AnIntervalOfNothingNeverTicks) {
  const auto timer = ticking(0ms, "t");
  runToIdle();
  EXPECT_EQ(log, "");
  EXPECT_EQ(timeouts, std::vector{-1});
}

TEST_F(MainLoopTest, EventsThatPostThemselvesKeepNobodyOut) {
  const auto timer = ticking(10ms, "t");
  std::function<void()> again = [&] {
    now += 1ms;
    loop->post(again);
  };
  loop->post(again);
  loop->runUntil([&] { return now >= 25ms; });
  EXPECT_EQ(log, "t10 t20 ");
}

TEST_F(MainLoopTest, RunUntilAsksFirstAndAfterEveryEvent) {
  EXPECT_TRUE(loop->runUntil([] { return true; }));
  EXPECT_TRUE(timeouts.empty());
  int ran = 0;
  for (int i = 0; i < 5; ++i) {
    loop->post([&] { ++ran; });
  }
  EXPECT_TRUE(loop->runUntil([&] { return ran == 2; }));
  EXPECT_EQ(ran, 2);
  EXPECT_FALSE(loop->runUntil([] { return false; }));  // ends by the quit of the endless wait
  EXPECT_EQ(ran, 5);
}

TEST_F(MainLoopTest, AnEventMayRunTheLoopInside) {
  loop->post([&] {
    log += '(';
    EXPECT_TRUE(loop->runUntil([&] { return log.find('b') != std::string::npos; }));
    log += ')';
  });
  loop->post([&] { log += 'a'; });
  loop->post([&] { log += 'b'; });
  loop->post([&] { log += 'c'; });
  runToIdle();
  EXPECT_EQ(log, "(ab)c");
}

TEST_F(MainLoopTest, ProcessPendingRunsWhatIsDueWithoutWaiting) {
  const auto timer = ticking(10ms, "t");
  loop->post([&] { loop->post([&] { log += "later "; }); });
  now = 10ms;
  loop->processPending();
  EXPECT_EQ(log, "t10 ");
  loop->processPending();
  EXPECT_EQ(log, "t10 later ");
  EXPECT_EQ(timeouts, (std::vector{0, 0}));
}

TEST_F(MainLoopTest, QuitEndsAllLoopsThatRunAndNoLaterOne) {
  loop->post([&] {
    EXPECT_FALSE(loop->runUntil([] { return false; }));
    log += "inner ";
  });
  loop->post([&] { loop->quit(); });
  loop->post([&] { log += "later "; });
  loop->run();
  EXPECT_EQ(log, "inner ");
  runToIdle();
  EXPECT_EQ(log, "inner later ");
}

TEST_F(MainLoopTest, QuitBeforeRunEndsItAtOnce) {
  loop->post([&] { log += 'x'; });
  loop->quit();
  loop->run();
  EXPECT_EQ(log, "");
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(MainLoopTest, AnEventThatThrowsLeavesTheLoopUsable) {
  loop->post([] { throw std::runtime_error("from an event"); });
  loop->post([&] { log += 'x'; });
  EXPECT_THROW(loop->run(), std::runtime_error);
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(MainLoopTest, TimersMayOutliveTheLoop) {
  auto timer = ticking(10ms, "t");
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto watch = loop->watchReadable(ends[0], [] {});
  loop->post([&] { log += "dropped"; });
  loop.reset();
  timer->setInterval(5ms);
  timer->setEnabled(false);
  timer->setEnabled(true);
  timer.reset();
  watch.reset();
  EXPECT_EQ(log, "");
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(MainLoopTest, WatchesDescriptorsUntilTheWatchEnds) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "abc", 3), 3);
  std::unique_ptr<MainLoop::Watch> watch;
  watch = loop->watchReadable(ends[0], [&] {
    char c = 0;
    const ssize_t got = ::read(ends[0], &c, 1);
    if (got == 1) {
      log += c;
    } else {
      log += "end";
      watch.reset();
    }
  });
  loop->runUntil([&] { return log == "abc"; });
  EXPECT_EQ(log, "abc");
  ::close(ends[1]);
  runToIdle();
  EXPECT_EQ(log, "abcend");
  EXPECT_EQ(endlessWaits, 1);
  ::close(ends[0]);
}

TEST_F(MainLoopTest, ADescriptorThatIsClosedIsToldOnce) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto watch = loop->watchReadable(ends[0], [&] { log += 'x'; });
  ::close(ends[0]);
  ::close(ends[1]);
  runToIdle();
  EXPECT_EQ(log, "x");
}

TEST_F(MainLoopTest, TerminationSignalsBecomeCalls) {
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

TEST_F(MainLoopTest, ASecondTerminationSignalDoesWhatItDidBefore) {
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

TEST_F(MainLoopTest, AnotherSignalIsHeardAgainAndAgainBesideTheTerminationSignals) {
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
  loop->runUntil([&] { return log.size() == 18; });
  EXPECT_EQ(std::count(log.begin(), log.end(), ' '), 3);
  EXPECT_NE(log.find("end "), std::string::npos);
}

TEST_F(MainLoopTest, ASignalThatWasIgnoredStaysIgnored) {
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

TEST_F(MainLoopTest, ACallbackMayEndItsTerminationWatch) {
  std::unique_ptr<SignalWatch> watch;
  watch = watchTermination([&](int) {
    watch.reset();
    log += "ended";
  });
  ::raise(SIGTERM);
  runToIdle();
  EXPECT_EQ(log, "ended");
}

TEST(MainLoopThreads, PostWakesASleepingLoopFromAnotherThread) {
  MainLoop loop;
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

TEST(MainLoopThreads, QuitWakesASleepingLoopFromAnotherThread) {
  std::atomic<bool> asleep{false};
  MainLoopSystem system = posixMainLoopSystem();
  const auto realPoll = system.poll;
  system.poll = [&](pollfd* descriptors, nfds_t count, int timeout) {
    asleep = timeout == -1;
    return realPoll(descriptors, count, timeout);
  };
  MainLoop loop(system);
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

TEST(MainLoopThreads, TicksByTheRealClock) {
  MainLoop loop;
  int ticks = 0;
  const auto timer = loop.makeTimer(1ms, [&] { ++ticks; });
  timer->setEnabled(true);
  EXPECT_TRUE(loop.runUntil([&] { return ticks == 3; }));
}

}  // namespace
}  // namespace relaybird
