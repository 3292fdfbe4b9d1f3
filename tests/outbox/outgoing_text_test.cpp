// SPDX-License-Identifier: MIT
#include "outbox/outgoing_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "message/memory_files.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::AllOf;
using testing::Each;
using testing::Gt;
using testing::Le;
using testing::Property;

constexpr std::size_t kSomePieces = 300'000;

// Lends the file, so that the test can break it.
class Lent : public InputFile {
 public:
  explicit Lent(InputFile& file) : file_(file) {}
  const FileInfo& info() const override { return file_.info(); }
  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    return file_.readAt(offset, buffer, size);
  }

 private:
  InputFile& file_;
};

Result<OutgoingText> read(InputFile& file) {
  return OutgoingText::read(std::make_unique<Lent>(file));
}

std::string lines(std::size_t size) {
  std::string text;
  for (int number = 0; text.size() < size; ++number) {
    text += "line " + std::to_string(number) + "\n";
  }
  return text;
}

TEST(OutgoingText, OfALargeFileIsGivenInPiecesAndHardlyHeld) {
  const std::string content = "Subject: s\n\n" + lines(kSomePieces);
  MemoryInput file(content);
  const auto text = read(file);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->size(), content.size());
  EXPECT_LT(text->held(), 70'000u);
  std::vector<std::string> pieces;
  OutgoingText::Reader reader(*text);
  for (auto piece = reader.next(); !piece->empty(); piece = reader.next()) {
    pieces.emplace_back(*piece);
  }
  EXPECT_THAT(pieces, Each(Property(&std::string::size, AllOf(Gt(0u), Le(65'536u)))));
  std::string whole;
  for (const std::string& piece : pieces) {
    whole += piece;
  }
  EXPECT_TRUE(whole == content);
  EXPECT_TRUE(reader.next()->empty()) << "the end stays the end";
}

TEST(OutgoingText, OfASmallFileNeedsTheFileNoMore) {
  MemoryInput file("Subject: s\n\ntext\n");
  const auto text = read(file);
  file.failing = true;
  EXPECT_EQ(wholeText(*text), "Subject: s\n\ntext\n");
}

TEST(OutgoingText, InMemoryIsGivenInPiecesToo) {
  const std::string content = lines(kSomePieces);
  const OutgoingText text(content);
  OutgoingText::Reader reader(text);
  EXPECT_LE(reader.next()->size(), 65'536u);
  EXPECT_TRUE(wholeText(text) == content);
}

TEST(OutgoingText, OfNothingIsEmpty) {
  MemoryInput file("");
  EXPECT_EQ(wholeText(*read(file)), "");
  EXPECT_FALSE(read(file)->headIsTooLong());
  EXPECT_EQ(wholeText(OutgoingText()), "");
}

TEST(OutgoingText, CrLfBecomesLfWhereverAPieceEnds) {
  for (std::size_t before = 65'520; before < 65'545; ++before) {
    for (const std::size_t pieces : {std::size_t{0}, std::size_t{1}}) {
      const std::string start = "a: b\r\n\r\n" + std::string(pieces * 65'536 + before, 'x');
      MemoryInput file(start + "\r\n\r\r\nlone\rcr\r\n" + lines(70'000) + "end\r");
      const auto text = read(file);
      ASSERT_TRUE(text);
      EXPECT_TRUE(wholeText(*text) ==
                  "a: b\n\n" + start.substr(8) + "\n\r\nlone\rcr\n" + lines(70'000) + "end\r")
          << before;
    }
  }
}

TEST(OutgoingText, HasItsWholeHeadAtTheBeginning) {
  for (const char* lineEnd : {"\n", "\r\n"}) {
    for (std::size_t size = 65'525; size < 65'545; ++size) {
      const std::string head = "a: " + std::string(size, 'x') + lineEnd + "b: c" + lineEnd;
      MemoryInput file(head + lineEnd + lines(kSomePieces));
      const auto text = read(file);
      ASSERT_TRUE(text);
      EXPECT_FALSE(text->headIsTooLong());
      EXPECT_TRUE(text->beginning().substr(size).find("b: c\n\n") != std::string_view::npos);
      EXPECT_LT(text->held(), 200'000u);
    }
  }
}

TEST(OutgoingText, WithoutAnEndOfItsHeadIsNotReadWhole) {
  MemoryInput endless(std::string(5 << 20, 'x'));
  EXPECT_TRUE(read(endless)->headIsTooLong());
  EXPECT_LE(endless.readTo, kLongestHead + 65'536);
  MemoryInput header(std::string(kSomePieces, 'x') + "\n");
  EXPECT_FALSE(read(header)->headIsTooLong()) << "a message may have no body";
}

TEST(OutgoingText, GetsAnotherHead) {
  const std::string body = lines(kSomePieces);
  MemoryInput file("old: head\r\n\r\n" + body);
  auto text = read(file);
  const OutgoingText old = *text;
  text->replaceHead(10, "new: and longer\n");
  EXPECT_TRUE(wholeText(*text) == "new: and longer\n\n" + body);
  EXPECT_TRUE(wholeText(old) == "old: head\n\n" + body) << "a copy is one of its own";
}

TEST(OutgoingText, FailsAsItsFileDoes) {
  MemoryInput file("a: b\n\n" + lines(kSomePieces));
  const auto text = read(file);
  OutgoingText::Reader reader(*text);
  ASSERT_TRUE(reader.next());
  file.failing = true;
  ASSERT_FALSE(reader.next());
  EXPECT_EQ(reader.next().error().code, EIO);
  EXPECT_FALSE(text->forEachPiece([](std::string_view) { return Result<void>(); }));
  EXPECT_FALSE(read(file));
}

TEST(OutgoingText, EndsWithAnErrorWhereTheFileWasCut) {
  MemoryInput file("a: b\n\n" + lines(kSomePieces));
  const auto text = read(file);
  file.truncate(kSomePieces - 10);
  const auto all = text->forEachPiece([](std::string_view) { return Result<void>(); });
  ASSERT_FALSE(all);
  EXPECT_EQ(all.error().text, "The file of the message has become shorter");
}

TEST(OutgoingText, StopsWhereItsPiecesAreNotTaken) {
  int taken = 0;
  const auto all = OutgoingText(lines(kSomePieces)).forEachPiece([&](std::string_view) {
    return ++taken == 2 ? Result<void>(Error{ENOSPC, "full"}) : Result<void>();
  });
  EXPECT_EQ(all.error().code, ENOSPC);
  EXPECT_EQ(taken, 2);
}

}  // namespace
}  // namespace relaybird
