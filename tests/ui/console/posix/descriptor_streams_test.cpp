// SPDX-License-Identifier: MIT
// The console's bytes over pipes: input that is read no faster than its lines are taken, and a
// reader of the output that is slow, gone, or a full disk.
#include "ui/console/posix/descriptor_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

class DescriptorStreamTest : public testing::Test {
 protected:
  DescriptorStreamTest() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
  }
  void write(std::string_view bytes) const {
    EXPECT_EQ(::write(writing.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }

  std::shared_ptr<PollWaiter> waiter = std::make_shared<PollWaiter>();
  MainLoop loop{waiter};
  Descriptor reading;
  Descriptor writing;
};

TEST_F(DescriptorStreamTest, SaysWhenThereAreLines) {
  DescriptorStream stream(*waiter, reading.get());
  StreamLines lines(stream);
  int told = 0;
  lines.listen([&] { ++told; });
  write("sta");
  loop.processPending();
  EXPECT_EQ(told, 0);
  write("tus\nlog\n");
  loop.runUntil([&] { return told > 0; });
  EXPECT_EQ(lines.next()->text.bytes(), "status");
  EXPECT_EQ(lines.next()->text.bytes(), "log");
  EXPECT_FALSE(lines.next());
  writing.close();
  loop.runUntil([&] { return told > 1; });
  EXPECT_EQ(lines.next()->kind, InputLine::Kind::kEnd);
  loop.processPending();
  EXPECT_EQ(told, 2);
  EXPECT_FALSE(lines.next());
}

TEST_F(DescriptorStreamTest, DoesNotReadAheadOfLinesThatNobodyTakes) {
  DescriptorStream stream(*waiter, reading.get());
  StreamLines lines(stream);
  int told = 0;
  lines.listen([&] { ++told; });
  write("one\n");
  loop.runUntil([&] { return told == 1; });
  write("two\n");
  for (int i = 0; i < 10; ++i) {
    loop.processPending();
  }
  EXPECT_EQ(told, 1);
  char byte = 0;
  ASSERT_EQ(::fcntl(reading.get(), F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(::read(reading.get(), &byte, 1), 1) << "what nobody takes stays in the pipe";
}

TEST_F(DescriptorStreamTest, TenMegabytesThroughAPipeAreOneErrorLine) {
  DescriptorStream stream(*waiter, reading.get());
  StreamLines lines(stream);
  std::vector<InputLine> got;
  lines.listen([&] {
    while (auto line = lines.next()) {
      got.push_back(std::move(*line));
    }
  });
  std::thread writer([&] {
    const std::string piece(100000, '\x01');
    for (int i = 0; i < 100; ++i) {
      write(piece);
    }
    write("\nstatus\n");
    writing.close();
  });
  loop.runUntil([&] { return !got.empty() && got.back().kind == InputLine::Kind::kEnd; });
  writer.join();
  ASSERT_EQ(got.size(), 3U);
  EXPECT_EQ(got[0].kind, InputLine::Kind::kUnusable);
  EXPECT_EQ(got[1].text.bytes(), "status");
}

TEST_F(DescriptorStreamTest, WhatCannotBeReadHasEnded) {
  const Descriptor folder(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DescriptorStream stream(*waiter, folder.get());
  StreamLines lines(stream);
  bool ended = false;
  lines.listen([&] { ended = lines.next()->kind == InputLine::Kind::kEnd; });
  EXPECT_TRUE(loop.runUntil([&] { return ended; }));
}

class DescriptorSinkTest : public testing::Test {
 protected:
  DescriptorSinkTest() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    stopReading = Descriptor(ends[0]);
    stopWriting = Descriptor(ends[1]);
    former = ::signal(SIGPIPE, SIG_IGN);
  }
  ~DescriptorSinkTest() override { ::signal(SIGPIPE, former); }

  Descriptor reading;
  Descriptor writing;
  Descriptor stopReading;
  Descriptor stopWriting;
  int broken = 0;
  void (*former)(int) = SIG_DFL;
};

TEST_F(DescriptorSinkTest, AReaderThatHasGoneIsToldOnce) {
  DescriptorSink out(writing.get(), stopReading.get(), [this] { ++broken; });
  reading.close();
  out.write("one\n");
  out.write("two\n");
  EXPECT_EQ(broken, 1);
}

TEST_F(DescriptorSinkTest, AReaderThatDoesNotReadCannotHoldUpAProgramThatIsToEnd) {
  DescriptorSink out(writing.get(), stopReading.get(), [this] { ++broken; });
  ASSERT_EQ(::write(stopWriting.get(), "x", 1), 1);
  out.write(std::string(10 << 20, 'x'));
  out.hurry();
  out.write("more\n");
  EXPECT_EQ(broken, 0);
}

TEST_F(DescriptorSinkTest, WhatAFullDiskRefusesIsLostAndTheRestGoesOn) {
  const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  if (!full) {
    GTEST_SKIP() << "this system has no /dev/full";
  }
  DescriptorSink out(full.get(), -1, [this] { ++broken; });
  out.write("one\n");
  out.write("two\n");
  EXPECT_EQ(broken, 0);
}

}  // namespace
}  // namespace relaybird
