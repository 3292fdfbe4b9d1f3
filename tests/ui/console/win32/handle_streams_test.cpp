// SPDX-License-Identifier: MIT
// The console's streams over real pipes and files, and over readers and writers that wait until the
// test lets them go.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/main_loop.h"
#include "platform/win32/message_waiter.h"
#include "platform/win32/object_handle.h"
#include "platform/win32/win32_text.h"
#include "support/served_call.h"
#include "support/temp_folder.h"
#include "ui/console/win32/handle_input.h"
#include "ui/console/win32/handle_output.h"

namespace relaybird {
namespace {

struct PipeEnds {
  PipeEnds() {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    EXPECT_TRUE(::CreatePipe(&read, &write, nullptr, 0));
    reading.reset(read);
    writing.reset(write);
  }
  void write(std::string_view text) {
    DWORD written = 0;
    EXPECT_TRUE(::WriteFile(writing.get(), text.data(), static_cast<DWORD>(text.size()), &written,
                            nullptr));
  }

  ObjectHandle reading;
  ObjectHandle writing;
};

ObjectHandle newEvent() {
  return ObjectHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

// Where a thread is: before, within or behind the call of a stream.
enum class Place { kBefore, kWithin, kBehind };

class HandleInputTest : public testing::Test {
 protected:
  std::function<void(std::string_view)> collect() {
    return [this](std::string_view bytes) {
      ++calls;
      text += bytes;
      ended = ended || bytes.empty();
    };
  }

  MainLoop loop{std::make_shared<MessageWaiter>()};
  std::string text;
  int calls = 0;
  bool ended = false;
};

TEST_F(HandleInputTest, APipeIsReadToItsEndOnce) {
  PipeEnds pipe;
  HandleInput input(loop, readerOf(pipe.reading.get()));
  input.read(collect());
  pipe.write("first\n");
  loop.runUntil([&] { return text == "first\n"; });
  pipe.write("second\n");
  loop.runUntil([&] { return text == "first\nsecond\n"; });
  EXPECT_FALSE(ended);
  pipe.writing.reset();
  loop.runUntil([&] { return ended; });
  loop.processPending();
  EXPECT_EQ(calls, 3);
}

TEST_F(HandleInputTest, AFileIsReadToItsEnd) {
  TempFolder temp;
  const std::string content(100000, 'x');
  writeBytes(temp.path("commands"), content);
  const ObjectHandle file(::CreateFileW(toWide(temp.path("commands")).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  HandleInput input(loop, readerOf(file.get()));
  input.read(collect());
  loop.runUntil([&] { return ended; });
  EXPECT_EQ(text, content);
}

TEST_F(HandleInputTest, AHandleThatIsNoneHasEnded) {
  HandleInput input(loop, readerOf(nullptr));
  input.read(collect());
  loop.runUntil([&] { return ended; });
  EXPECT_EQ(text, "");
}

// The reader counts its calls: what nobody asks for stays in the pipe, for whoever reads it next.
TEST_F(HandleInputTest, APauseKeepsThePieceThatWasReadAndReadsNoMore) {
  std::atomic<int> reads = 0;
  std::promise<void> go;
  auto wait = go.get_future().share();
  HandleInput input(loop, [&, wait] {
    wait.wait();
    ++reads;
    return "piece" + std::to_string(reads);
  });
  input.read(collect());
  input.pause();
  go.set_value();
  while (reads == 0) {
    std::this_thread::yield();
  }
  loop.processPending();
  EXPECT_EQ(text, "");
  input.read([&](std::string_view bytes) {
    text += bytes;
    input.pause();
  });
  loop.runUntil([&] { return !text.empty(); });
  loop.processPending();
  EXPECT_EQ(text, "piece1");
  EXPECT_EQ(reads, 1);
}

// A thread that still ran while the process ended would use what is taken down meanwhile.
TEST_F(HandleInputTest, AReadThatWaitsIsBrokenOffAtTheEnd) {
  PipeEnds pipe;
  const auto place = std::make_shared<std::atomic<Place>>(Place::kBefore);
  {
    HandleInput input(loop, [place, read = readerOf(pipe.reading.get())] {
      *place = Place::kWithin;
      std::string piece = read();
      *place = Place::kBehind;
      return piece;
    });
    input.read(collect());
    while (*place == Place::kBefore) {
      std::this_thread::yield();
    }
  }
  EXPECT_EQ(*place, Place::kBehind);
  loop.processPending();
  EXPECT_EQ(calls, 0);
}

TEST_F(HandleInputTest, AReadThatCannotBeBrokenOffIsLeftBehind) {
  std::promise<void> go;
  const auto place = std::make_shared<std::atomic<Place>>(Place::kBefore);
  {
    HandleInput input(loop, [place, wait = go.get_future().share()] {
      *place = Place::kWithin;
      wait.wait();
      *place = Place::kBehind;
      return std::string("late");
    });
    input.read(collect());
    while (*place == Place::kBefore) {
      std::this_thread::yield();
    }
  }
  EXPECT_EQ(*place, Place::kWithin);
  go.set_value();
  while (*place == Place::kWithin) {
    std::this_thread::yield();
  }
  loop.processPending();
  EXPECT_EQ(calls, 0);
}

class HandleOutputTest : public testing::Test {
 protected:
  ObjectHandle interrupt = newEvent();
  int broken = 0;
  std::function<void()> onBroken = [this] { ++broken; };
};

TEST_F(HandleOutputTest, BytesGoIntoAPipeAsTheyAre) {
  PipeEnds pipe;
  HandleOutput output(writerOf(pipe.writing.get()), interrupt.get(), onBroken);
  output.write("log: J\u00f6rg\n");
  output.write("");
  output.write("ok\n");
  char buffer[100] = {};
  DWORD got = 0;
  ASSERT_TRUE(::ReadFile(pipe.reading.get(), buffer, sizeof buffer, &got, nullptr));
  EXPECT_EQ(std::string(buffer, got), "log: J\u00f6rg\nok\n");
  EXPECT_EQ(broken, 0);
}

TEST_F(HandleOutputTest, AReaderThatHasGoneIsToldOfOnce) {
  PipeEnds pipe;
  HandleOutput output(writerOf(pipe.writing.get()), interrupt.get(), onBroken);
  pipe.reading.reset();
  output.write("lost");
  EXPECT_EQ(broken, 1);
  output.write("lost too");
  EXPECT_EQ(broken, 1);
}

// Started without a console and without streams, the program ended at its first line.
TEST_F(HandleOutputTest, AProgramWithoutAnOutputGoesOn) {
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    HandleOutput output(writerOf(none), interrupt.get(), onBroken);
    output.write("lost");
    output.write("lost too");
    EXPECT_EQ(broken, 0);
  }
}

TEST_F(HandleOutputTest, AFullDiskLosesTheTextAndLaterOnesAreTriedAgain) {
  std::vector<std::string> seen;
  HandleOutput output(
      [&](std::string_view bytes) {
        seen.emplace_back(bytes);
        return seen.size() == 1 ? WriteOutcome::kLost : WriteOutcome::kWritten;
      },
      interrupt.get(), onBroken);
  output.write("one");
  output.write("two");
  EXPECT_EQ(seen, (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(broken, 0);
}

// A reader that reads nothing: the write of the thread waits for it.
TEST_F(HandleOutputTest, AProgramThatIsToldToEndDoesNotWaitForASlowReader) {
  std::promise<void> go;
  auto wait = go.get_future().share();
  auto count = std::make_shared<std::atomic<int>>(0);
  HandleOutput output(
      [wait, count](std::string_view) {
        ++*count;
        wait.wait();
        return WriteOutcome::kWritten;
      },
      interrupt.get(), onBroken);
  std::thread teller([&] {
    while (*count == 0) {
      std::this_thread::yield();
    }
    ::SetEvent(interrupt.get());
  });
  output.write("waits until the program is told to end");
  output.write("dropped");
  output.hurry();
  output.write("dropped too");
  EXPECT_EQ(*count, 1);
  EXPECT_EQ(broken, 0);
  teller.join();
  go.set_value();
}

// The mail application stood still with an event that was not taken while text was selected in the
// console. What it brings may be written too.
TEST_F(ServedCall, ReturnsWhileAWriteWaitsForItsReader) {
  const ObjectHandle interrupt = newEvent();
  std::vector<std::string> seen;
  HandleOutput output(
      [&](std::string_view bytes) {
        // Only the failure needs the limit.
        EXPECT_EQ(::WaitForSingleObject(returned(), 20000), WAIT_OBJECT_0);
        seen.emplace_back(bytes);
        return WriteOutcome::kWritten;
      },
      interrupt.get(), [] {});
  output.write("one");
  output.write("two");
  EXPECT_EQ(result(), S_OK);
  EXPECT_EQ(seen, (std::vector<std::string>{"one", "two"}));
}

TEST_F(ServedCall, MayWriteItselfWhileAWriteWaitsForItsReader) {
  const ObjectHandle interrupt = newEvent();
  int broken = 0;
  std::vector<std::string> seen;
  HandleOutput output(
      [&](std::string_view bytes) {
        seen.emplace_back(bytes);
        if (bytes == "outer") {
          EXPECT_EQ(::WaitForSingleObject(sink().called(), 20000), WAIT_OBJECT_0);
          return WriteOutcome::kWritten;
        }
        return WriteOutcome::kBroken;
      },
      interrupt.get(), [&] { ++broken; });
  sink().onCall = [&] { output.write("inner"); };
  output.write("outer");
  EXPECT_EQ(seen, (std::vector<std::string>{"outer", "inner"}));
  EXPECT_EQ(broken, 1);
}

TEST_F(HandleOutputTest, AWriteThatWaitsIsBrokenOffAtTheEnd) {
  PipeEnds pipe;
  const auto place = std::make_shared<std::atomic<Place>>(Place::kBefore);
  {
    HandleOutput output(
        [place, write = writerOf(pipe.writing.get())](std::string_view bytes) {
          *place = Place::kWithin;
          const WriteOutcome outcome = write(bytes);
          *place = Place::kBehind;
          return outcome;
        },
        interrupt.get(), onBroken);
    output.hurry();
    output.write(std::string(1000000, 'x'));
    EXPECT_EQ(*place, Place::kWithin);
  }
  EXPECT_EQ(*place, Place::kBehind);
}

}  // namespace
}  // namespace relaybird
