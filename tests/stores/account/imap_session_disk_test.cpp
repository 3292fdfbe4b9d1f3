// SPDX-License-Identifier: MIT
// What a session has on the disk: what recognises messages, and large messages on their way to
// their reader. A slow disk holds up nobody but the session's own thread.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <future>

#include "stores/account/imap_session_fixture.h"
#include "support/faulty_file_system.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class SessionDiskTest : public ImapSessionFixture {};

// A program that is killed says no goodbye.
TEST_F(SessionDiskTest, WhatRecognisesMessagesIsOnDiskWithinAMinute) {
  refresh();
  subject(4);
  const std::string file = folder_.path("spool/messages");
  const auto begin = network_.steadyTime();
  EXPECT_TRUE(runUntil([&] {
    return std::filesystem::exists(file) && readBytes(file).find("\n4 ") != std::string::npos;
  }));
  // Nothing else happens in this time: the session has to wake for this alone.
  EXPECT_LE(network_.steadyTime() - begin, kSaveInterval);
}

TEST_F(SessionDiskTest, WhatRecognisesMessagesIsWrittenOnceAMinuteHoweverManyAreRead) {
  FaultyFileSystem disk(files_);
  const ImapSessionWorld with = world();
  session_ = std::make_unique<ImapSession>(ImapSessionWorld{with.network,
                                                            with.server,
                                                            with.folder,
                                                            with.version,
                                                            with.signIn,
                                                            with.random,
                                                            disk,
                                                            with.folderOnDisk,
                                                            {},
                                                            [] {},
                                                            with.complain});
  refresh();
  for (std::uint32_t uid = 1; uid <= 5; ++uid) {
    EXPECT_EQ(subject(uid), "m" + std::to_string(uid));
  }
  const auto renames = [&] {
    return std::count_if(disk.record().begin(), disk.record().end(),
                         [](const std::string& step) { return step.starts_with("rename "); });
  };
  EXPECT_LE(renames(), 1);
  const auto before = renames();
  runUntil([] { return false; }, 10 * kSaveInterval);
  EXPECT_EQ(renames(), before + 1) << "nothing new was written";
}

TEST_F(SessionDiskTest, WhatAKilledProgramHadFetchedIsRemoved) {
  std::filesystem::create_directory(folder_.path("spool"));
  writeBytes(folder_.path("spool/fetched-1"), "text");
  writeBytes(folder_.path("spool/other"), "text");
  refresh();
  EXPECT_FALSE(std::filesystem::exists(folder_.path("spool/fetched-1")));
  EXPECT_TRUE(std::filesystem::exists(folder_.path("spool/other")));
}

// The window stood still for as long as a slow disk took.
class SlowDiskTest : public ImapSessionFixture {
 protected:
  SlowDiskTest() {
    disk_.refused = [this](const std::string& step) {
      steps_.push_back(step);
      others_.push_back(std::async(std::launch::async, [this] { (void)session_->status(); }));
      // The limit is only reached where the session keeps its lock.
      EXPECT_EQ(others_.back().wait_for(2s), std::future_status::ready) << step;
      return false;
    };
    const ImapSessionWorld with = world();
    session_ = std::make_unique<ImapSession>(ImapSessionWorld{with.network,
                                                              with.server,
                                                              with.folder,
                                                              with.version,
                                                              with.signIn,
                                                              with.random,
                                                              disk_,
                                                              with.folderOnDisk,
                                                              {},
                                                              [] {},
                                                              with.complain});
    session_->watch(true);
  }
  std::ptrdiff_t count(std::string_view beginning) const {
    return std::count_if(steps_.begin(), steps_.end(), [beginning](const std::string& step) {
      return step.starts_with(beginning);
    });
  }

  FaultyFileSystem disk_{files_};
  std::vector<std::string> steps_;
  std::vector<std::future<void>> others_;
};

// The same for each megabyte of a large message.
TEST_F(SlowDiskTest, NobodyWaitsForItWhereALargeMessageIsWritten) {
  const std::string large = simpleMail("large") + std::string(5 * kPieceBytes, 'x');
  account_.add(9, large);
  refresh();
  EXPECT_EQ(subject(9), "large");
  EXPECT_TRUE(body(9) == large);
  EXPECT_GE(count("write " + folder_.path("spool/fetched-")), 3);
  EXPECT_EQ(count("open " + folder_.path("spool/fetched-")), 1);
  EXPECT_EQ(count("remove " + folder_.path("spool/fetched-")), 1);
}

TEST_F(SlowDiskTest, NobodyWaitsForItWhereALargeMessageIsGivenUp) {
  account_.add(9, simpleMail("large") + std::string(9 * kPieceBytes, 'x'));
  refresh();
  subject(9);
  session_->work([](ImapWork& work) { work.wantBody(9); });
  EXPECT_TRUE(runUntil([&] { return count("write " + folder_.path("spool/fetched-")) > 2; }));
  session_->work([](ImapWork& work) {
    work.leaveBody(9);
    work.leaveBody(8);  // only the last one is kept
  });
  EXPECT_TRUE(runUntil([&] { return count("remove " + folder_.path("spool/fetched-")) > 0; }, 1s));
  EXPECT_FALSE(std::filesystem::exists(folder_.path("spool/fetched-1")));
}

TEST_F(SlowDiskTest, NobodyWaitsForItWhereMessagesAreRemembered) {
  refresh();
  const auto opening = steps_.size();
  EXPECT_GE(opening, 2U) << "the spool was not cleared, or nothing was read";
  subject(4);
  runUntil([] { return false; }, 2 * kSaveInterval);
  EXPECT_GT(steps_.size(), opening) << "nothing was saved";
  const auto saved = steps_.size();
  account_.uidValidity = 8;
  network_.end(0).close();
  EXPECT_TRUE(runUntil([&] { return steps_.size() > saved; }));
}

}  // namespace
}  // namespace relaybird
