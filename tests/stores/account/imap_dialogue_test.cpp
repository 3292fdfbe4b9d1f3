// SPDX-License-Identifier: MIT
// The order of commands, literals, IDLE and replies. The commands are letters, each of which notes
// its end; the test gives the server's responses as text.
#include "stores/account/imap_dialogue.h"

#include <gmock/gmock.h>

namespace relaybird {
namespace {

using testing::ElementsAre;

class ImapDialogueTest : public testing::Test {
 protected:
  std::string sent() { return std::exchange(dialogue_.output(), {}); }
  void send(const std::string& words) { dialogue_.send(ImapCommand(words), ended(words)); }
  void idle() { dialogue_.idle(ended("IDLE")); }
  ImapDialogue::Done ended(const std::string& name) {
    return [this, name](const ImapCondition& reply) {
      log_.push_back(name + (reply.status == ImapStatus::kOk ? " ok" : " refused"));
    };
  }

  std::vector<std::string> log_;
  std::vector<std::string> traced_;
  ImapDialogue dialogue_{
      [this](ImapResponse response) { log_.push_back("data " + std::to_string(response.index())); },
      [this](const ProtocolLine& line) {
        traced_.push_back((line.sent ? "> " : "< ") + line.text);
      }};
};

TEST_F(ImapDialogueTest, SendsCommandsAheadAndMatchesReplies) {
  send("A");
  send("B");
  EXPECT_EQ(sent(), "r1 A\r\nr2 B\r\n");
  dialogue_.received("r2 OK\r\n* 3 EXISTS\r\nr1 NO why\r\n");
  EXPECT_THAT(log_, ElementsAre("B ok", "data 4", "A refused"));
  EXPECT_FALSE(dialogue_.owesReply());
}

TEST_F(ImapDialogueTest, IgnoresForeignTagsAndRemainsOfTheSignIn) {
  send("A");
  dialogue_.received("4rev1 IDLE] Logged in\r\nx9 OK\r\nr7 OK\r\n+ what\r\nr1 OK\r\nr1 OK\r\n");
  EXPECT_THAT(log_, ElementsAre("data 0", "A ok"));
}

TEST_F(ImapDialogueTest, WaitsWithALiteralUntilItIsAskedFor) {
  dialogue_.send(ImapCommand("A").literal("one").literal("two").words("x"), ended("A"));
  send("B");
  EXPECT_EQ(sent(), "r1 A {3}\r\n");
  dialogue_.received("+ go\r\n");
  EXPECT_EQ(sent(), "one {3}\r\n");
  dialogue_.received("+\r\n");
  EXPECT_EQ(sent(), "two x\r\nr2 B\r\n");
  dialogue_.received("r1 OK\r\nr2 OK\r\n");
  EXPECT_THAT(log_, ElementsAre("A ok", "B ok"));
}

TEST_F(ImapDialogueTest, DropsALiteralThatIsRefused) {
  dialogue_.send(ImapCommand("A").literal("one"), ended("A"));
  send("B");
  sent();
  dialogue_.received("r1 NO too large\r\n");
  EXPECT_EQ(sent(), "r2 B\r\n");
  EXPECT_THAT(log_, ElementsAre("A refused"));
}

TEST_F(ImapDialogueTest, EndsIdlingBeforeACommand) {
  idle();
  EXPECT_EQ(sent(), "r1 IDLE\r\n");
  EXPECT_TRUE(dialogue_.owesReply());
  dialogue_.received("+ idling\r\n");
  EXPECT_FALSE(dialogue_.owesReply());
  EXPECT_TRUE(dialogue_.idling());
  send("A");
  EXPECT_EQ(sent(), "DONE\r\nr2 A\r\n");
  EXPECT_FALSE(dialogue_.idling());
  EXPECT_TRUE(dialogue_.owesReply());
  dialogue_.received("r1 OK\r\nr2 OK\r\n");
  EXPECT_THAT(log_, ElementsAre("IDLE ok", "A ok"));
  idle();
  EXPECT_EQ(sent(), "r3 IDLE\r\n");
}

TEST_F(ImapDialogueTest, DoesNotSayDoneBeforeTheServerIdles) {
  idle();
  send("A");
  EXPECT_EQ(sent(), "r1 IDLE\r\n");
  dialogue_.received("+ idling\r\n");
  EXPECT_EQ(sent(), "DONE\r\nr2 A\r\n");
}

TEST_F(ImapDialogueTest, GoesOnWhereIdleIsRefused) {
  idle();
  send("A");
  dialogue_.received("r1 BAD what\r\n");
  EXPECT_EQ(sent(), "r1 IDLE\r\nr2 A\r\n");
  EXPECT_THAT(log_, ElementsAre("IDLE refused"));
}

TEST_F(ImapDialogueTest, GoesOnWhereTheServerEndsIdlingByItself) {
  idle();
  dialogue_.received("+\r\nr1 OK enough\r\n");
  EXPECT_FALSE(dialogue_.idling());
  send("A");
  EXPECT_EQ(sent(), "r1 IDLE\r\nr2 A\r\n");
}

TEST_F(ImapDialogueTest, NotesBye) {
  EXPECT_FALSE(dialogue_.bye());
  dialogue_.received("* BYE going down\r\n");
  EXPECT_EQ(dialogue_.bye(), "going down");
}

TEST_F(ImapDialogueTest, TracesLinesWithoutLiterals) {
  dialogue_.send(ImapCommand("A", ImapLiterals::kAny).literal("content"), ended("A"));
  dialogue_.received("* 1 FETCH (BODY[] {3}\r\nabc UID 2)\r\n* X " + std::string(5000, 'x') +
                     "\r\n");
  EXPECT_THAT(traced_, ElementsAre("> r1 A {7+}", "< * 1 FETCH (BODY[] {3}", testing::_));
  EXPECT_EQ(traced_.back().size(), 305U);
  traced_.clear();
  dialogue_.send(ImapCommand("B", ImapLiterals::kWaiting).literal("content"), ended("B"));
  dialogue_.received("+ go on\r\n");
  EXPECT_THAT(traced_, ElementsAre("> r2 B {7}", "< + go on"));
}

}  // namespace
}  // namespace relaybird
