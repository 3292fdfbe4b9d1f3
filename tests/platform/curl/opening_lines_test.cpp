// SPDX-License-Identifier: MIT
// What may be shown of the lines that open a connection, and what they tell about the server. The
// lines are given as text; no connection is made. A secret must not be shown in any form, whoever
// sends it.
#include "platform/curl/opening_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace relaybird {
namespace {

using testing::ElementsAre;

struct Shown {
  explicit Shown(MailProtocol protocol, std::string_view secret = "hunter22")
      : lines(protocol, Secret(secret), [this](const ProtocolLine& line) {
          all.push_back((line.sent ? "> " : "< ") + line.text);
        }) {}

  std::vector<std::string> all;
  OpeningLines lines;
};

TEST(OpeningLines, ShowHarmlessCommandsAndHideTheSignInOfSmtp) {
  Shown shown(MailProtocol::kSmtp);
  shown.lines.received("220 mail.test ESMTP\r\n");
  EXPECT_FALSE(shown.lines.signInSent());
  shown.lines.sent("EHLO [127.0.0.1]\r\n");
  shown.lines.sent("AUTH LOGIN\r\n");
  shown.lines.received("334 VXNlcm5hbWU6\r\n");
  shown.lines.sent("YW5u\r\n");
  shown.lines.received("334 UGFzc3dvcmQ6\r\n");
  shown.lines.sent("EHLO\r\n");  // a password whose encoded form is that of a command
  shown.lines.received("235 in\r\n");
  EXPECT_THAT(shown.all, ElementsAre("< 220 mail.test ESMTP", "> EHLO [127.0.0.1]", "> AUTH LOGIN",
                                     "< 334 VXNlcm5hbWU6", "> ***", "< 334 UGFzc3dvcmQ6", "> ***",
                                     "< 235 in"));
  EXPECT_TRUE(shown.lines.signInSent());
}

TEST(OpeningLines, HideAnInitialResponseAndTheLoginCommandOfImap) {
  Shown shown(MailProtocol::kImap);
  shown.lines.sent("A001 CAPABILITY\r\n");
  shown.lines.sent("A002 AUTHENTICATE PLAIN AGFubgBodW50ZXIyMg==\r\n");
  shown.lines.received("A002 NO not AGFubgBodW50ZXIyMg==\r\n");
  shown.lines.sent("A003 LOGIN ann \"hunter22\"\r\n");
  shown.lines.received("A003 BAD ann \"hunter22\"\r\n");
  EXPECT_THAT(shown.all,
              ElementsAre("> A001 CAPABILITY", "> A002 AUTHENTICATE PLAIN ***", "< A002 NO not ***",
                          "> A003 LOGIN ***", "< A003 BAD ann \"***\""));
  EXPECT_EQ(shown.lines.answer(), "BAD ann \"***\"");
}

TEST(OpeningLines, HideWhateverIsNotKnownToBeHarmless) {
  Shown shown(MailProtocol::kSmtp);
  shown.lines.sent("XAUTH hunter\r\n");
  EXPECT_THAT(shown.all, ElementsAre("> ***"));
}

TEST(OpeningLines, HideASecretInAHarmlessCommandToo) {
  Shown shown(MailProtocol::kSmtp);
  shown.lines.sent("EHLO hunter22\r\n");
  EXPECT_THAT(shown.all, ElementsAre("> EHLO ***"));
}

TEST(OpeningLines, DoNotBreakAnswersForTheSakeOfAVeryShortPassword) {
  Shown shown(MailProtocol::kSmtp, "5");
  shown.lines.received("535 5.7.8 no\r\n");
  EXPECT_EQ(shown.lines.answer(), "535 5.7.8 no");
}

TEST(OpeningLines, JoinTheLinesOfAReplyOfSmtp) {
  Shown shown(MailProtocol::kSmtp);
  shown.lines.received("250 earlier\r\n");
  shown.lines.sent("AUTH PLAIN\r\n");
  shown.lines.received("535-5.7.8 Not accepted, see\r\n");
  shown.lines.received("535\r\n");
  EXPECT_EQ(shown.lines.answer(), "535 5.7.8 Not accepted, see ");
  shown.lines.received("xyz\x01 abc\r\n");
  EXPECT_EQ(shown.lines.answer(), "xyz? abc");
}

TEST(OpeningLines, AnswersAreOneLineOfTextOfModestLength) {
  Shown shown(MailProtocol::kSmtp);
  shown.lines.received("535 a\x1b[2J\tb\xFF" + std::string(100'000, 'x') + "\r\n");
  EXPECT_THAT(shown.lines.answer(), testing::StartsWith("535 a?[2J b?xxx"));
  EXPECT_LT(shown.lines.answer().size(), 1000U);
  for (int i = 0; i < 10'000; ++i) {
    shown.lines.received("535-more\r\n");
  }
  EXPECT_LT(shown.lines.answer().size(), 1000U);
  EXPECT_LT(shown.all.size(), 1000U);
}

TEST(OpeningLines, TheAnswerOfImapIsTheLastStatusWithoutItsTag) {
  Shown shown(MailProtocol::kImap);
  shown.lines.received("* OK hello\r\n");
  EXPECT_EQ(shown.lines.answer(), "OK hello");
  shown.lines.sent("A1 LOGIN a b\r\n");
  shown.lines.received("* CAPABILITY IMAP4rev1\r\n");
  shown.lines.received("A1 NO [AUTHENTICATIONFAILED] no\r\n");
  EXPECT_EQ(shown.lines.answer(), "NO [AUTHENTICATIONFAILED] no");
  EXPECT_FALSE(shown.lines.busy());
}

TEST(OpeningLines, TellServersThatAreBusyFromThoseThatRefuse) {
  const auto busy = [](MailProtocol protocol, const std::string& command,
                       const std::string& answer) {
    Shown shown(protocol);
    shown.lines.sent(command);
    shown.lines.received(answer);
    return shown.lines.busy();
  };
  EXPECT_TRUE(busy(MailProtocol::kSmtp, "", "421 too many connections"));
  EXPECT_TRUE(busy(MailProtocol::kSmtp, "", "554 not from there"));
  EXPECT_TRUE(busy(MailProtocol::kSmtp, "AUTH PLAIN", "454 4.7.0 later"));
  EXPECT_FALSE(busy(MailProtocol::kSmtp, "AUTH PLAIN", "432 4.7.12 change the password"));
  EXPECT_FALSE(busy(MailProtocol::kSmtp, "AUTH PLAIN", "535 5.7.8 no"));
  EXPECT_TRUE(busy(MailProtocol::kImap, "", "* BYE full"));
  EXPECT_TRUE(busy(MailProtocol::kImap, "A1 LOGIN a b", "A1 NO [INUSE] later"));
  EXPECT_TRUE(busy(MailProtocol::kImap, "A1 LOGIN a b",
                   "A1 NO [ALERT] Too many simultaneous connections. (Failure)"));
  EXPECT_FALSE(busy(MailProtocol::kImap, "A1 LOGIN a b", "A1 NO [AUTHENTICATIONFAILED] no"));
}

TEST(OpeningLines, AChallengeOfAnotherKindIsNoAnswer) {
  Shown shown(MailProtocol::kImap);
  shown.lines.received("A1 OK done\r\n");
  shown.lines.sent("A2 AUTHENTICATE CRAM-MD5\r\n");
  shown.lines.received("+ PDEyMy40NTZAbWFpbC50ZXN0Pg==\r\n");
  EXPECT_EQ(shown.lines.answer(), "OK done");
  shown.lines.received("+ eyJzdGF0dXMiOiI0MDAifQ==\r\n");
  EXPECT_EQ(shown.lines.answer(), "{\"status\":\"400\"}");
}

}  // namespace
}  // namespace relaybird
