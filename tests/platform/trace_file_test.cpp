// SPDX-License-Identifier: MIT
#include "platform/system/trace_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/system_files.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

class TraceFileTest : public testing::Test {
 protected:
  void switchOn() { writeBytes(temp.path("db"), ""); }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  SystemFiles disk{sleeper};
  FaultyFileSystem files{disk};
  TempFolder temp;
  TraceFile trace{files, clock, temp.path("rbxdb.txt"), temp.path("db")};
};

TEST_F(TraceFileTest, WithoutTheMarkerNoTraceFileIsMade) {
  trace.trace("unseen");
  EXPECT_FALSE(trace.switchedOn());
  EXPECT_EQ(files.steps(), 0u);
  EXPECT_TRUE(std::filesystem::is_empty(temp.path()));
}

TEST_F(TraceFileTest, AppendsALinePerCallAndClosesTheFileEachTime) {
  switchOn();
  trace.trace("ForwardMail_pre");
  EXPECT_EQ(readBytes(temp.path("rbxdb.txt")), "2026-11-20 15:04:05----->ForwardMail_pre\n");
  clock.advance(std::chrono::seconds(1));
  trace.trace("");
  EXPECT_EQ(readBytes(temp.path("rbxdb.txt")),
            "2026-11-20 15:04:05----->ForwardMail_pre\n2026-11-20 15:04:06----->\n");
  const std::string file = temp.path("rbxdb.txt");
  EXPECT_EQ(files.record(),
            (std::vector<std::string>{"append " + file, "write " + file + " 41", "close " + file,
                                      "append " + file, "write " + file + " 26", "close " + file}));
}

TEST_F(TraceFileTest, TheSwitchIsLookedUpAtEveryCall) {
  switchOn();
  trace.trace("one");
  std::filesystem::remove(temp.path("db"));
  trace.trace("two");
  switchOn();
  trace.trace("three");
  EXPECT_EQ(readBytes(temp.path("rbxdb.txt")),
            "2026-11-20 15:04:05----->one\n2026-11-20 15:04:05----->three\n");
}

TEST_F(TraceFileTest, AFolderIsNoMarker) {
  std::filesystem::create_directory(temp.path("db"));
  EXPECT_FALSE(trace.switchedOn());
}

TEST_F(TraceFileTest, NoTextStartsALineOfItsOwn) {
  switchOn();
  trace.trace("a\r\nb\nc\rd");
  EXPECT_EQ(readBytes(temp.path("rbxdb.txt")), "2026-11-20 15:04:05----->a  b c d\n");
}

TEST_F(TraceFileTest, ALineHasTheEncodingAndTheEndThatTheSystemWants) {
  switchOn();
  const PlainTextForm form{"\r\n", [](const std::string& text) {
                             std::string all = text;
                             std::replace(all.begin(), all.end(), 'a', 'A');
                             return all;
                           }};
  TraceFile(files, clock, temp.path("rbxdb.txt"), temp.path("db"), form).trace("b\na");
  EXPECT_EQ(readBytes(temp.path("rbxdb.txt")), "2026-11-20 15:04:05----->b A\r\n");
}

TEST_F(TraceFileTest, TheFirstLostLineAloneIsToldOf) {
  switchOn();
  for (std::size_t step = 1; step <= 3; ++step) {
    int told = 0;
    int code = 0;
    TraceFile once(files, clock, temp.path("rbxdb.txt"), temp.path("db"), {},
                   [&](const Error& why) {
                     ++told;
                     code = why.code;
                   });
    once.trace("written");
    EXPECT_EQ(told, 0);
    for (int line = 0; line < 2; ++line) {
      files.reset();
      files.failStep(step, EACCES);
      once.trace("lost");
    }
    files.reset();
    EXPECT_EQ(told, 1) << step;
    EXPECT_EQ(code, EACCES) << step;
  }
}

TEST_F(TraceFileTest, EveryFailureIsSwallowed) {
  switchOn();
  for (std::size_t step = 1; step <= 3; ++step) {
    files.reset();
    files.failStep(step, ENOSPC);
    EXPECT_NO_THROW(trace.trace("lost"));
  }
  std::filesystem::remove(temp.path("rbxdb.txt"));
  std::filesystem::create_directory(temp.path("rbxdb.txt"));
  EXPECT_NO_THROW(trace.trace("lost"));

  class BrokenClock : public FakeClock {
   public:
    std::string toText(DateTime) const override { throw std::runtime_error("no time"); }
  } broken;
  EXPECT_NO_THROW(TraceFile(files, broken, temp.path("t"), temp.path("db")).trace("lost"));
}

}  // namespace
}  // namespace relaybird
