// SPDX-License-Identifier: MIT
// Starting programs that are left alone. Small shell scripts play the programs and answer through a
// named pipe.
#include "platform/posix/posix_processes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/posix/descriptor.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

constexpr int kPatience = 60'000;  // milliseconds; a started program answers at once

// Runs small scripts that answer through a named pipe.
class ProgramStarter : public testing::Test {
 protected:
  ProgramStarter() {
    EXPECT_EQ(::mkfifo(pipePath_.c_str(), 0600), 0);
    answers_ = Descriptor(::open(pipePath_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_TRUE(answers_);
  }

  // The output of the script, with its first argument as "$1".
  std::string answerTo(const std::string& script, const std::string& argument = "") {
    const Result<void> started = startProgram(
        "/bin/sh", {"-c", "exec 9>" + pipePath_ + "; (" + script + ") >&9", "sh", argument});
    EXPECT_TRUE(started) << started.error().text;
    return started ? readAll() : std::string();
  }

  Result<void> start(const std::string& program) { return startProgram(program, {}); }

  std::string readAll() {
    std::string all;
    pollfd wait{answers_.get(), POLLIN, 0};
    while (::poll(&wait, 1, kPatience) == 1) {
      char part[512];
      const ssize_t got = ::read(answers_.get(), part, sizeof part);
      if (got <= 0) {
        return all;
      }
      all.append(part, static_cast<std::size_t>(got));
    }
    ADD_FAILURE() << "the program does not answer";
    return all;
  }

  TempFolder temp_;
  std::string pipePath_ = temp_.path("answers");
  Descriptor answers_;
};

TEST_F(ProgramStarter, AProgramGetsItsArgumentsAsTheyAre) {
  EXPECT_EQ(answerTo("printf %s \"$1\"", "a 'b' $HOME\n*"), "a 'b' $HOME\n*");
}

TEST_F(ProgramStarter, StandardInputAndOutputGoNowhere) {
  EXPECT_EQ(answerTo("readlink /proc/$$/fd/0; readlink /proc/$$/fd/1; readlink /proc/$$/fd/2"),
            "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(ProgramStarter, AProgramHasASessionOfItsOwn) {
  // The sixth field of the line in /proc; the name of the process has no blank.
  const std::string session = answerTo("set -- $(cat /proc/$$/stat); printf %s \"$6\"");
  EXPECT_GT(std::atoi(session.c_str()), 0);
  EXPECT_NE(std::atoi(session.c_str()), ::getsid(0));
}

TEST_F(ProgramStarter, NoChildIsLeftForThisProcessToWaitFor) {
  EXPECT_EQ(answerTo("echo done"), "done\n");
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProgramStarter, AProgramStartsWithoutThisOnesBlockedSignals) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(answerTo("grep SigBlk /proc/$$/status"), "SigBlk:\t0000000000000000\n");
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(ProgramStarter, AnOpenFileOfThisProcessIsNotHandedOn) {
  const Descriptor careless(::open(temp_.path().c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_TRUE(careless);
  EXPECT_EQ(answerTo("ls -l /proc/$$/fd").find(temp_.path() + "\n"), std::string::npos);
}

TEST_F(ProgramStarter, AMissingProgramIsAnError) {
  const Result<void> started = start(temp_.path("none"));
  ASSERT_FALSE(started);
  EXPECT_EQ(started.error().code, ENOENT);
  EXPECT_NE(started.error().text.find(temp_.path("none")), std::string::npos);
}

TEST_F(ProgramStarter, AFileThatIsNoProgramIsAnError) {
  writeBytes(temp_.path("text"), "words");
  const Result<void> started = start(temp_.path("text"));
  ASSERT_FALSE(started);
  EXPECT_EQ(started.error().code, EACCES);
}

TEST_F(ProgramStarter, ANameOrAnArgumentThatHoldsANulIsAnError) {
  EXPECT_EQ(start(std::string("/bin/sh\0x", 9)).error().code, EINVAL);
  EXPECT_EQ(startProgram("/bin/sh", {std::string("a\0b", 3)}).error().code, EINVAL);
  EXPECT_EQ(start("").error().code, ENOENT);
}

}  // namespace
}  // namespace relaybird
