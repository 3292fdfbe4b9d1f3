// SPDX-License-Identifier: MIT
#include "stores/outbox/delivery/outgoing_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stores/outbox/delivery/one_line.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

TEST(OutgoingMessage, ReadsTheEnvelopeFromFromToAndBcc) {
  const auto message = prepareMessage(
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
  const auto message = prepareMessage(
      "From: a@example.org\nBcc: one@example.org,\n\ttwo@example.org\nSubject: s\n"
      "bcc : three@example.org\nBcc-Like: stays\n\nBcc: stays\n");
  ASSERT_TRUE(message) << message.error().text;
  EXPECT_EQ(message->bytes, "From: a@example.org\nSubject: s\nBcc-Like: stays\n\nBcc: stays\n");
  EXPECT_THAT(message->envelope.recipients, SizeIs(3));
}

TEST(OutgoingMessage, LineEndsBecomeLfAndLoneCrsStay) {
  const auto message = prepareMessage(
      "From: a@example.org\r\nBcc: b@example.org\r\nSubject: s\r\n\r\none\r\r\ntwo\rthree\n.\r\n");
  ASSERT_TRUE(message) << message.error().text;
  EXPECT_EQ(message->bytes, "From: a@example.org\nSubject: s\n\none\r\ntwo\rthree\n.\n");
  EXPECT_EQ(message->subject, "s");
}

TEST(OutgoingMessage, AHundredRecipientsAreAllThere) {
  std::string file = "From: a@example.org\nBcc: r0@example.org";
  for (int number = 1; number < 100; ++number) {
    file += ",\n r" + std::to_string(number) + "@example.org";
  }
  const auto message = prepareMessage(file + "\n\nx");
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
    const auto message = prepareMessage(file);
    ASSERT_FALSE(message) << file;
    EXPECT_FALSE(message.error().text.empty());
  }
}

TEST(OutgoingMessage, ASubjectOfOddBytesIsShownOnOneValidLine) {
  EXPECT_EQ(messageSubject("Subject: =?utf-8?Q?gr=C3=BC=C3=9Fe=0D=0ABcc:_x?=\n\n"),
            "gr\xC3\xBC\xC3\x9F"
            "e Bcc: x");
  EXPECT_EQ(messageSubject("SUBJECT:\n  folded\n\tonce\n\n"), "folded once");
  EXPECT_EQ(messageSubject("From: x\n\nSubject: body\n"), "");
  EXPECT_EQ(messageSubject(std::string("Subject: a\0b\x1b[31m\n", 17)), "a b [31m");
  EXPECT_EQ(messageSubject(""), "");
}

TEST(OneLine, IsCutBetweenCharacters) {
  std::string text;
  for (int count = 0; count < 1000; ++count) text += "\xE2\x82\xAC";
  const std::string line = oneLine(text);
  EXPECT_LE(line.size(), 300u);
  EXPECT_GT(line.size(), 290u);
  EXPECT_EQ((line.size() - 3) % 3, 0u);
  EXPECT_EQ(line.substr(line.size() - 3), "...");
  EXPECT_EQ(oneLine(" \r\n a \t\n b \x7f "), "a b");
}

}  // namespace
}  // namespace relaybird
