// SPDX-License-Identifier: MIT
#include "stores/account/imap_command.h"

#include <gmock/gmock.h>

namespace relaybird {
namespace {

using testing::ElementsAre;

TEST(ImapCommand, QuotesTexts) {
  EXPECT_THAT(ImapCommand("SELECT").text("INBOX").words("(CONDSTORE)").pieces(),
              ElementsAre("SELECT \"INBOX\" (CONDSTORE)"));
  EXPECT_THAT(ImapCommand("X").text("a \"b\" \\c").pieces(),
              ElementsAre("X \"a \\\"b\\\" \\\\c\""));
  EXPECT_THAT(ImapCommand("X").text("").pieces(), ElementsAre("X \"\""));
}

TEST(ImapCommand, SendsAsLiteralWhatQuotesCannotCarry) {
  EXPECT_THAT(ImapCommand("X").text("a\r\nY LOGOUT").words("Z").pieces(),
              ElementsAre("X {11}\r\n", "a\r\nY LOGOUT Z"));
  EXPECT_THAT(ImapCommand("X").text("caf\xC3\xA9").pieces(),
              ElementsAre("X {5}\r\n", "caf\xC3\xA9"));
  EXPECT_EQ(ImapCommand("X").text(std::string(1001, 'a')).pieces().size(), 2U);
}

TEST(ImapCommand, SendsLiteralsAtOnceAsFarAsOffered) {
  EXPECT_THAT(ImapCommand("X", ImapLiterals::kAny).literal(std::string(5000, 'a')).pieces(),
              ElementsAre("X {5000+}\r\n" + std::string(5000, 'a')));
  EXPECT_EQ(ImapCommand("X", ImapLiterals::kShort).literal(std::string(4096, 'a')).pieces().size(),
            1U);
  EXPECT_EQ(ImapCommand("X", ImapLiterals::kShort).literal(std::string(4097, 'a')).pieces().size(),
            2U);
}

TEST(ImapMailboxName, IsModifiedUtf7) {
  EXPECT_EQ(imapMailboxName("inbox"), "INBOX");
  EXPECT_EQ(imapMailboxName("Work/New"), "Work/New");
  EXPECT_EQ(imapMailboxName("Tom & Jerry"), "Tom &- Jerry");
  // The examples of RFC 3501 section 5.1.3.
  EXPECT_EQ(imapMailboxName("~peter/mail/\u53F0\u5317/\u65E5\u672C\u8A9E"),
            "~peter/mail/&U,BTFw-/&ZeVnLIqe-");
  EXPECT_EQ(imapMailboxName("Entw\u00FCrfe"), "Entw&APw-rfe");
  EXPECT_EQ(imapMailboxName("\U0001F600"), "&2D3eAA-");
  EXPECT_EQ(imapMailboxName("a\r\nb"), "a&AA0ACg-b");
}

}  // namespace
}  // namespace relaybird
