// SPDX-License-Identifier: MIT
// Lines from a stream: line ends, lines that are too long, noise, and a stream that is read no
// faster than its lines are taken.
#include "ui/console/line_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>

namespace relaybird {
namespace {

std::vector<std::string> linesOf(LineSplitter& splitter) {
  std::vector<std::string> lines;
  while (!splitter.empty()) {
    const InputLine line = splitter.take();
    lines.push_back(line.kind == InputLine::Kind::kText       ? std::string(line.text.bytes())
                    : line.kind == InputLine::Kind::kUnusable ? "! " + line.why
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

// A stream whose bytes the test brings.
class BroughtBytes : public ByteStream {
 public:
  void read(std::function<void(std::string_view)> onBytes) override {
    onBytes_ = std::move(onBytes);
  }
  void pause() override { onBytes_ = nullptr; }
  bool reading() const { return onBytes_ != nullptr; }
  void bring(std::string_view bytes) const {
    const auto onBytes = onBytes_;
    onBytes(bytes);
  }

 private:
  std::function<void(std::string_view)> onBytes_;
};

TEST(StreamLines, ReadsOnlyWhileNoLineWaits) {
  BroughtBytes stream;
  int told = 0;
  {
    StreamLines lines(stream);
    EXPECT_FALSE(stream.reading());
    lines.listen([&] { ++told; });
    stream.bring("sta");
    EXPECT_EQ(told, 0);
    EXPECT_TRUE(stream.reading());
    stream.bring("tus\nlog\nhe");
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(stream.reading());
    EXPECT_EQ(lines.next()->text.bytes(), "status");
    EXPECT_FALSE(stream.reading());
    EXPECT_EQ(lines.next()->text.bytes(), "log");
    EXPECT_TRUE(stream.reading());
    EXPECT_FALSE(lines.next());
    stream.bring("lp\n");
    EXPECT_EQ(lines.next()->text.bytes(), "help");
  }
  EXPECT_FALSE(stream.reading()) << "nobody is there to take what it brings";
}

TEST(StreamLines, TheEndOfTheStreamIsTheLastLine) {
  BroughtBytes stream;
  StreamLines lines(stream);
  lines.listen([] {});
  stream.bring("quit");
  stream.bring("");
  EXPECT_EQ(lines.next()->text.bytes(), "quit");
  EXPECT_EQ(lines.next()->kind, InputLine::Kind::kEnd);
  EXPECT_FALSE(lines.next());
  EXPECT_FALSE(stream.reading());
}

TEST(StreamLines, LinesMayBeTakenInsideTheCallThatBringsThem) {
  BroughtBytes stream;
  StreamLines lines(stream);
  Lines got;
  lines.listen([&] {
    while (const auto line = lines.next()) {
      got.emplace_back(line->text.bytes());
    }
  });
  stream.bring("one\ntwo\n");
  EXPECT_TRUE(stream.reading());
  stream.bring("three\n");
  EXPECT_EQ(got, (Lines{"one", "two", "three"}));
}

}  // namespace
}  // namespace relaybird
