// SPDX-License-Identifier: MIT
// Commands that are fed, listened to and waited for: input, output, exit, time limits and
// cancelling. The commands are small shell scripts; the limits count on a clock that the test
// moves.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/posix/descriptor.h"
#include "platform/posix/posix_processes.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using End = CommandResult::End;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::SizeIs;

constexpr milliseconds kLong = std::chrono::hours{1};

// A killed process is a zombie until it is reaped. That may happen between any two calls here, also
// between opening its file and reading it.
bool isDead(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  return !std::getline(status, line) || line.find(") Z ") != line.npos;
}

class CommandRunnerTest : public testing::Test {
 protected:
  std::string script(const std::string& text) {
    const std::string path = temp.path("command");
    writeBytes(path, "#!/bin/sh\n" + text + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  CommandResult run(const std::string& text, std::string_view input = {}) {
    return runner.run({script(text)}, wholeInput(input), kLong, {});
  }

  TempFolder temp;
  milliseconds now{0};
  PosixCommandRunner runner{[this] { return now; }};
};

TEST_F(CommandRunnerTest, FeedsTheInputAndPassesTheArgumentsUntouched) {
  const std::string out = temp.path("out");
  const auto result = runner.run(
      {script("printf '%s|' \"$@\" > " + out + "; cat >> " + out), "a b", "$(x)", "", "*"},
      wholeInput("input\n.\n"), kLong, {});
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(readBytes(out), "a b|$(x)||*|input\n.\n");
}

TEST_F(CommandRunnerTest, GivesTheExitStatusAndTheBeginningOfBothOutputs) {
  const auto result = run("echo one; echo two >&2; exit 65");
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.code, 65);
  EXPECT_EQ(result.output, "one\ntwo\n");
}

TEST_F(CommandRunnerTest, MuchOutputIsReadAndTheRestDropped) {
  const auto result = run("yes | head -c 1000000; exit 3");
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.output, SizeIs(kOutputLimit));
}

TEST_F(CommandRunnerTest, MuchInputPassesWhileTheCommandAnswers) {
  const std::string input(3'000'000, 'x');
  const auto result = run("tee /dev/stderr | wc -c", input);
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.output.substr(0, 4), "xxxx");
  const auto counted = run("wc -c", input);
  EXPECT_THAT(counted.output, HasSubstr("3000000"));
}

TEST_F(CommandRunnerTest, TheInputIsWholeAlsoWhenTheProgramIsKilledBeforeItIsRead) {
  const std::string input(1'000'000, 'x');
  const std::string command =
      script("touch " + temp.path("ready") + "; while test ! -e " + temp.path("go") +
             "; do :; done; cat > " + temp.path("taking") + "; mv " + temp.path("taking") + " " +
             temp.path("taken"));
  const pid_t program = ::fork();
  if (program == 0) {
    (void)runner.run({command}, wholeInput(input), kLong, {});
    ::_exit(0);
  }
  while (!std::filesystem::exists(temp.path("ready"))) {
    std::this_thread::yield();
  }
  ::kill(program, SIGKILL);
  ::waitpid(program, nullptr, 0);
  writeBytes(temp.path("go"), "");
  while (!std::filesystem::exists(temp.path("taken"))) {
    std::this_thread::yield();
  }
  EXPECT_EQ(readBytes(temp.path("taken")).size(), input.size());
}

// The flags that the stand-in for memfd_create was called with.
std::vector<unsigned> askedFor;

// With vm.memfd_noexec = 2 every delivery failed: the file was not marked as not executable.
TEST(MemoryInput, IsNeverOneThatCouldBeExecuted) {
  askedFor.clear();
  const auto file = makeInput(wholeInput("text"), [](const char*, unsigned flags) {
    askedFor.push_back(flags);
    errno = EACCES;
    return -1;
  });
  ASSERT_FALSE(file);
  EXPECT_EQ(file.error().code, EACCES);
  ASSERT_THAT(askedFor, SizeIs(1)) << "a refusal is not an older kernel";
  EXPECT_NE(askedFor[0] & 0x8U, 0U);
}

TEST(MemoryInput, IsMadeWithoutThatFlagWhereTheKernelDoesNotKnowIt) {
  askedFor.clear();
  const auto file = makeInput(wholeInput("text"), [](const char* name, unsigned flags) {
    askedFor.push_back(flags);
    errno = EINVAL;
    return (flags & 0x8U) != 0 ? -1 : memfd_create(name, flags);
  });
  ASSERT_TRUE(file) << file.error().text;
  EXPECT_THAT(askedFor, SizeIs(2));
  char text[8] = {};
  EXPECT_EQ(read(file->get(), text, sizeof text), 4);
  EXPECT_EQ(fcntl(file->get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_LT(write(file->get(), "x", 1), 0) << "it is sealed";
}

TEST_F(CommandRunnerTest, ACommandThatDoesNotReadDoesNotEndTheProgram) {
  const auto result = run("exec <&-; exit 75", std::string(1'000'000, 'x'));
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.code, 75);
}

TEST_F(CommandRunnerTest, ACommandThatClosesItsOutputEarlyIsWaitedFor) {
  const auto result = run("exec >&- 2>&-; cat >/dev/null; exit 7", "x");
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.code, 7);
}

TEST_F(CommandRunnerTest, AProcessLeftInTheBackgroundIsNotWaitedFor) {
  const auto result = run("echo started; sleep 1000 & echo $! > " + temp.path("child"));
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.output, "started\n");
  EXPECT_EQ(::kill(std::stoi(readBytes(temp.path("child"))), SIGKILL), 0);
}

TEST_F(CommandRunnerTest, TellsWhenTheCommandWasKilled) {
  const auto result = run("kill -TERM $$");
  EXPECT_EQ(result.end, End::kKilled);
  EXPECT_EQ(result.code, SIGTERM);
}

TEST_F(CommandRunnerTest, AMissingCommandAndOneThatIsNoProgramAreNotStarted) {
  const auto missing = runner.run({temp.path("nothing")}, wholeInput("x"), kLong, {});
  EXPECT_EQ(missing.end, End::kNotStarted);
  EXPECT_EQ(missing.code, ENOENT);
  const auto folder = runner.run({temp.path()}, wholeInput("x"), kLong, {});
  EXPECT_EQ(folder.end, End::kNotStarted);
  EXPECT_EQ(folder.code, EACCES);
}

TEST_F(CommandRunnerTest, ACommandWhoseInputFailsIsNotStarted) {
  int given = 0;
  const auto halfOfIt = [&]() -> Result<std::string_view> {
    return ++given == 1 ? Result<std::string_view>("half")
                        : Result<std::string_view>(Error{EIO, "the disk is gone"});
  };
  const auto result = runner.run({script("touch " + temp.path("started"))}, halfOfIt, kLong, {});
  EXPECT_EQ(result.end, End::kNoInput);
  EXPECT_EQ(result.code, EIO);
  EXPECT_EQ(result.output, "the disk is gone");
  EXPECT_FALSE(std::filesystem::exists(temp.path("started")));
}

TEST_F(CommandRunnerTest, OneThatHangsIsEndedWithItsChildrenWhenTheTimeHasPassed) {
  PosixCommandRunner hasty([this] {
    // Time passes once the command has printed the processes that have to end.
    if (std::filesystem::exists(temp.path("ready"))) {
      now += kLong;
    }
    return now;
  });
  const auto result = hasty.run({script("sleep 1000 & echo $! > " + temp.path("child") +
                                        "; echo waiting; touch " + temp.path("ready") + "; wait")},
                                wholeInput("x"), kLong, {});
  EXPECT_EQ(result.end, End::kTimedOut);
  const pid_t child = std::stoi(readBytes(temp.path("child")));
  while (!isDead(child)) {
    std::this_thread::yield();
  }
}

TEST_F(CommandRunnerTest, AStopEndsACommandThatHasNotAllItsInputAtOnce) {
  std::stop_source stop;
  PosixCommandRunner stopping([&] {
    if (std::filesystem::exists(temp.path("ready"))) {
      stop.request_stop();
    }
    return now;
  });
  const auto result =
      stopping.run({script("touch " + temp.path("ready") + "; sleep 1000")},
                   wholeInput(std::string(1'000'000, 'x')), kLong, stop.get_token());
  EXPECT_EQ(result.end, End::kCancelled);
}

TEST_F(CommandRunnerTest, AStopFromAnotherThreadWakesTheRunner) {
  std::stop_source stop;
  std::jthread other([&] {
    while (!std::filesystem::exists(temp.path("ready"))) {
      std::this_thread::yield();
    }
    stop.request_stop();
  });
  const auto result = runner.run({script("touch " + temp.path("ready") + "; sleep 1000")},
                                 wholeInput(std::string(1'000'000, 'x')), kLong, stop.get_token());
  EXPECT_EQ(result.end, End::kCancelled);
}

TEST_F(CommandRunnerTest, ACommandWithAllItsInputMayFinishAfterAStop) {
  std::stop_source stop;
  PosixCommandRunner stopping([&] {
    if (std::filesystem::exists(temp.path("ready"))) {
      if (!stop.stop_requested()) {
        stop.request_stop();
        writeBytes(temp.path("go"), "");
      }
    }
    return now;
  });
  const auto result =
      stopping.run({script("cat >/dev/null; touch " + temp.path("ready") + "; while test ! -e " +
                           temp.path("go") + "; do :; done; exit 0")},
                   wholeInput("short"), kLong, stop.get_token());
  EXPECT_EQ(result.end, End::kExited);
  EXPECT_EQ(result.code, 0);
}

TEST_F(CommandRunnerTest, ButNotForEver) {
  std::stop_source stop;
  PosixCommandRunner stopping([&] {
    if (stop.stop_requested()) {
      now += kStopPatience;
    }
    if (std::filesystem::exists(temp.path("ready"))) {
      stop.request_stop();
    }
    return now;
  });
  const auto result =
      stopping.run({script("cat >/dev/null; touch " + temp.path("ready") + "; sleep 1000")},
                   wholeInput("short"), kLong, stop.get_token());
  EXPECT_EQ(result.end, End::kCancelled);
}

TEST_F(CommandRunnerTest, ASecretIsItsOutputAloneAndTheErrorsAreKeptApart) {
  const auto result =
      runner.runForSecret({script("echo warning >&2; echo sesame; cat")}, kLong, {});
  EXPECT_EQ(result.command.end, End::kExited);
  EXPECT_EQ(result.command.code, 0);
  EXPECT_EQ(result.secret.bytes(), "sesame\n");
  EXPECT_EQ(result.command.output, "warning\n");
}

TEST_F(CommandRunnerTest, MuchSecretOutputIsReadAndTheRestDropped) {
  const auto result = runner.runForSecret(
      {script("yes | head -c 1000000; yes no | head -c 1000000 >&2; exit 3")}, kLong, {});
  EXPECT_EQ(result.command.code, 3);
  EXPECT_THAT(result.secret.bytes(), SizeIs(kSecretOutputLimit));
  EXPECT_THAT(result.command.output, SizeIs(kOutputLimit));
}

TEST_F(CommandRunnerTest, ASecretCommandThatClosesItsOutputEarlyIsWaitedFor) {
  const auto result =
      runner.runForSecret({script("echo sesame; exec >&- 2>&-; sleep 0.02; exit 7")}, kLong, {});
  EXPECT_EQ(result.command.code, 7);
  EXPECT_EQ(result.secret.bytes(), "sesame\n");
}

TEST_F(CommandRunnerTest, AStopEndsASecretCommandAtOnce) {
  std::stop_source stop;
  stop.request_stop();
  const auto result = runner.runForSecret({script("sleep 1000")}, kLong, stop.get_token());
  EXPECT_EQ(result.command.end, End::kCancelled);
}

TEST_F(CommandRunnerTest, ASecretCommandThatIsMissingIsNotStarted) {
  const auto result = runner.runForSecret({temp.path("missing")}, kLong, {});
  EXPECT_EQ(result.command.end, End::kNotStarted);
  EXPECT_EQ(result.command.code, ENOENT);
}

TEST_F(CommandRunnerTest, TheCommandInheritsNoOpenFilesAndNoBlockedSignals) {
  const int open = ::open("/dev/null", O_RDONLY);  // without O_CLOEXEC, as some library might
  ASSERT_GT(open, 2);
  const int high = ::fcntl(open, F_DUPFD, 77);
  const auto result = run("test -e /proc/self/fd/" + std::to_string(high) +
                          " && exit 1; exec grep SigBlk /proc/self/status");
  ::close(open);
  ::close(high);
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.output, HasSubstr("SigBlk:\t0000000000000000"));
}

TEST_F(CommandRunnerTest, LeavesNoDescriptorsAndNoZombiesBehind) {
  const auto count = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  const auto before = count();
  for (int number = 0; number < 20; ++number) {
    (void)run("cat", "x");
  }
  (void)runner.run({temp.path("nothing")}, wholeInput("x"), kLong, {});
  EXPECT_EQ(count(), before);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
}  // namespace relaybird
