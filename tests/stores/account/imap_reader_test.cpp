// SPDX-License-Identifier: MIT
// How bytes become responses, and what is dropped at each limit. The limits are small here, and
// nearly every input is read as a whole and in pieces of 1 to 39 bytes: the result must be the
// same.
#include "stores/account/imap_reader.h"

#include <gmock/gmock.h>

namespace relaybird {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

struct Read {
  std::vector<ImapLines> responses;
  std::string fault;
  bool operator==(const Read&) const = default;
};

Read readAll(std::string_view bytes, std::size_t piece, ImapLimits limits = {}) {
  ImapReader reader(limits);
  Read result;
  while (!bytes.empty()) {
    reader.feed(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
    while (auto next = reader.next()) {
      result.responses.push_back(std::move(*next));
    }
  }
  result.fault = reader.fault();
  return result;
}

// Whatever the pieces, the result is the same.
Read readInPieces(std::string_view bytes, ImapLimits limits = {}) {
  const Read whole = readAll(bytes, bytes.size(), limits);
  for (std::size_t piece = 1; piece < std::min<std::size_t>(bytes.size(), 40); ++piece) {
    EXPECT_EQ(readAll(bytes, piece, limits), whole) << "in pieces of " << piece;
  }
  return whole;
}

ImapLimits smallLimits() {
  ImapLimits limits;
  limits.text = 60;
  limits.literal = 20;
  limits.response = 400;
  limits.skipped = 100;
  return limits;
}

TEST(ImapReader, SplitsLines) {
  const Read read = readInPieces("* OK ready\r\n* 3 EXISTS\n\r\nr1 OK\r\nrest");
  ASSERT_THAT(read.responses, SizeIs(4));
  EXPECT_EQ(read.responses[0].text, "* OK ready");
  EXPECT_EQ(read.responses[1].text, "* 3 EXISTS");
  EXPECT_EQ(read.responses[2].text, "");
  EXPECT_EQ(read.responses[3].text, "r1 OK");
}

TEST(ImapReader, KeepsEveryByteOfALiteral) {
  using namespace std::string_literals;
  const Read read =
      readInPieces("* 1 FETCH (A {5}\r\na\r\nb) B ~{3}\r\n\0{} C {0+}\r\n)\r\nr1 OK\r\n"s);
  ASSERT_THAT(read.responses, SizeIs(2));
  EXPECT_EQ(read.responses[0].text, "* 1 FETCH (A {5}\n B ~{3}\n C {0+}\n)");
  ASSERT_THAT(read.responses[0].literals, SizeIs(3));
  EXPECT_EQ(read.responses[0].literals[0].bytes, "a\r\nb)");
  EXPECT_EQ(read.responses[0].literals[1].bytes, std::string("\0{}", 3));
  EXPECT_EQ(read.responses[0].literals[2].bytes, "");
  EXPECT_EQ(read.responses[1].text, "r1 OK");
}

TEST(ImapReader, TakesNoLiteralFromWordsForPeople) {
  const Read read =
      readInPieces("* OK see {5}\r\nr1 NO [ALERT] full {99}\r\n+ go {7}\r\n* BYE\r\n");
  ASSERT_THAT(read.responses, SizeIs(4));
  EXPECT_EQ(read.responses[3].text, "* BYE");
}

TEST(ImapReader, SkipsALiteralOverTheLimitAndKeepsTheRest) {
  const Read read = readInPieces(
      "* 1 FETCH (A {21}\r\n" + std::string(21, 'x') + " UID 7)\r\nr1 OK\r\n", smallLimits());
  ASSERT_THAT(read.responses, SizeIs(2));
  EXPECT_EQ(read.responses[0].text, "* 1 FETCH (A {21}\n UID 7)");
  EXPECT_FALSE(read.responses[0].cut);
  ASSERT_THAT(read.responses[0].literals, SizeIs(1));
  EXPECT_TRUE(read.responses[0].literals[0].cut);
  EXPECT_THAT(read.responses[0].literals[0].bytes, IsEmpty());
}

TEST(ImapReader, CutsALineOverTheLimitAndGoesOnBehindIt) {
  const std::string line = "* 1 FETCH (" + std::string(90, 'x');
  const Read read = readInPieces(line + "\r\nr1 OK\r\n", smallLimits());
  ASSERT_THAT(read.responses, SizeIs(2));
  EXPECT_TRUE(read.responses[0].cut);
  EXPECT_EQ(read.responses[0].text, line.substr(0, 60));
  EXPECT_EQ(read.responses[1].text, "r1 OK");
}

TEST(ImapReader, FollowsTheLiteralsOfALineThatItCuts) {
  const Read read = readInPieces(
      "* 1 FETCH (" + std::string(90, 'x') + " {9}\r\nr1 BAD\r\n{ y)\r\nr1 OK\r\n", smallLimits());
  ASSERT_THAT(read.responses, SizeIs(2));
  EXPECT_TRUE(read.responses[0].cut);
  EXPECT_EQ(read.responses[1].text, "r1 OK");
}

TEST(ImapReader, LimitsTheLiteralsOfOneResponseTogether) {
  std::string bytes = "* 1 FETCH (";
  for (int i = 0; i < 8; ++i) {
    bytes += "A {3}\r\nxyz ";
  }
  const Read read = readInPieces(bytes + ")\r\nr1 OK\r\n", smallLimits());
  ASSERT_THAT(read.responses, SizeIs(2));
  EXPECT_LT(read.responses[0].literals.size(), 8U);
  EXPECT_TRUE(read.responses[0].cut);
}

TEST(ImapReader, EndsOnAResponseWithoutAnEnd) {
  const Read read =
      readInPieces("* OK hello\r\n* 1 FETCH (" + std::string(300, '('), smallLimits());
  EXPECT_THAT(read.responses, SizeIs(1));
  EXPECT_EQ(read.fault, "the server sent a response without an end");
}

TEST(ImapReader, EndsOnALiteralOfAnImpossibleSize) {
  for (const char* size : {"4294967296", "99999999999999999999999"}) {
    const Read read = readInPieces("* 1 FETCH (A {" + std::string(size) + "}\r\nabc");
    EXPECT_EQ(read.fault, "the server announced a text of an impossible size");
  }
}

TEST(ImapReader, EndsOnALiteralThatIsSkippedForTooLong) {
  EXPECT_THAT(readInPieces("* 1 FETCH (A {200}\r\n" + std::string(200, 'x'), smallLimits()).fault,
              testing::HasSubstr("without an end"));
}

TEST(ImapReader, DoesNotTakeBracesElsewhereForALiteral) {
  for (const char* line : {"* X {}", "* X {a}", "* X {-1}", "* X {5} ", "* X 5}", "* X {5}}"}) {
    EXPECT_THAT(readInPieces(std::string(line) + "\r\nr1 OK\r\n").responses, SizeIs(2)) << line;
  }
}

// The list of a large mailbox was cut, and every check of it failed.
TEST(ImapReader, TakesTheNumbersOfALongListOffItsText) {
  for (const std::string begin : {"* SEARCH", "* ESEARCH (TAG \"r1\") UID ALL", "* search"}) {
    const char separator = begin.ends_with("ALL") ? ',' : ' ';
    std::string numbers;
    for (int uid = 4000000; uid < 4030000; uid += 2) {
      numbers += separator + std::to_string(uid);
    }
    const std::string line = begin + ' ' + numbers.substr(1) + "\r\nr1 OK\r\n";
    ImapLimits limits;
    limits.text = 100'000;
    const Read read = readAll(line, line.size(), limits);
    ASSERT_THAT(read.responses, SizeIs(2)) << begin;
    EXPECT_FALSE(read.responses[0].cut);
    EXPECT_GT(read.responses[0].numbers.count(), 8'000U);
    EXPECT_TRUE(read.responses[0].numbers.contains(4000000));
    EXPECT_LT(read.responses[0].text.size(), 70'000U);
    EXPECT_TRUE(read.responses[0].text.ends_with("4029998"));
    EXPECT_EQ(readAll(line, 1460, limits), read) << "in pieces";
    EXPECT_EQ(readAll(line, 7, limits), read) << "in pieces";
  }
}

TEST(ImapReader, CutsALongLineThatIsNoList) {
  ImapLimits limits;
  limits.text = 100'000;
  for (const std::string begin : {"* SEARCH 1 2 ", "* SEARCH x ", "* ESEARCH UID ALL ", "* X 1 "}) {
    const std::string line = begin + std::string(200'000, '9') + "\r\nr1 OK\r\n";
    const Read read = readAll(line, 1460, limits);
    ASSERT_THAT(read.responses, SizeIs(2)) << begin;
    EXPECT_TRUE(read.responses[0].cut) << begin;
    EXPECT_EQ(read.responses[1].text, "r1 OK");
  }
}

TEST(ImapReader, EndsOnAListWithoutAnEnd) {
  ImapLimits limits;
  limits.skipped = 200'000;
  std::string numbers;
  for (int uid = 1000000; uid < 1040000; ++uid) {
    numbers += ' ' + std::to_string(uid);
  }
  EXPECT_EQ(readAll("* SEARCH" + numbers, 1460, limits).fault,
            "the server sent a response without an end");
}

TEST(ImapReader, HoldsALiteralOnce) {
  ImapReader reader;
  const std::string body(std::size_t{4} << 20, 'x');
  reader.feed("* 1 FETCH (BODY[] {" + std::to_string(body.size()) + "}\r\n");
  for (std::size_t pos = 0; pos < body.size(); pos += 16384) {
    reader.feed(std::string_view(body).substr(pos, 16384));
  }
  reader.feed(")\r\n");
  const auto lines = reader.next();
  ASSERT_TRUE(lines);
  EXPECT_EQ(lines->literals.at(0).bytes, body);
  // Room was made once, for exactly the size announced.
  EXPECT_LT(lines->literals.at(0).bytes.capacity(), body.size() + 64);
}

}  // namespace
}  // namespace relaybird
