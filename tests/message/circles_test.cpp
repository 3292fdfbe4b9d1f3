// SPDX-License-Identifier: MIT
// Which messages are our own forwards, answers to them, or have been forwarded too often, judged by
// their header fields. The marks are stand-ins that the test recognises by their text
// (sampleMarks()).
#include "message/circles.h"

#include <gmock/gmock.h>

#include "message/mail_samples.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Marks = std::vector<std::string>;

Marks tracesOf(const std::string& fields) {
  return traceMarks(HeaderBlock(fields + "\n"));
}

MessageKind kindOfFields(const std::string& fields) {
  return kindOf("Message-ID: <x@example.org>\n" + fields + "\nhello\n");
}

// A trace field with `count` marks of other users.
std::string traceOf(std::size_t count) {
  std::string field = "X-Relaybird-Trace:";
  for (std::size_t i = 0; i < count; ++i) {
    field += " other-" + std::to_string(i) + "\n";
  }
  return count == 0 ? "" : field;
}

TEST(TraceMarks, AreReadFromAListAndFromSeveralFields) {
  EXPECT_THAT(tracesOf("Subject: x\n"), IsEmpty());
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: a\n"), ElementsAre("a"));
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: a\n b\r\n\tc,d , e\r\n"),
              ElementsAre("a", "b", "c", "d", "e"));
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: a\nTo: y\nx-relaybird-trace:b c\n"),
              ElementsAre("a", "b", "c"));
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: a a\nX-Relaybird-Trace: a b\n"), ElementsAre("a", "b"));
}

TEST(TraceMarks, WhatIsNoMarkIsNotCarriedOn) {
  const std::string longest(kLongestMark, 'a');
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: " + longest + "\n"), ElementsAre(longest));
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: " + longest + "a good\n"), ElementsAre("good"));
  for (const std::string& bad :
       {std::string(), std::string(",,, ,"), std::string("<script>"), std::string("a@b.example"),
        std::string("=?utf-8?q?a?="), std::string("\"a\""), std::string("a\x01"),
        std::string("\xC3\xA4"), std::string("a:b"), std::string(500'000, 'x')}) {
    EXPECT_THAT(tracesOf("X-Relaybird-Trace: " + bad + "\n"), IsEmpty()) << bad.substr(0, 50);
  }
  EXPECT_THAT(tracesOf("X-Relaybird-Trace: a" + std::string(1, '\0') + "b\n"), SizeIs(2));
}

TEST(TraceMarks, AHostileNumberOfThemCostsLittleAndIsNotKept) {
  std::string many;
  for (int i = 0; i < 60'000; ++i) {
    many += "X-Relaybird-Trace: m" + std::to_string(i) + "\n";
  }
  EXPECT_THAT(tracesOf(many), SizeIs(kHopLimit));
  std::string list = "X-Relaybird-Trace:";
  for (int i = 0; i < 200'000; ++i) {
    list += " m";
  }
  EXPECT_THAT(tracesOf(list + "\n"), SizeIs(1));
  EXPECT_EQ(kindOf(many + "\nhi\n"), MessageKind::kManyForwards);
}

TEST(Circles, OurTraceAnywhereAmongOthersMakesItOurs) {
  for (const char* traces :
       {"X-Relaybird-Trace: sample-trace\n", "X-Relaybird-Trace: a b sample-trace\n",
        "X-Relaybird-Trace: a,b,c,sample-trace\n", "X-Relaybird-Trace: a\n b\n sample-trace\n",
        "X-Relaybird-Trace: a\nX-Relaybird-Trace: b\nX-Relaybird-Trace: sample-trace\n",
        "X-Relaybird-Trace: a b c d sample-trace\n"}) {
    EXPECT_EQ(kindOfFields(traces), MessageKind::kOwnForward) << traces;
  }
}

TEST(Circles, AForwardWhoseTraceWasTakenOffIsKnownByItsMessageId) {
  EXPECT_EQ(kindOf("Message-ID: <own-forward-1@example.org>\n\nhi\n"), MessageKind::kOwnForward);
  EXPECT_EQ(kindOf("Message-ID:\n <own-forward-1@example.org>\n\nhi\n"), MessageKind::kOwnForward);
}

TEST(Circles, AMessageForwardedAsOftenAsTheLimitSaysIsNotForwardedAgain) {
  for (std::size_t count = 0; count < kHopLimit; ++count) {
    EXPECT_EQ(kindOfFields(traceOf(count)), MessageKind::kMail) << count;
  }
  EXPECT_EQ(kindOfFields(traceOf(kHopLimit)), MessageKind::kManyForwards);
  EXPECT_EQ(kindOfFields(traceOf(kHopLimit + 1)), MessageKind::kManyForwards);
  EXPECT_EQ(kindOfFields(traceOf(kHopLimit) + "Content-Type: text/calendar; method=REQUEST\n"),
            MessageKind::kManyForwards);
}

constexpr const char* kReply = "In-Reply-To: <own-forward-1@example.org>\n";
constexpr const char* kLast = "References: <a@example.org>\n <own-forward-1@example.org>\n";
constexpr const char* kMiddle =
    "References: <a@example.org> <own-forward-1@example.org> <b@example.org>\n";

TEST(Circles, AReplyOfAPersonIsForwarded) {
  for (const char* named : {kReply, kLast, kMiddle}) {
    for (const char* person :
         {"", "Auto-Submitted: no\n", "Auto-Submitted: No (by hand)\n", "Auto-Submitted:\n",
          "Return-Path: <ann@example.org>\n", "Precedence: bulk\n", "Precedence: list\n",
          "X-Autoreply: no\n", "X-Auto-Response-Suppress: All\n",
          "Content-Type: multipart/mixed; boundary=b\n"}) {
      EXPECT_EQ(kindOfFields(std::string(named) + person), MessageKind::kMail) << named << person;
    }
  }
}

TEST(Circles, AnAnswerOfAMachineIsNotForwardedWhereverItNamesTheForward) {
  for (const char* named : {kReply, kLast, kMiddle}) {
    for (const char* machine :
         {"Auto-Submitted: auto-replied\n", "auto-submitted: AUTO-REPLIED; owner-token=x\n",
          "Auto-Submitted: (rfc 3834) auto-replied (vacation)\n", "Return-Path: <>\n",
          "Return-Path: < >\n", "Precedence: auto_reply\n", "X-Autoreply: yes\n",
          "X-Autorespond: Lunch\n", "Content-Type: multipart/report; boundary=b\n",
          "Content-Type: Multipart/Report; report-type=delivery-status; boundary=b\n"}) {
      EXPECT_EQ(kindOfFields(std::string(named) + machine), MessageKind::kOwnAnswer)
          << named << machine;
    }
  }
}

TEST(Circles, NewsOfAThreadThatAForwardWasAnsweredInIsForwarded) {
  for (const char* program : {"Auto-Submitted: auto-generated\n", "Auto-Submitted: auto-notified\n",
                              "Auto-Submitted: auto-generated; type=x\n"}) {
    EXPECT_EQ(kindOfFields(std::string(kMiddle) + program), MessageKind::kMail) << program;
    EXPECT_EQ(kindOfFields(std::string(kLast) + program), MessageKind::kOwnAnswer) << program;
    EXPECT_EQ(kindOfFields(std::string(kReply) + program), MessageKind::kOwnAnswer) << program;
  }
}

TEST(Circles, AutomaticMailThatNamesNoForwardOfOursIsForwarded) {
  for (const char* fields :
       {"Auto-Submitted: auto-replied\nIn-Reply-To: <a@example.org>\n", "Return-Path: <>\n",
        "Auto-Submitted: auto-generated\nReferences: <a@example.org>\n",
        "Auto-Submitted: auto-replied\nSubject: <own-forward-1@example.org>\n"}) {
    EXPECT_EQ(kindOfFields(fields), MessageKind::kMail) << fields;
  }
}

TEST(Circles, AHostileListOfIdentifiersAsksForFewSeals) {
  std::string references = "References:";
  for (int i = 0; i < 50'000; ++i) {
    references += " <a@b>";
  }
  std::size_t asked = 0;
  const OwnMarks own{[&](std::string_view) { return ++asked == 0; },
                     [&](std::string_view) { return ++asked == 0; }};
  const HeaderBlock headers("Return-Path: <>\n" + references + "\n\n");
  EXPECT_FALSE(isAutomaticAnswer(headers, own));
  EXPECT_LE(asked, 200U);
}

TEST(Circles, ANoticeThatNamesAForwardInItsTextIsAnAnswer) {
  for (const char* text :
       {"X-Relaybird-Trace: a\n sample-trace\n", "> X-Relaybird-Trace: a\n>  sample-trace\n",
        "Message-ID: <own-forward-1@example.org>\n",
        "> message-id:\n> <own-forward-1@example.org>\n",
        "Original-Message-ID: <own-forward-1@example.org>\n"}) {
    const std::string body = std::string("\nSorry.\n\n") + text + "Subject: FW: Lunch\n";
    EXPECT_EQ(kindOf("Return-Path: <>\n" + body), MessageKind::kOwnAnswer) << text;
    EXPECT_EQ(kindOf("Return-Path: <ann@example.org>\n" + body), MessageKind::kMail) << text;
  }
}

// The user needs to see a bounce of a message that he wrote himself in such a thread.
TEST(Circles, ANoticeThatReturnsMailInWhoseThreadAForwardStandsIsNoAnswer) {
  for (const char* text :
       {"References: <a@b.example>\n <own-forward-1@example.org>\n",
        "In-Reply-To: <own-forward-1@example.org>\n", "Message-ID: <a@b.example>\n\nsample-trace\n",
        "X-Relaybird-Trace: a\nSubject: sample-trace\n"}) {
    EXPECT_EQ(kindOf(std::string("Return-Path: <>\n\nSorry.\n\n") + text), MessageKind::kMail)
        << text;
  }
}

TEST(Circles, AReportThatReturnsAForwardIsKnownByItsMessageId) {
  EXPECT_EQ(kindOf("Content-Type: multipart/report; report-type=delivery-status; boundary=b\n\n"
                   "--b\n\nSorry.\n--b\nContent-Type: message/delivery-status\n\nAction: failed\n"
                   "--b\nContent-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n"
                   "TWVzc2FnZS1JRDogPG93bi1mb3J3YXJkLTFAZXhhbXBsZS5vcmc+CgpoaQo=\n--b--\n"),
            MessageKind::kOwnAnswer);
}

TEST(Circles, TheReasonsAreToldOfWhatIsNotForwardedAndOfNothingElse) {
  for (const MessageKind kind :
       {MessageKind::kOwnForward, MessageKind::kOwnAnswer, MessageKind::kManyForwards}) {
    EXPECT_NE(whyNotForwarded(kind), "");
  }
  for (const MessageKind kind : {MessageKind::kMail, MessageKind::kMeeting, MessageKind::kReport,
                                 MessageKind::kTaskRequest, MessageKind::kTaskUpdate}) {
    EXPECT_EQ(whyNotForwarded(kind), "");
  }
}

}  // namespace
}  // namespace relaybird
