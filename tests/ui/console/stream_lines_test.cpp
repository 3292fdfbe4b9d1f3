// SPDX-License-Identifier: MIT
// Lines from a stream: line ends, lines that are too long, noise, and a pipe that is read no faster
// than its lines are taken.
#include "ui/console/line_source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <thread>

#include "platform/posix/descriptor.h"

namespace relaybird {
namespace {

std::vector<std::string> linesOf(LineSplitter& splitter) {
  std::vector<std::string> lines;
  while (!splitter.empty()) {
    const InputLine line = splitter.take();
    lines.push_back(line.kind == InputLine::Kind::kText       ? line.text
                    : line.kind == InputLine::Kind::kUnusable ? "! " + line.text
                                                              : "END");
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST(LineSplitter, LinesEndInLfOrCrLfAndTheLastOneAtTheEnd) {
  LineSplitter splitter;
  splitter.feed("one\r\ntw");
  splitter.feed("o\n\nthree\r");
  splitter.feed("\nfour");
  splitter.end();
  splitter.end();
  EXPECT_EQ(linesOf(splitter), (Lines{"one", "two", "", "three", "four", "END"}));
}

TEST(LineSplitter, TheLongestLineIsTakenAndOneByteMoreIsNot) {
  const std::string longest(kLongestLine, 'x');
  LineSplitter splitter;
  splitter.feed(longest + "\r\n" + longest + "x\n" + longest + "xy\nok\n");
  EXPECT_EQ(linesOf(splitter), (Lines{longest, "! the line is longer than 65536 bytes",
                                      "! the line is longer than 65536 bytes", "ok"}));
}

TEST(LineSplitter, ALineOfTenMegabytesIsOneErrorWhateverItsPieces) {
  LineSplitter splitter;
  const std::string piece(10007, 'x');
  for (int i = 0; i < 1000; ++i) {
    splitter.feed(piece);
  }
  EXPECT_TRUE(splitter.empty());
  splitter.feed("\nstatus\n");
  EXPECT_EQ(linesOf(splitter), (Lines{"! the line is longer than 65536 bytes", "status"}));
}

TEST(LineSplitter, NoiseIsOneErrorALine) {
  std::uint32_t state = 1;
  std::string noise;
  for (int i = 0; i < 100000; ++i) {
    state = state * 1664525 + 1013904223;
    noise += static_cast<char>(state >> 24);
  }
  LineSplitter splitter;
  splitter.feed(noise + "\nstatus\n");
  const Lines lines = linesOf(splitter);
  const auto breaks = static_cast<std::size_t>(std::count(noise.begin(), noise.end(), '\n'));
  EXPECT_EQ(lines.size(), breaks + 2);
  EXPECT_EQ(lines.back(), "status");
  EXPECT_EQ(lines.front().substr(0, 2), "! ");
}

class StreamLinesTest : public testing::Test {
 protected:
  StreamLinesTest() {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
  }
  void write(std::string_view bytes) const {
    EXPECT_EQ(::write(writing.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }

  MainLoop loop;
  Descriptor reading;
  Descriptor writing;
};

TEST_F(StreamLinesTest, SaysWhenThereAreLines) {
  StreamLines lines(loop, reading.get());
  int told = 0;
  lines.listen([&] { ++told; });
  write("sta");
  loop.processPending();
  EXPECT_EQ(told, 0);
  write("tus\nlog\n");
  loop.runUntil([&] { return told > 0; });
  EXPECT_EQ(lines.next()->text, "status");
  EXPECT_EQ(lines.next()->text, "log");
  EXPECT_FALSE(lines.next());
  writing.close();
  loop.runUntil([&] { return told > 1; });
  EXPECT_EQ(lines.next()->kind, InputLine::Kind::kEnd);
  loop.processPending();
  EXPECT_EQ(told, 2);
  EXPECT_FALSE(lines.next());
}

TEST_F(StreamLinesTest, DoesNotReadAheadOfLinesThatNobodyTakes) {
  StreamLines lines(loop, reading.get());
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

TEST_F(StreamLinesTest, TenMegabytesThroughAPipeAreOneErrorLine) {
  StreamLines lines(loop, reading.get());
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
  EXPECT_EQ(got[1].text, "status");
}

TEST_F(StreamLinesTest, WhatCannotBeReadHasEnded) {
  const Descriptor folder(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  StreamLines lines(loop, folder.get());
  bool ended = false;
  lines.listen([&] { ended = lines.next()->kind == InputLine::Kind::kEnd; });
  EXPECT_TRUE(loop.runUntil([&] { return ended; }));
}

}  // namespace
}  // namespace relaybird
