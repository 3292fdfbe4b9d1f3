// SPDX-License-Identifier: MIT
// The envelope and the text that leave for a file of the outbox, and texts of strangers as parts of
// a log line. The files are written out in the tests.
#include "outbox/delivery/outgoing_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "message/memory_files.h"
#include "message/text/charset.h"
#include "support/whole_text.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

Result<OutgoingMessage> prepared(const std::string& file) {
  return prepareMessage(OutgoingText(file));
}

TEST(OutgoingMessage, ReadsTheEnvelopeFromFromToAndBcc) {
  const auto message = prepared(
      "From: \"Ann, B.\" <ann@example.org>\n"
      "to: One <one@example.org>,\n two@example.org\n"
      "Cc: copy@example.org\n"
      "BCC: three@example.org, one@example.org\n"
      "Subject: hello\n\nTo: nobody@example.org\n");
  ASSERT_TRUE(message) << message.error().text;
  EXPECT_EQ(message->envelope.sender, "ann@example.org");
  EXPECT_THAT(message->envelope.recipients,
              ElementsAre("one@example.org", "two@example.org", "three@example.org"));
  EXPECT_EQ(message->subject, "hello");
}

TEST(OutgoingMessage, LeavesOutEveryBccFieldWithItsFoldsAndNothingElse) {
  const auto message = prepared(
      "From: a@example.org\nBcc: one@example.org,\n\ttwo@example.org\nSubject: s\n"
      "bcc : three@example.org\nBcc-Like: stays\n\nBcc: stays\n");
  ASSERT_TRUE(message) << message.error().text;
  EXPECT_EQ(wholeText(message->text),
            "From: a@example.org\nSubject: s\nBcc-Like: stays\n\nBcc: stays\n");
  EXPECT_THAT(message->envelope.recipients, SizeIs(3));
}

TEST(OutgoingMessage, LineEndsBecomeLfAndLoneCrsStay) {
  const auto message = prepared(
      "From: a@example.org\r\nBcc: b@example.org\r\nSubject: s\r\n\r\none\r\r\ntwo\rthree\n.\r\n");
  ASSERT_TRUE(message) << message.error().text;
  EXPECT_EQ(wholeText(message->text), "From: a@example.org\nSubject: s\n\none\r\ntwo\rthree\n.\n");
  EXPECT_EQ(message->subject, "s");
}

TEST(OutgoingMessage, AHundredRecipientsAreAllThere) {
  std::string file = "From: a@example.org\nBcc: r0@example.org";
  for (int number = 1; number < 100; ++number) {
    file += ",\n r" + std::to_string(number) + "@example.org";
  }
  const auto message = prepared(file + "\n\nx");
  ASSERT_TRUE(message);
  ASSERT_THAT(message->envelope.recipients, SizeIs(100));
  EXPECT_EQ(message->envelope.recipients[99], "r99@example.org");
}

TEST(OutgoingMessage, AMessageThatCanNeverLeaveIsAnError) {
  for (const std::string& file : {
           std::string(),
           std::string("\n\nbody"),
           std::string("no header at all"),
           std::string("From: a@example.org\n\nx"),
           std::string("To: b@example.org\n\nx"),
           std::string("From: a@example.org\nTo: \n\nx"),
           std::string("From: a@example.org\nTo: nobody\n\nx"),
           std::string("From: a@example.org\nTo: -oQ/tmp@example.org\n\nx"),
           std::string("From: -X/tmp/x@example.org\nTo: b@example.org\n\nx"),
           std::string("From: a@example.org\nTo: <b\x01@example.org>\n\nx"),
       }) {
    const auto message = prepared(file);
    ASSERT_FALSE(message) << file;
    EXPECT_FALSE(message.error().text.empty());
  }
}

TEST(OutgoingMessage, WithAHeadWithoutEndIsAnErrorAndNotReadWhole) {
  const std::string head = "From: a@example.org\nTo: b@example.org\n";
  std::string endless = head;
  while (endless.size() < (2u << 20)) {
    endless += "X: and on\n";
  }
  const auto message = prepareMessage(
      *OutgoingText::read(std::make_unique<MemoryInput>(endless + "Bcc: c@example.org\n\nx\n")));
  ASSERT_FALSE(message);
  EXPECT_EQ(message.error().text, "The header of the message is too large");
}

TEST(OutgoingMessage, OfMoreThanTheLimitIsAnError) {
  struct Huge : MemoryInput {
    Huge() : MemoryInput("From: a@example.org\nTo: b@example.org\n\n" + std::string(70'000, 'x')) {
      info_.size = kLargestOutgoing + 1;
    }
    const FileInfo& info() const override { return info_; }
    FileInfo info_;
  };
  const auto message = prepareMessage(*OutgoingText::read(std::make_unique<Huge>()));
  ASSERT_FALSE(message);
  EXPECT_EQ(message.error().text, "The message is too large");
}

TEST(OutgoingMessage, ASubjectOfOddBytesIsShownOnOneValidLine) {
  EXPECT_EQ(messageSubject("Subject: =?utf-8?Q?gr=C3=BC=C3=9Fe=0D=0ABcc:_x?=\n\n"),
            "gr\xC3\xBC\xC3\x9F"
            "e Bcc: x");
  EXPECT_EQ(messageSubject("SUBJECT:\n  folded\n\tonce\n\n"), "folded once");
  EXPECT_EQ(messageSubject("From: x\n\nSubject: body\n"), "");
  EXPECT_EQ(messageSubject(std::string("Subject: a\0b\x1b[31m\n", 17)), "a<U+0000>b<U+001B>[31m");
  EXPECT_EQ(messageSubject(""), "");
}

TEST(OneLine, IsCutBetweenCharacters) {
  // However many bytes stand before it, the character at the cut is there whole or not at all.
  for (const std::string_view character : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
    for (std::size_t before = 280; before <= 300; ++before) {
      std::string text(before, 'x');
      for (int count = 0; count < 300; ++count) {
        text += character;
      }
      const std::string line = oneLine(text);
      EXPECT_LE(line.size(), 300u);
      EXPECT_GT(line.size(), 300u - character.size());
      ASSERT_TRUE(line.ends_with("...")) << line;
      const std::string_view kept = std::string_view(line).substr(0, line.size() - 3);
      EXPECT_TRUE(text.starts_with(kept));
      EXPECT_TRUE(isValidUtf8(kept)) << before;
    }
  }
}

TEST(OneLine, IsCutBetweenCodes) {
  for (std::size_t before = 280; before <= 300; ++before) {
    const std::string line = oneLine(std::string(before, 'x') + "\u202E\u202E\u202E\u202E");
    EXPECT_LE(line.size(), 300u);
    ASSERT_TRUE(line.ends_with("...")) << line;
    const std::string code = line.substr(std::min(before, line.size() - 3));
    EXPECT_TRUE(code == "..." || code == "<U+202E>..." || code == "<U+202E><U+202E>...") << code;
  }
}

TEST(OneLine, OfThreeHundredBytesIsNotCut) {
  for (const std::size_t length : {297u, 298u, 300u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(oneLine(text), text);
    EXPECT_EQ(oneLine(text + " \n "), text);
  }
  EXPECT_EQ(oneLine(std::string(301, 'x')), std::string(297, 'x') + "...");
}

TEST(OneLine, ShowsByTheirCodesWhatWouldDressItUp) {
  EXPECT_EQ(oneLine(" \r\n a \t\n b \u00A0\u2007\u2028 c\u3000 "), "a b c");
  EXPECT_EQ(oneLine("pay \u202Egpj.exe\x7f\u200B\xE9"), "pay <U+202E>gpj.exe<U+007F><U+200B>\\xe9");
}

}  // namespace
}  // namespace relaybird
