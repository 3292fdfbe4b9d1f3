// SPDX-License-Identifier: MIT
// Responses as text, and what is understood of them: examples of the standards, the oddities of
// real servers, and what a hostile one might send, such as a million parentheses or a number that
// was cut.
#include "stores/account/imap_parser.h"

#include <gmock/gmock.h>

#include "stores/account/imap_date.h"
#include "stores/account/imap_structure.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

// The response in `bytes`, which must be one and of the type T.
template <class T>
T parsed(const std::string& bytes, ImapLimits limits = {}) {
  ImapReader reader(limits);
  reader.feed(bytes + "\r\n");
  auto lines = reader.next();
  EXPECT_TRUE(lines) << bytes;
  EXPECT_FALSE(reader.next()) << bytes;
  ImapResponse response = parseImapResponse(std::move(*lines));
  if (!std::holds_alternative<T>(response)) {
    ADD_FAILURE() << "another kind of response, " << response.index() << ": " << bytes;
    return T();
  }
  return std::get<T>(std::move(response));
}

TEST(ImapParser, ReadsStatusResponses) {
  const auto greeting = parsed<ImapCondition>("* OK [CAPABILITY IMAP4rev1 IDLE] ready");
  EXPECT_EQ(greeting.tag, "*");
  EXPECT_EQ(greeting.status, ImapStatus::kOk);
  EXPECT_EQ(greeting.code.name, "CAPABILITY");
  EXPECT_EQ(greeting.code.arguments, "IMAP4rev1 IDLE");
  EXPECT_EQ(greeting.words, "ready");

  const auto refusal = parsed<ImapCondition>("r7 no [AuthenticationFailed] Wrong password.");
  EXPECT_EQ(refusal.tag, "r7");
  EXPECT_EQ(refusal.status, ImapStatus::kNo);
  EXPECT_EQ(refusal.code.name, "AUTHENTICATIONFAILED");
  EXPECT_EQ(refusal.words, "Wrong password.");

  EXPECT_EQ(parsed<ImapCondition>("* BYE going down").status, ImapStatus::kBye);
  EXPECT_EQ(parsed<ImapCondition>("* PREAUTH hello").status, ImapStatus::kPreauth);
  EXPECT_EQ(parsed<ImapCondition>("r8 BAD what").status, ImapStatus::kBad);
}

TEST(ImapParser, AcceptsAStatusWithoutWords) {
  EXPECT_EQ(parsed<ImapCondition>("r1 OK").words, "");
  EXPECT_EQ(parsed<ImapCondition>("r1 OK ").words, "");
  EXPECT_EQ(parsed<ImapCondition>("r1 OK [READ-ONLY]").code.name, "READ-ONLY");
}

TEST(ImapParser, ReadsCodesThatItDoesNotKnow) {
  const auto odd = parsed<ImapCondition>("* OK [X-THING (\"a ] b\") 7] fine");
  EXPECT_EQ(odd.code.name, "X-THING");
  EXPECT_EQ(odd.code.arguments, "(\"a ] b\") 7");
  EXPECT_EQ(odd.words, "fine");
  EXPECT_EQ(parsed<ImapCondition>("* OK [never closed").words, "[never closed");
}

TEST(ImapParser, ReadsNumbersOfCodes) {
  EXPECT_EQ(parsed<ImapCondition>("* OK [UIDVALIDITY 3857529045] x").code.number(), 3857529045U);
  EXPECT_EQ(parsed<ImapCondition>("* OK [HIGHESTMODSEQ 715194045007] x").code.number(),
            715194045007U);
  EXPECT_FALSE(parsed<ImapCondition>("* OK [UIDNEXT 12x] x").code.number());
}

TEST(ImapParser, ReadsCapabilities) {
  const auto words = parsed<ImapWords>("* CAPABILITY IMAP4rev1 Idle  literal+ ");
  EXPECT_EQ(words.kind, ImapWords::Kind::kCapability);
  EXPECT_THAT(words.words, ElementsAre("IMAP4REV1", "IDLE", "LITERAL+"));
  EXPECT_EQ(parsed<ImapWords>("* ENABLED QRESYNC").kind, ImapWords::Kind::kEnabled);
  EXPECT_THAT(parsed<ImapWords>("* ENABLED").words, IsEmpty());
  EXPECT_THAT(parsed<ImapWords>("* FLAGS (\\Seen $Junk)").words, ElementsAre("\\Seen", "$Junk"));
}

TEST(ImapParser, ReadsCountsAndExpunges) {
  EXPECT_EQ(parsed<ImapExists>("* 23 EXISTS").count, 23U);
  EXPECT_EQ(parsed<ImapExists>("* 0 EXISTS ").count, 0U);
  EXPECT_EQ(parsed<ImapExpunge>("* 4 expunge").number, 4U);
  EXPECT_EQ(parsed<ImapVanished>("* VANISHED 41,43:45").uids.text(), "41,43:45");
  EXPECT_FALSE(parsed<ImapVanished>("* VANISHED 41").earlier);
  EXPECT_TRUE(parsed<ImapVanished>("* VANISHED (EARLIER) 300:310").earlier);
}

TEST(ImapParser, ReadsSearches) {
  EXPECT_EQ(parsed<ImapSearch>("* SEARCH 2 84 882 3").numbers.text(), "2:3,84,882");
  EXPECT_TRUE(parsed<ImapSearch>("* SEARCH").numbers.empty());
  EXPECT_TRUE(parsed<ImapSearch>("* SEARCH").whole);
  EXPECT_EQ(parsed<ImapSearch>("* SEARCH 2 5 (MODSEQ 917162500)").numbers.text(), "2,5");
  const auto extended = parsed<ImapSearch>("* ESEARCH (TAG \"r7\") UID MODSEQ 9 ALL 4:18,21");
  EXPECT_EQ(extended.tag, "r7");
  EXPECT_EQ(extended.numbers.text(), "4:18,21");
  EXPECT_TRUE(parsed<ImapSearch>("* ESEARCH (TAG \"r7\") UID").whole);
  EXPECT_TRUE(parsed<ImapSearch>("* ESEARCH").numbers.empty());
}

TEST(ImapParser, ReadsTheListOfAMailboxOfAnySize) {
  for (const std::string begin : {"* SEARCH", "* ESEARCH (TAG \"r7\") UID ALL"}) {
    const char separator = begin.ends_with("ALL") ? ',' : ' ';
    std::string numbers;
    for (std::uint32_t uid = 10'000'000; uid < 10'420'000; uid += 2) {
      numbers += separator + std::to_string(uid);
    }
    const std::string line = begin + ' ' + numbers.substr(1);
    const auto search = parsed<ImapSearch>(line);
    EXPECT_TRUE(search.whole);
    ASSERT_EQ(search.numbers.ranges().size(), kMostRanges) << "the newest";
    EXPECT_EQ(search.numbers.newest(1).front(), 10'419'998U);
    EXPECT_EQ(search.numbers.uids(1).front(), 10'420'000U - 2 * kMostRanges);
    const std::string some = numbers.substr(1, 9 * 10'000 - 1);
    EXPECT_FALSE(parsed<ImapSearch>(begin + ' ' + some + separator + 'x').whole);
    EXPECT_FALSE(parsed<ImapSearch>(begin + " 5" + separator + "x" + separator + some).whole);
  }
  std::string numbers = "* SEARCH";
  for (int uid = 1'000'000; uid < 1'020'000; ++uid) {
    numbers += ' ' + std::to_string(uid);
  }
  const auto modified = parsed<ImapSearch>(numbers + " (MODSEQ 917162500)");
  EXPECT_TRUE(modified.whole);
  EXPECT_EQ(modified.numbers.text(), "1000000:1019999");
}

TEST(ImapParser, DoesNotTakeABrokenSearchForAWholeOne) {
  EXPECT_FALSE(parsed<ImapSearch>("* SEARCH 2 x 3").whole);
  EXPECT_FALSE(parsed<ImapSearch>("* SEARCH 0").whole);
  EXPECT_FALSE(parsed<ImapSearch>("* ESEARCH (TAG \"r7\") UID ALL 4:x").whole);
  ImapLimits limits;
  limits.text = 20;
  EXPECT_FALSE(parsed<ImapSearch>("* SEARCH 1234 1235 1236 1237", limits).whole);
}

TEST(ImapParser, ReadsMailboxes) {
  const auto sent = parsed<ImapMailbox>("* LIST (\\HasNoChildren \\Sent) \"/\" \"Sent Items\"");
  EXPECT_THAT(sent.attributes, ElementsAre("\\HasNoChildren", "\\Sent"));
  EXPECT_EQ(sent.name, "Sent Items");
  EXPECT_EQ(parsed<ImapMailbox>("* LIST () NIL INBOX").name, "INBOX");
  EXPECT_EQ(parsed<ImapMailbox>("* LIST () \"/\" {3}\r\na\"b").name, "a\"b");
}

TEST(ImapParser, ReadsAFetchInAnyOrder) {
  const auto fetch = parsed<ImapFetch>(
      "* 12 FETCH (BODY[HEADER.FIELDS (\"FROM\" Subject)] {9}\r\nFrom: a\r\n RFC822.SIZE 4286 "
      "X-ODD (a (b \"c)\") {2}\r\n)( d) INTERNALDATE \"17-Jul-1996 02:44:25 -0700\" "
      "MODSEQ (624140003) FLAGS (\\Seen $Label1) UID 77 BODY[]<1024> \"abc\\\"\" BODY[TEXT] NIL)");
  EXPECT_TRUE(fetch.whole);
  EXPECT_EQ(fetch.number, 12U);
  EXPECT_EQ(fetch.uid, 77U);
  EXPECT_EQ(fetch.size, 4286U);
  EXPECT_EQ(fetch.modSeq, 624140003U);
  EXPECT_TRUE(fetch.hasFlag("\\seen"));
  EXPECT_FALSE(fetch.hasFlag("\\Deleted"));
  EXPECT_EQ(fetch.internalDate,
            std::chrono::sys_days(std::chrono::year(1996) / 7 / 17) + 9h + 44min + 25s);
  ASSERT_THAT(fetch.sections, SizeIs(3));
  EXPECT_TRUE(fetch.sections[2].nil);
  ASSERT_NE(fetch.section("HEADER.FIELDS"), nullptr);
  EXPECT_EQ(fetch.section("HEADER.FIELDS")->bytes, "From: a\r\n");
  EXPECT_EQ(fetch.section("")->bytes, "abc\"");
  EXPECT_EQ(fetch.section("")->origin, 1024U);
}

TEST(ImapParser, MarksALiteralThatWasNotKept) {
  ImapLimits limits;
  limits.literal = 2;
  const auto fetch = parsed<ImapFetch>("* 1 FETCH (BODY[] {3}\r\nabc UID 7)", limits);
  EXPECT_TRUE(fetch.whole);
  EXPECT_EQ(fetch.uid, 7U);
  EXPECT_TRUE(fetch.section("")->cut);
}

TEST(ImapParser, KeepsWhatPrecedesAFaultInAFetch) {
  for (const char* rest : {"FLAGS (\\Seen", "FLAGS \\Seen)", "INTERNALDATE \"17", "RFC822.SIZE x)",
                           "BODY[ 7)", "BODY[]<x 7)", "BODY[] {3} 7)", ")", "BODY[] \"a"}) {
    const auto fetch = parsed<ImapFetch>("* 1 FETCH (UID 7 " + std::string(rest));
    EXPECT_EQ(fetch.uid, 7U) << rest;
    EXPECT_FALSE(fetch.flags) << rest;
    EXPECT_FALSE(fetch.size) << rest;
    EXPECT_THAT(fetch.sections, IsEmpty()) << rest;
    EXPECT_EQ(fetch.whole, rest == std::string(")")) << rest;
  }
}

// "UID 12" may be the beginning of "UID 123", another message.
TEST(ImapParser, DoesNotTakeACutNumberForAWholeOne) {
  ImapLimits limits;
  limits.text = std::string_view("* 1 FETCH (FLAGS () UID 12").size();
  const auto fetch = parsed<ImapFetch>("* 1 FETCH (FLAGS () UID 123)", limits);
  EXPECT_FALSE(fetch.uid);
  EXPECT_FALSE(fetch.whole);
}

TEST(ImapParser, ReadsTheStructureOfAPlainText) {
  const auto fetch = parsed<ImapFetch>(
      "* 1 FETCH (BODYSTRUCTURE (\"TEXT\" \"PLAIN\" (\"CHARSET\" \"utf-8\") NIL NIL "
      "\"QUOTED-PRINTABLE\" 1152 23 NIL (\"ATTACHMENT\" (\"FILENAME\" \"a.txt\")) \"en\" NIL))");
  ASSERT_TRUE(fetch.structure);
  EXPECT_EQ(fetch.structure->type, "text/plain");
  EXPECT_EQ(fetch.structure->parameter("charset"), "utf-8");
  EXPECT_EQ(fetch.structure->encoding, "quoted-printable");
  EXPECT_EQ(fetch.structure->size, 1152U);
  EXPECT_EQ(fetch.structure->disposition, "attachment");
}

TEST(ImapParser, ReadsTheStructureOfAMultipart) {
  const auto fetch = parsed<ImapFetch>(
      "* 1 FETCH (BODYSTRUCTURE ((\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)"
      "(\"message\" \"rfc822\" NIL NIL NIL \"7bit\" 99 (\"date\" NIL ((NIL NIL \"a\" \"b\")) NIL "
      "NIL "
      "NIL NIL NIL NIL NIL) (\"text\" \"html\" NIL NIL NIL \"7bit\" 5 1) 7 NIL (\"inline\" NIL) "
      "NIL NIL)"
      "(\"text\" \"calendar\" (\"method\" \"REQUEST\") NIL NIL \"base64\" 7 1) \"mixed\" "
      "(\"boundary\" \"x\") NIL NIL NIL) UID 5)");
  ASSERT_TRUE(fetch.structure);
  EXPECT_EQ(fetch.uid, 5U);
  EXPECT_EQ(fetch.structure->type, "multipart/mixed");
  EXPECT_EQ(fetch.structure->parameter("boundary"), "x");
  ASSERT_THAT(fetch.structure->children, SizeIs(3));
  EXPECT_EQ(fetch.structure->children[1].type, "message/rfc822");
  EXPECT_EQ(fetch.structure->children[1].disposition, "inline");
  EXPECT_EQ(fetch.structure->children[2].parameter("method"), "REQUEST");
}

std::string nestedStructure(int depth) {
  std::string text = "(\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)";
  std::string end;
  for (int i = 1; i < depth; ++i) {
    text.insert(0, "(");
    end += " \"mixed\")";
  }
  return text + end;
}

TEST(ImapParser, LeavesOutAStructureThatIsTooDeepAndReadsTheRest) {
  EXPECT_TRUE(
      parsed<ImapFetch>("* 1 FETCH (BODYSTRUCTURE " + nestedStructure(kImapPartDepth) + " UID 5)")
          .structure);
  for (const int depth : {kImapPartDepth + 1, 400'000}) {
    const auto fetch =
        parsed<ImapFetch>("* 1 FETCH (BODYSTRUCTURE " + nestedStructure(depth) + " UID 5)");
    EXPECT_FALSE(fetch.structure);
    EXPECT_EQ(fetch.uid, 5U);
    EXPECT_TRUE(fetch.whole);
  }
}

TEST(ImapParser, LeavesOutAStructureOfTooManyParts) {
  std::string parts;
  for (std::size_t i = 0; i < kImapPartCount; ++i) {
    parts += "(\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)";
  }
  const auto fetch = parsed<ImapFetch>("* 1 FETCH (BODYSTRUCTURE (" + parts + " \"mixed\") UID 5)");
  EXPECT_FALSE(fetch.structure);
  EXPECT_EQ(fetch.uid, 5U);
}

// A megabyte of parameters of one part took thirty of memory.
TEST(ImapParser, LeavesOutAStructureOfTooManyParameters) {
  for (const std::size_t more : {0U, 1U}) {
    std::string parameters = "\"a\" \"b\"";
    for (std::size_t i = 1; i < kImapParameterCount + more; ++i) {
      parameters += " \"a\" \"b\"";
    }
    const auto fetch = parsed<ImapFetch>("* 1 FETCH (BODYSTRUCTURE (\"text\" \"plain\" (" +
                                         parameters + ") NIL NIL \"7bit\" 5 1) UID 5)");
    EXPECT_EQ(fetch.structure.has_value(), more == 0);
    EXPECT_EQ(fetch.uid, 5U);
  }
}

TEST(ImapParser, SkipsAMalformedStructureAndReadsTheRest) {
  for (const char* structure :
       {"()", "(\"text\")", "(\"text\" \"plain\" NIL NIL NIL \"7bit\" x 1)", "NIL", "(NIL)",
        "((\"a\" \"b\" NIL NIL NIL NIL 1) {2}\r\n() (x))"}) {
    const auto fetch =
        parsed<ImapFetch>("* 1 FETCH (BODYSTRUCTURE " + std::string(structure) + " UID 5)");
    EXPECT_FALSE(fetch.structure) << structure;
    EXPECT_EQ(fetch.uid, 5U) << structure;
  }
}

TEST(ImapParser, SkipsNestingOfAnyDepthInItemsThatItDoesNotKnow) {
  const std::string open(1'000'000, '(');
  const std::string close(1'000'000, ')');
  const auto fetch = parsed<ImapFetch>("* 1 FETCH (X-DEEP " + open + "a" + close + " UID 5)");
  EXPECT_EQ(fetch.uid, 5U);
  EXPECT_FALSE(parsed<ImapFetch>("* 1 FETCH (X-DEEP " + open).whole);
}

TEST(ImapParser, TakesOtherLinesForUnknown) {
  for (const char* line :
       {"", "*", "* ", "r1", "r1 FINE", "* 0 EXPUNGE", "* 0 FETCH (UID 1)", "* 5", "* 5 RECENT",
        "* 99999999999 EXISTS", "* 99999999999 FETCH (UID 1)", "* THREAD (1)(2)", "* VANISHED x",
        "* LIST", "* LIST (", "half a line)", "* 7x EXISTS", "* STATUS \"a\" (MESSAGES 1)"}) {
    parsed<ImapUnknown>(line);
  }
  EXPECT_THAT(parsed<ImapUnknown>("* X " + std::string(1000, 'x')).line, SizeIs(200));
}

TEST(ImapParser, ReadsContinuations) {
  parsed<ImapContinuation>("+ go ahead");
  parsed<ImapContinuation>("+");
}

TEST(InternalDate, IsReadInUtc) {
  const auto day = std::chrono::sys_days(std::chrono::year(2026) / 2 / 3);
  EXPECT_EQ(parseInternalDate("03-Feb-2026 10:20:30 +0000"), day + 10h + 20min + 30s);
  EXPECT_EQ(parseInternalDate(" 3-feb-2026 10:20:30 +0530"), day + 4h + 50min + 30s);
  EXPECT_EQ(parseInternalDate("3-Feb-2026 00:00:00 +1400"), day - 14h);
  for (const char* text :
       {"", "x", "31-Feb-2026 10:20:30 +0000", "03-Xxx-2026 10:20:30 +0000",
        "03-Feb-2026 24:20:30 +0000", "03-Feb-2026 10:20:30", "03-Feb-2026 10:20:30 0000",
        "03-Feb-26 10:20:30 +0000", "03-Feb-2026 10:20:30 +0000x", "03-Feb-2026", "3-Fe"}) {
    EXPECT_FALSE(parseInternalDate(text)) << text;
  }
}

}  // namespace
}  // namespace relaybird
