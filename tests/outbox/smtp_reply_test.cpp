// SPDX-License-Identifier: MIT
#include "outbox/delivery/smtp_reply.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "outbox/delivery/smtp_words.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<SmtpReply> read(const std::string& bytes, std::size_t piece = 1) {
  SmtpReplyReader reader;
  std::vector<SmtpReply> replies;
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    reader.add(std::string_view(bytes).substr(at, piece));
    while (auto reply = reader.take()) {
      replies.push_back(std::move(*reply));
    }
  }
  return replies;
}

SmtpReply one(const std::string& line) {
  return read(line + "\r\n").at(0);
}

TEST(SmtpReply, IsReadFromOneLineOrSeveralHoweverTheyArrive) {
  const std::string bytes =
      "250-first\r\n250-\r\n250 last\r\n220\r\n550-5.7.1 no\n550 5.7.1 really\r\n";
  for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
    const auto replies = read(bytes, piece);
    ASSERT_EQ(replies.size(), 3u);
    EXPECT_EQ(replies[0].code, 250);
    EXPECT_THAT(replies[0].lines, ElementsAre("first", "", "last"));
    EXPECT_THAT(replies[1].lines, ElementsAre(""));
    EXPECT_EQ(replies[2].enhanced, "5.7.1");
    EXPECT_EQ(replies[2].words(), "550 5.7.1 no\n5.7.1 really");
  }
}

TEST(SmtpReply, AnEnhancedCodeIsReadOnlyWhereItIsOne) {
  EXPECT_EQ(one("550 5.1.10 x").enhanced, "5.1.10");
  EXPECT_EQ(one("421 4.7.28").enhanced, "4.7.28");
  for (const char* line : {"550 4.1.1 other class", "550 5.1 x", "550 5.1.1x", "550 5.1234.1 x",
                           "550 5..1 x", "550 x 5.1.1", "550", "354 3.0.0"}) {
    EXPECT_THAT(one(line).enhanced, line == std::string("354 3.0.0") ? "3.0.0" : "") << line;
  }
}

TEST(SmtpReply, TheRestOfAForeignLineBeforeTheFirstReplyIsSkipped) {
  const auto replies = read("tail of a line\r\n250 ok\r\n");
  ASSERT_EQ(replies.size(), 1u);
  SmtpReplyReader reader;
  reader.add("250 ok\r\nnonsense\r\n250 more\r\n");
  EXPECT_TRUE(reader.take());
  EXPECT_FALSE(reader.take());
  EXPECT_EQ(reader.nonsense(), "nonsense");
}

TEST(SmtpReply, MemoryIsBoundedWhateverIsSaid) {
  for (const std::string& bytes : {std::string(1'000'000, '2'), "250 " + std::string(9000, 'x'),
                                   std::string(9, '\n') + "x\n"}) {
    SmtpReplyReader reader;
    reader.add(bytes);
    EXPECT_TRUE(reader.nonsense());
  }
  SmtpReplyReader reader;
  for (int i = 0; i < 1000 && !reader.nonsense(); ++i) {
    reader.add("250-" + std::string(1000, 'x') + "\r\n");
  }
  EXPECT_TRUE(reader.nonsense());
  EXPECT_LT(one("550 " + std::string(4000, 'x')).words().size(), 2100u);
}

TEST(SmtpWords, KnownRefusalsAreExplained) {
  struct Row {
    const char* reply;
    const char* hint;
  };
  for (const Row& row :
       {Row{"550 5.7.520 Access denied, Your organization does not allow external forwarding.",
            "administrator"},
        Row{"550 5.7.60 SMTP; Client does not have permissions to send as this sender",
            "may not send under this address"},
        Row{"535 5.7.8 Username and Password not accepted", "app password"},
        Row{"534 5.7.14 Please log in via your web browser", "web browser"},
        Row{"534 5.7.9 Application-specific password required", "app password"},
        Row{"535 Authentication failed", "app password"},
        Row{"535 5.7.30 Basic authentication is not supported", "does not take passwords"},
        Row{"535 5.7.139 Authentication unsuccessful, basic authentication is disabled",
            "does not take passwords"},
        Row{"530 5.7.0 Authentication Required", "sign in before"},
        Row{"530 5.7.0 Must issue a STARTTLS command first", "587 with STARTTLS"},
        Row{"552 5.2.2 Mailbox full", "mailbox is full"},
        Row{"452 4.2.2 The email account that you tried to reach is over quota", "is full"},
        Row{"552 Message size exceeds fixed limit", "larger than the server takes"},
        Row{"552 5.3.4 Message too big", "larger than the server takes"},
        Row{"550 5.5.4 too many recipients", "forward to fewer"},
        Row{"450 4.7.1 Greylisted, try again in five minutes", "A rule of the server delays it"},
        Row{"450 4.7.25 no reverse DNS record", "A rule of the server delays it"},
        Row{"550 5.4.5 Daily user sending quota exceeded", "tried again in some hours"},
        Row{"421 4.7.28 Our system has detected an unusual rate", "how much mail may leave"},
        Row{"421 4.7.0 Try again later, closing connection", "how much mail may leave"},
        Row{"421 Too many concurrent connections", "how much mail may leave"},
        Row{"451 Rate limit reached", "how much mail may leave"},
        Row{"550 5.1.1 User unknown", "does not exist"}}) {
    EXPECT_THAT(smtpHint(one(row.reply)), HasSubstr(row.hint)) << row.reply;
  }
  EXPECT_THAT(smtpHint(one("550 no")), IsEmpty());
  EXPECT_THAT(smtpHint(one("421 shutting down")), IsEmpty());
  // Only its words tell what this provider means by the code.
  EXPECT_THAT(smtpHint(one("535 5.7.139 The tenant is locked")), HasSubstr("user name"));
}

TEST(SmtpWords, ARefusedMessageIsNotTakenForARefusedSignIn) {
  for (const char* code : {"5.7.9", "5.7.14", "5.7.30", "5.7.139", "5.7.8"}) {
    const std::string text = "550 " + std::string(code) + " the message is not wanted";
    EXPECT_THAT(smtpHint(one(text)), Not(HasSubstr("provider"))) << code;
    EXPECT_FALSE(refusesSignIn(one(text))) << code;
  }
}

TEST(SmtpWords, TheMailboxOfOneRecipientIsNotTakenForALimitOfAll) {
  const SmtpReply full = one("452 4.2.2 mailbox size limit exceeded");
  EXPECT_FALSE(asksToSlowDown(full));
  EXPECT_THAT(smtpHint(full), HasSubstr("mailbox is full"));
  EXPECT_FALSE(limitsAccount(one("552 5.2.2 over the sending limit of the mailbox")));
  const SmtpReply unexplained = one("450 4.3.0 Try again");
  EXPECT_FALSE(asksToSlowDown(unexplained));
  EXPECT_THAT(smtpHint(unexplained), IsEmpty());
}

TEST(SmtpWords, OnlyTemporaryAnswersAskToSlowDown) {
  EXPECT_TRUE(asksToSlowDown(one("450 4.7.28 slow")));
  EXPECT_TRUE(asksToSlowDown(one("452 too many messages")));
  EXPECT_FALSE(asksToSlowDown(one("550 too many messages")));
  EXPECT_FALSE(asksToSlowDown(one("450 4.2.1 mailbox busy")));
  EXPECT_FALSE(asksToSlowDown(one("450 4.7.1 Greylisted")));
  EXPECT_TRUE(refusesSignIn(one("530 5.7.0 Authentication Required")));
  EXPECT_FALSE(refusesSignIn(one("550 5.7.1 relaying denied")));
}

}  // namespace
}  // namespace relaybird
