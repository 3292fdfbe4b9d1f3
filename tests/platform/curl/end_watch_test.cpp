// SPDX-License-Identifier: MIT
#include "platform/curl/end_watch.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace relaybird {
namespace {

// Two connected sockets of this machine.
class EndWatchTest : public testing::Test {
 protected:
  EndWatchTest() {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(listener, any, size), 0);
    EXPECT_EQ(::listen(listener, 1), 0);
    EXPECT_EQ(::getsockname(listener, any, &size), 0);
    ours_ = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::connect(ours_, any, size), 0);
    theirs_ = ::accept(listener, nullptr, nullptr);
    ::close(listener);
  }
  ~EndWatchTest() override {
    ::close(ours_);
    closeTheirs();
  }
  void closeTheirs() {
    if (theirs_ >= 0) {
      ::close(theirs_);
    }
    theirs_ = -1;
  }
  static bool tells(const EndWatch& watch, int milliseconds = 20'000) {
    pollfd waited{watch.descriptor().value_or(-1), POLLIN, 0};
    return ::poll(&waited, 1, milliseconds) == 1;
  }

  int ours_ = -1;
  int theirs_ = -1;
};

TEST_F(EndWatchTest, DoesNotTellOfData) {
  const EndWatch watch(ours_);
  ASSERT_TRUE(watch.descriptor());
  ASSERT_EQ(::send(theirs_, "data", 4, 0), 4);
  pollfd input{ours_, POLLIN, 0};
  ASSERT_EQ(::poll(&input, 1, 20'000), 1);
  EXPECT_FALSE(tells(watch, 0));
}

TEST_F(EndWatchTest, TellsOfTheEndBehindDataThatNobodyHasRead) {
  const EndWatch watch(ours_);
  ASSERT_EQ(::send(theirs_, "data", 4, 0), 4);
  closeTheirs();
  EXPECT_TRUE(tells(watch));
}

TEST_F(EndWatchTest, TellsOfAConnectionThatIsReset) {
  const EndWatch watch(ours_);
  const linger atOnce{1, 0};
  ASSERT_EQ(::setsockopt(theirs_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), 0);
  closeTheirs();
  EXPECT_TRUE(tells(watch));
}

TEST_F(EndWatchTest, TellsOfAnEndThatCameBefore) {
  closeTheirs();
  pollfd input{ours_, POLLIN, 0};
  ASSERT_EQ(::poll(&input, 1, 20'000), 1);
  const EndWatch watch(ours_);
  EXPECT_TRUE(tells(watch, 0));
}

TEST_F(EndWatchTest, HasNoDescriptorForWhatIsNoSocket) {
  EXPECT_FALSE(EndWatch(-1).descriptor());
}

}  // namespace
}  // namespace relaybird
