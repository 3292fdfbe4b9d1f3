// SPDX-License-Identifier: MIT
// What is said to a server byte for byte, and what its answers come to, without a connection: the
// test gives the answers and takes the commands. Whole series are in smtp_transport_test.cpp.
#include "outbox/delivery/smtp_dialogue.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "message/memory_files.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Kind = Outcome::Kind;

class SmtpDialogueTest : public testing::Test {
 protected:
  // Everything that is to be sent by now.
  std::string said() {
    std::string all;
    while (!dialogue_.output().empty()) {
      const std::string piece(dialogue_.output());
      all += piece;
      dialogue_.sent(piece.size());
    }
    return all;
  }
  std::string answer(const std::string& reply) {
    dialogue_.receive(reply + "\r\n");
    return said();
  }
  void greet(const std::string& capabilities = "250 PIPELINING") {
    EXPECT_EQ(said(), "EHLO [127.0.0.1]\r\n") << "nothing about this computer";
    EXPECT_EQ(answer("250-mail.example.org\r\n" + capabilities), "");
  }
  std::string give(const std::string& text, std::vector<std::string> recipients = {"bob@x.example"},
                   const std::string& sender = "ann@x.example") {
    OutgoingMessage message;
    message.envelope = {sender, std::move(recipients)};
    message.text = OutgoingText(text);
    dialogue_.give({++number_, std::move(message)});
    return said();
  }
  Outcome verdict() {
    const auto verdicts = dialogue_.takeVerdicts();
    EXPECT_THAT(verdicts, SizeIs(1));
    return verdicts.empty() ? Outcome{} : verdicts.front().outcome;
  }

  SmtpDialogue dialogue_{{.server = "mail.example.org"}};
  std::uint64_t number_ = 0;
};

TEST_F(SmtpDialogueTest, AServerOfOldIsGreetedOnceMoreInItsOwnWay) {
  EXPECT_EQ(said(), "EHLO [127.0.0.1]\r\n");
  EXPECT_EQ(answer("502 what?"), "HELO [127.0.0.1]\r\n");
  EXPECT_EQ(answer("250 hello"), "");
  EXPECT_TRUE(dialogue_.wantsMessage());
  EXPECT_EQ(give("a\n"), "MAIL FROM:<ann@x.example>\r\n") << "without groups and sizes";
}

TEST_F(SmtpDialogueTest, AServerThatKnowsNeitherGreetingTakesNothing) {
  said();
  answer("502 what?");
  EXPECT_EQ(answer("502 what?"), "");
  EXPECT_TRUE(dialogue_.over());
  EXPECT_THAT(dialogue_.takeTrouble()->words, HasSubstr("refuses the greeting"));
}

// The size is counted with CR LF at the line ends.
TEST_F(SmtpDialogueTest, AMessageOfTheVeryLimitIsSentAndOneByteMoreIsNot) {
  greet("250 SIZE 10");
  EXPECT_EQ(give("1234567\n\n"), "");
  EXPECT_EQ(verdict().kind, Kind::kPermanent);
  EXPECT_THAT(give("12345678\n"), StartsWith("MAIL FROM:<ann@x.example> SIZE=10"));
}

TEST_F(SmtpDialogueTest, ALineOfTheVeryLimitIsSentAndALongerOneIsNot) {
  greet();
  EXPECT_EQ(give(std::string(999, 'x') + "\n"), "");
  EXPECT_THAT(verdict().words, HasSubstr("RFC 5321"));
  EXPECT_THAT(give(std::string(998, 'x') + "\n"), StartsWith("MAIL"));
}

// A text is gone over in pieces of 64 KB.
TEST_F(SmtpDialogueTest, WhatAPieceOfATextIsLikeCountsForTheWhole) {
  const std::string piece = "a: b\n\n" + std::string(65'530, '\n');
  greet("250-8BITMIME\r\n250 PIPELINING");
  EXPECT_EQ(give(piece.substr(500) + std::string(999, 'x') + "\n"), "")
      << "a line over the end of a piece";
  EXPECT_EQ(verdict().kind, Kind::kPermanent);
  EXPECT_EQ(give(std::string("\r\n\r") + piece), "") << "a lone CR in the first piece alone";
  EXPECT_EQ(verdict().kind, Kind::kPermanent);
  EXPECT_EQ(give(std::string(999, 'x') + "\n" + piece), "") << "a long line in the first piece";
  EXPECT_EQ(verdict().kind, Kind::kPermanent);
  EXPECT_THAT(give("\xc3\xa4\n" + piece), HasSubstr("BODY=8BITMIME"));
}

// What stands in an address must not become a command or another address.
TEST_F(SmtpDialogueTest, AnAddressThatWouldBreakItsCommandIsNotSent) {
  greet();
  for (const std::string address :
       {"", "bob@x.example\r\nRSET", "bob@x.example> SIZE=1", "<bob@x.example", "bob @x.example",
        "bob\t@x.example", "bob@x.example\x7f",
        "b\xc3\xb6"
        "b@x.example"}) {
    EXPECT_EQ(give("a\n", {"carol@x.example", address}), "") << address;
    EXPECT_EQ(verdict().kind, Kind::kPermanent) << address;
    EXPECT_EQ(give("a\n", {"carol@x.example"}, address), "") << address;
    EXPECT_EQ(verdict().kind, Kind::kPermanent) << address;
  }
  EXPECT_THAT(give("a\n", {"\"b <o> b\"@x.example"}),
              HasSubstr("RCPT TO:<\"b <o> b\"@x.example>\r\n"));
}

// RFC 5321, 4.5.3.1.10: the server takes no more recipients for this message.
TEST_F(SmtpDialogueTest, RecipientsBeyondTheServersNumberAreTriedLater) {
  greet();
  give("a\n", {"bob@x.example", "carol@x.example", "dave@x.example"});
  answer("250 ok\r\n250 ok\r\n552 too many recipients\r\n552 5.2.2 mailbox full");
  EXPECT_EQ(answer("354 go on"), "a\r\n");
  dialogue_.noMessage();
  EXPECT_EQ(said(), ".\r\n");
  answer("250 taken");
  const Outcome outcome = verdict();
  EXPECT_EQ(outcome.kind, Kind::kDelivered);
  ASSERT_THAT(outcome.refused, SizeIs(2));
  for (const RefusedRecipient& refused : outcome.refused) {
    EXPECT_EQ(refused.permanent, refused.address == "dave@x.example") << refused.address;
  }
}

// The text would reach nobody, and be sent for nothing.
TEST_F(SmtpDialogueTest, AServerThatWantsATextForNobodyGetsTheDotAlone) {
  greet();
  give("Subject: hidden\n\ntext\n");
  answer("250 ok\r\n550 no such user");
  EXPECT_EQ(answer("354 go on all the same"), "");
  dialogue_.noMessage();
  EXPECT_EQ(said(), ".\r\n");
  answer("554 no valid recipients");
  EXPECT_EQ(verdict().kind, Kind::kPermanent);
}

TEST_F(SmtpDialogueTest, AnAnswerThatNobodyAskedForEndsTheConnection) {
  greet();
  answer("250 ok");
  EXPECT_TRUE(dialogue_.over());
  EXPECT_THAT(dialogue_.takeTrouble()->words, HasSubstr("spoke without being asked: 250 ok"));
}

// Otherwise the text would be sent as commands.
TEST_F(SmtpDialogueTest, AnAnswerThatDoesNotFitItsCommandEndsTheConnection) {
  for (const std::string replies : {"354 go on", "250 ok\r\n354 go on",
                                    "250 ok\r\n250 ok\r\n250 ok", "250 ok\r\n250 ok\r\n150 hm"}) {
    SmtpDialogue dialogue({.server = "mail.example.org"});
    dialogue.sent(dialogue.output().size());
    dialogue.receive("250-mail\r\n250 PIPELINING\r\n");
    OutgoingMessage message;
    message.envelope = {"ann@x.example", {"bob@x.example"}};
    message.text = OutgoingText("a\n");
    dialogue.give({1, std::move(message)});
    dialogue.sent(dialogue.output().size());
    dialogue.receive(replies + "\r\n");
    EXPECT_TRUE(dialogue.over()) << replies;
    EXPECT_TRUE(dialogue.output().empty()) << replies;
    const auto verdicts = dialogue.takeVerdicts();
    ASSERT_THAT(verdicts, SizeIs(1)) << replies;
    EXPECT_EQ(verdicts[0].outcome.kind, Kind::kTemporary) << replies;
  }
}

// Its file gives the beginning of a long text, and then fails.
class FailingFile : public MemoryInput {
 public:
  explicit FailingFile(int readsUntilItFails)
      : MemoryInput("a: b\n\n" + lines("\n")), left_(readsUntilItFails) {}
  static std::string lines(const std::string& lineEnd) {
    std::string text;
    for (int count = 0; count < 180'000; ++count) {
      text += "line" + lineEnd;
    }
    return text;
  }
  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    failing = left_-- <= 0;
    return MemoryInput::readAt(offset, buffer, size);
  }

 private:
  int left_;
};

TEST_F(SmtpDialogueTest, ATextThatCannotBeReadToItsEndIsNotEndedAndNothingFollowsIt) {
  constexpr int kReadsOfAll = 14;  // once to open it, and for the size
  for (const bool leaving : {false, true}) {
    SmtpDialogue dialogue({.server = "mail.example.org"});
    dialogue.sent(dialogue.output().size());
    dialogue.receive("250-mail\r\n250 PIPELINING\r\n");
    OutgoingMessage message;
    message.envelope = {"ann@x.example", {"bob@x.example"}};
    message.text = *OutgoingText::read(std::make_unique<FailingFile>(kReadsOfAll + 5));
    dialogue.give({1, std::move(message)});
    dialogue.sent(dialogue.output().size());
    dialogue.receive("250 ok\r\n250 ok\r\n354 go on\r\n");
    if (leaving) {
      dialogue.quit();
    }
    std::string said;
    while (!dialogue.over() && !dialogue.output().empty()) {
      said += dialogue.output();
      dialogue.sent(dialogue.output().size());
    }
    said += dialogue.output();
    EXPECT_TRUE(dialogue.over());
    EXPECT_GT(said.size(), 300'000u);
    EXPECT_TRUE(("a: b\r\n\r\n" + FailingFile::lines("\r\n")).starts_with(said))
        << said.substr(said.size() - 20);
    const auto verdicts = dialogue.takeVerdicts();
    ASSERT_THAT(verdicts, SizeIs(1));
    EXPECT_EQ(verdicts[0].outcome.kind, Kind::kTemporary);
    EXPECT_FALSE(verdicts[0].outcome.everything);
    EXPECT_EQ(verdicts[0].outcome.cause, Outcome::Cause::kDisk);
    EXPECT_EQ(verdicts[0].outcome.words, "the disk is gone");
    EXPECT_FALSE(dialogue.takeTrouble()) << "the server is not to blame";
  }
}

TEST_F(SmtpDialogueTest, ATextThatCannotBeReadAtAllIsNotBegunAndAnotherOneIs) {
  greet();
  OutgoingMessage message;
  message.envelope = {"ann@x.example", {"bob@x.example"}};
  message.text = *OutgoingText::read(std::make_unique<FailingFile>(3));
  dialogue_.give({++number_, std::move(message)});
  EXPECT_EQ(verdict().cause, Outcome::Cause::kDisk);
  EXPECT_EQ(said(), "");
  EXPECT_TRUE(dialogue_.wantsMessage());
  EXPECT_THAT(give("a\n"), HasSubstr("MAIL FROM"));
}

TEST_F(SmtpDialogueTest, DotsAreDoubledAndLinesEndedWhereverAPieceOfTheTextEnds) {
  for (std::size_t before = 65'525; before < 65'540; ++before) {
    const std::string start = "a: b\n\n" + std::string(before - 6, '\n');
    SmtpDialogue dialogue({.server = "mail.example.org"});
    dialogue.sent(dialogue.output().size());
    dialogue.receive("250-mail\r\n250 PIPELINING\r\n");
    OutgoingMessage message;
    message.envelope = {"ann@x.example", {"bob@x.example"}};
    message.text = OutgoingText(start + ".\n..\nx.y\n\n.end");
    dialogue.give({1, std::move(message)});
    dialogue.sent(dialogue.output().size());
    dialogue.receive("250 ok\r\n250 ok\r\n354 go on\r\n");
    std::string said;
    while (!dialogue.output().empty()) {
      said += dialogue.output();
      dialogue.sent(dialogue.output().size());
    }
    EXPECT_TRUE(said.ends_with("\r\n\r\n..\r\n...\r\nx.y\r\n\r\n..end\r\n")) << before;
  }
}

// A sign-in that has ended in the meantime is no fault of the message.
TEST_F(SmtpDialogueTest, ASignInThatIsWantedAgainHoldsEverythingBack) {
  greet();
  give("a\n");
  answer("530 5.7.0 sign in first\r\n503 no sender\r\n503 no recipients");
  EXPECT_THAT(dialogue_.takeVerdicts(), IsEmpty());
  EXPECT_THAT(dialogue_.takeUnsent(), ElementsAre(1));
  const auto trouble = dialogue_.takeTrouble();
  ASSERT_TRUE(trouble);
  EXPECT_EQ(trouble->cause, Outcome::Cause::kServer);
  EXPECT_THAT(trouble->words, HasSubstr("530 5.7.0 sign in first"));
}

TEST_F(SmtpDialogueTest, GreylistingKeepsOneMessageAlone) {
  greet();
  give("a\n");
  answer("250 ok\r\n451 4.7.1 Greylisted, too many attempts, try again later\r\n503 nobody");
  EXPECT_EQ(verdict().kind, Kind::kTemporary);
  EXPECT_FALSE(dialogue_.takeTrouble());
  EXPECT_FALSE(dialogue_.over());
}

}  // namespace
}  // namespace relaybird
