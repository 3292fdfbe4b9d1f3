// SPDX-License-Identifier: MIT
// How a series goes to an SMTP server: what is said, on how many connections, in how much memory,
// and when it is on record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <utility>

#include "outbox/delivery/delivery_settlement.h"
#include "outbox/delivery/smtp_transport.h"
#include "outbox/smtp_world.h"

namespace relaybird {
namespace {

using std::chrono::minutes;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST(SmtpTransport, SendsASeriesOnOneConnectionByteForByte) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    world.sendMany(3);
    world.flush();
    EXPECT_EQ(world.network.connections(), 1u);
    ASSERT_THAT(world.server.taken, SizeIs(3));
    EXPECT_EQ(world.server.taken[1].sender, "ann2@example.org");
    EXPECT_THAT(world.server.taken[1].recipients, ElementsAre("bob@example.org"));
    EXPECT_EQ(world.server.taken[1].text,
              "From: ann2@example.org\r\nSubject: message 2\r\nMessage-ID: <2@id>\r\n\r\n"
              ".dot\r\n..\r\nbody\r\n");
    EXPECT_THAT(world.server.violations, IsEmpty());
    EXPECT_EQ(world.server.commands.back(), "QUIT");
    EXPECT_EQ(std::count(world.server.commands.begin(), world.server.commands.end(), "RSET"),
              pipelining ? 2 : 0);
    EXPECT_EQ(world.waiting(), 0u);
  }
}

TEST(SmtpTransport, WhatTheServerHasTakenIsOnRecordBeforeTheNextTextLeaves) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    std::vector<std::size_t> recorded;
    std::vector<std::size_t> durable;
    world.sendMany(4);
    world.disk.files.reset();
    world.onSend = [&](std::string_view bytes) {
      if (bytes.find("Subject: message") != bytes.npos) {
        recorded.push_back(world.recordedDeliveries());
        durable.push_back(world.journalSyncs());
      }
    };
    world.flush();
    EXPECT_THAT(recorded, ElementsAre(0, 1, 2, 3)) << "or a kill sends two a second time";
    // The wait for the disk comes after the next commands: with pipelining these are the text.
    EXPECT_THAT(durable, ElementsAreArray(pipelining ? std::vector<std::size_t>{0, 0, 1, 2}
                                                     : std::vector<std::size_t>{0, 1, 2, 3}));
    EXPECT_EQ(world.journalSyncs(), 4u);
    EXPECT_EQ(world.waiting(), 0u);
  }
}

TEST(SmtpTransport, WhatIsHandedOutIsRecordedDurablyBeforeItsTextIsComplete) {
  struct Watched : FewMessages {
    void makeDurable() override { durable = given; }
    std::uint64_t durable = 0;
  } feed;
  feed.most = 40;
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    std::uint64_t texts = 0;
    world.onSend = [&](std::string_view bytes) {
      texts += bytes.find("text\r\n") != bytes.npos ? 1 : 0;
      EXPECT_LE(texts, feed.durable);
    };
    feed.given = feed.durable = 0;
    world.transport->deliverAll(feed, {});
    EXPECT_EQ(texts, feed.most);
  }
}

TEST(SmtpTransport, AServersLimitOfMessagesAConnectionLosesAndDoublesNothing) {
  struct Way {
    std::string verb;
    SmtpFault fault;
    std::size_t most;
  };
  const SmtpFault close{.reply = "", .drop = true, .hang = false, .cut = false};
  for (const bool pipelining : {true, false}) {
    for (const Way& way : {Way{"MAIL", {.reply = "421 4.7.0 too many messages"}, 20},
                           Way{"MAIL", {.reply = "451 4.7.1 too many messages in a session"}, 20},
                           Way{"MAIL", {.reply = "450 no more"}, 7},
                           Way{"RCPT", {.reply = "452 4.5.3 too many recipients this session"}, 9},
                           Way{"DATA", {.reply = "421 enough"}, 3}, Way{"MAIL", close, 20},
                           Way{"RSET", close, 1}, Way{"MAIL", {.reply = "421 one"}, 1}}) {
      SCOPED_TRACE(way.verb + " " + way.fault.reply + (pipelining ? ", pipelining" : ", lockstep"));
      SmtpWorld world(pipelining);
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        if (moment.verb == way.verb && moment.taken >= way.most) {
          return way.fault;
        }
        return std::nullopt;
      };
      world.sendMany(50);
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(50));
      EXPECT_EQ(world.waiting(), 0u);
      EXPECT_THAT(world.server.violations, IsEmpty());
      std::map<std::string, int> each;
      for (const TakenMessage& message : world.server.taken) {
        ++each[message.sender];
      }
      EXPECT_THAT(each, SizeIs(50));
    }
  }
}

TEST(SmtpTransport, WhileTheQueueIsLongThereAreUpToThreeConnectionsAndFewerWhereRefused) {
  for (const std::size_t most : {1u, 2u, 3u, 9u}) {
    for (const std::string how : {"busy", "greeting", "MAIL"}) {
      SCOPED_TRACE(std::to_string(most) + " connections, then " + how);
      SmtpWorld world;
      world.onConnect = [&](std::size_t connection) -> std::unique_ptr<ServerScript> {
        if (how == "busy" && connection >= most) {
          return std::make_unique<NeverOpen>("greeting", "421");
        }
        return world.server.script(connection);
      };
      world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
        const bool here = (how == "greeting" && moment.verb == "EHLO") || moment.verb == how;
        if (here && moment.connection >= most) {
          return SmtpFault{.reply = "421 4.7.0 too many connections"};
        }
        return std::nullopt;
      };
      world.sendMany(60);
      world.flush();
      EXPECT_THAT(world.server.taken, SizeIs(60));
      EXPECT_EQ(world.waiting(), 0u);
      EXPECT_THAT(world.notices, Not(Contains(StartsWith("Kept"))));
      EXPECT_LE(world.network.connections(), most >= 3 ? 3u : most + 2);
      if (most >= 3) {
        EXPECT_EQ(world.network.connections(), 3u);
      }
    }
  }
  SmtpWorld few;
  few.sendMany(5);
  few.flush();
  EXPECT_EQ(few.network.connections(), 1u);
}

TEST(SmtpTransport, MessagesThatWaitForTheirTimeOpenNoConnectionsForOne) {
  SmtpWorld world;
  std::string verb = "END";
  std::string reply = "450 4.7.28 unusual rate";
  world.server.fault = [&](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    return moment.verb == verb && (verb == "END" || moment.sender != SmtpWorld::sender(1))
               ? std::optional(SmtpFault{.reply = reply})
               : std::nullopt;
  };
  // From now on what was tried comes last.
  world.send(1);
  world.flush();
  world.disk.clock.advance(minutes{1});
  verb = "RCPT";
  reply = "450 4.2.1 busy";
  for (int number = 2; number <= 10; ++number) {
    world.send(number);
  }
  world.flush();
  ASSERT_EQ(world.waiting(), 9u);
  world.server.fault = nullptr;
  const std::size_t before = world.network.connections();
  world.send(11);
  world.flush();
  EXPECT_EQ(world.waiting(), 9u);
  EXPECT_EQ(world.network.connections(), before + 1);
}

TEST(SmtpTransport, SaysSizeAndEightBitsAndForeignLettersWhereTheServerKnowsThem) {
  SmtpWorld world;
  ASSERT_TRUE(world.outbox->send(
      "entry", "id",
      writes("From: ann@example.org\nBcc: j\xc3\xb6rg@example.org\nSubject: s\n\n\xc3\xb6\n.\n")));
  world.flush();
  ASSERT_THAT(world.server.taken, SizeIs(1));
  const std::string& text = world.server.taken[0].text;
  EXPECT_THAT(world.server.commands,
              Contains("MAIL FROM:<ann@example.org> SIZE=" + std::to_string(text.size()) +
                       " BODY=8BITMIME SMTPUTF8"));
}

TEST(SmtpTransport, WhatAServerCannotTakeIsRefusedBeforeAnythingIsSaidOfIt) {
  struct Row {
    std::string message;
    std::string words;
  };
  const std::string from = "From: ann@example.org\nBcc: bob@example.org\nSubject: s\n\n";
  for (const Row& row :
       {Row{from + std::string(3000, 'x') + "\n", "lines that mail must not have"},
        Row{from + "one\rtwo\n", "characters or lines"},
        Row{from + std::string("a\0b\n", 4), "characters or lines"},
        Row{"From: ann@example.org\nBcc: j\xc3\xb6rg@example.org\nSubject: s\n\nx\n",
            "does not offer SMTPUTF8"},
        Row{from + std::string(60, 'x') + "\n" + std::string(900, 'y') + "\n",
            "5.3.4 smtp.example.org takes messages of up to 1 MB"}}) {
    SmtpWorld world;
    world.server.capabilities = {"SIZE 1000"};
    ASSERT_TRUE(world.outbox->send("entry", "id", writes(row.message)));
    world.flush();
    EXPECT_EQ(world.failed(), 1u);
    ASSERT_THAT(world.notices, SizeIs(1));
    EXPECT_THAT(world.notices[0], HasSubstr(row.words));
    EXPECT_THAT(world.server.commands, Not(Contains(StartsWith("MAIL"))));
  }
}

TEST(SmtpTransport, ALargeMessagePassesThroughSmallBuffers) {
  SmtpWorld world;
  world.prepare = [](ServerEnd& end, std::size_t) {
    end.acceptAtMost(5000);
    end.keepUnreadBelow(100);
  };
  std::string body;
  while (body.size() < 3'000'000) {
    body += ".a line of a large attachment, and some more of it\n";
  }
  ASSERT_TRUE(world.outbox->send("entry", "id", writes(world.text(7) + body)));
  world.sendMany(3);
  world.flush();
  ASSERT_THAT(world.server.taken, SizeIs(4));
  EXPECT_THAT(world.server.taken[0].text,
              HasSubstr("\r\n.a line of a large attachment, and some more of it\r\n"));
  EXPECT_GT(world.server.taken[0].text.size(), body.size());
  EXPECT_EQ(world.waiting(), 0u);
}

// A message with an attachment: in a file, and far larger than a piece of it.
std::string largeText(int number) {
  std::string text = SmtpWorld::text(number);
  while (text.size() < 300'000) {
    text += "a line of a large attachment, and some more of it\n";
  }
  return text;
}

// As the server gets it.
std::string asTaken(std::string text) {
  text.erase(text.find("Bcc:"), text.find("Subject:") - text.find("Bcc:"));
  std::string taken;
  for (const char c : text) {
    taken += c == '\n' ? "\r\n" : std::string(1, c);
  }
  return taken;
}

struct LargeMessageWorld : SmtpWorld {
  explicit LargeMessageWorld(bool withPipelining = true) : SmtpWorld(withPipelining) {
    EXPECT_TRUE(outbox->send("entry 2", "<2@id>", writes(largeText(2))));
    path = disk.folder + "/new/" + disk.names("new").at(0);
  }
  ~LargeMessageWorld() {
    // The outbox is closed after the members that these use are gone.
    disk.files.refused = nullptr;
    onSend = nullptr;
  }
  LargeMessageWorld(const LargeMessageWorld&) = delete;
  LargeMessageWorld& operator=(const LargeMessageWorld&) = delete;
  // The read of that number from the message's file fails, and none after it.
  void failAtRead(int number) {
    reads = 0;
    disk.files.refused = [this, number](const std::string& step) {
      return step == "read " + path && ++reads == number;
    };
  }
  // Calls `change` when the server has got the beginning of the text.
  void inMidText(std::function<void()> change) {
    onSend = [change = std::move(change), once = false](std::string_view bytes) mutable {
      if (bytes.find("a line of a large") != bytes.npos && !std::exchange(once, true)) {
        change();
      }
    };
  }
  std::string path;
  int reads = 0;
};

// The text of a large message is read while it is sent. Where that fails, only the end of the
// connection keeps the server from taking the half of it.
TEST(SmtpTransport, ADiskThatFailsInTheMiddleOfATextLosesAndDoublesNothing) {
  for (const bool pipelining : {true, false}) {
    bool whole = false;
    for (int failing = 1; !whole; ++failing) {
      ASSERT_LT(failing, 100);
      LargeMessageWorld world(pipelining);
      world.send(1);
      world.send(3);
      world.failAtRead(failing);
      world.flush();
      whole = world.reads < failing;
      EXPECT_GE(world.server.taken.size(), 2u) << failing << ": others need not wait";
      world.flushForADay();
      ASSERT_THAT(world.server.taken, SizeIs(3)) << failing;
      for (const TakenMessage& taken : world.server.taken) {
        const int number = taken.sender == SmtpWorld::sender(2) ? 2 : 1;
        EXPECT_TRUE(number == 1 || taken.text == asTaken(largeText(2))) << failing;
      }
      for (const int number : {1, 2, 3}) {
        EXPECT_EQ(world.server.count(SmtpWorld::sender(number)), 1u) << failing;
      }
      EXPECT_THAT(world.server.violations, IsEmpty()) << failing;
      EXPECT_EQ(world.waiting(), 0u);
      EXPECT_EQ(world.failed(), 0u);
    }
  }
}

// The server was out of reach for a week, and the disk fails at the first try that reaches it.
TEST(SmtpTransport, ADiskThatFailsOnceGivesUpNoMessageHoweverOldItIs) {
  bool whole = false;
  for (int failing = 1; !whole; ++failing) {
    ASSERT_LT(failing, 100);
    LargeMessageWorld world;
    world.disk.clock.advance(2 * kGiveUpAfter);
    world.failAtRead(failing);
    world.flush();
    whole = world.reads < failing;
    EXPECT_EQ(world.failed(), 0u) << failing;
    EXPECT_EQ(world.waiting(), whole ? 0u : 1u) << failing;
  }
}

// What is left of the message must not be sent as if it were all.
TEST(SmtpTransport, AMessageThatIsCutWhileItIsSentDoesNotLeave) {
  LargeMessageWorld world;
  world.inMidText([&] { std::filesystem::resize_file(world.path, 200'000); });
  world.flush();
  world.flushForADay();
  EXPECT_THAT(world.server.taken, IsEmpty());
  EXPECT_EQ(world.failed(), 1u);
  ASSERT_THAT(world.notices, SizeIs(1));
  EXPECT_THAT(world.notices[0], HasSubstr("The file of the message has become shorter"));
}

// The new text was not examined: it may have lines or characters that servers do not stand.
TEST(SmtpTransport, AMessageThatChangesWhileItIsSentDoesNotLeave) {
  for (const bool pipelining : {true, false}) {
    LargeMessageWorld world(pipelining);
    world.inMidText([&] {
      std::fstream file(world.path, std::ios::in | std::ios::out | std::ios::binary);
      file.seekp(280'000);
      file << "\r.\r\n";
    });
    world.send(3);
    world.flush();
    world.flushForADay();
    EXPECT_EQ(world.server.count(SmtpWorld::sender(2)), 0u);
    EXPECT_EQ(world.server.count(SmtpWorld::sender(3)), 1u);
    EXPECT_THAT(world.server.violations, IsEmpty());
    EXPECT_EQ(world.failed(), 1u);
    EXPECT_THAT(world.notices, Contains(HasSubstr("was changed while it was sent")));
  }
}

TEST(SmtpTransport, ALargeMessageArrivesByteForByteAndInTheSizeThatWasSaid) {
  for (const std::string end : {"", "the end", "\n\n"}) {
    SmtpWorld world;
    world.prepare = [](ServerEnd& server, std::size_t) { server.acceptAtMost(50'000); };
    ASSERT_TRUE(world.outbox->send("entry", "<2@id>", writes(largeText(2) + end)));
    world.flush();
    ASSERT_THAT(world.server.taken, SizeIs(1));
    const std::string expected = asTaken(largeText(2) + end + (end == "the end" ? "\n" : ""));
    EXPECT_TRUE(world.server.taken[0].text == expected);
    EXPECT_THAT(world.server.commands,
                Contains(HasSubstr("SIZE=" + std::to_string(expected.size()))));
  }
}

// Tells how much the server had heard when each message was asked for.
struct LargeMessages : FewMessages {
  explicit LargeMessages(ScriptedNetwork& to) : network(to) {}
  std::optional<FedMessage> next() override {
    auto fed = FewMessages::next();
    if (fed) {
      heard.push_back(network.connections() > 0 ? network.end(0).heard().size() : 0);
      std::string text = std::string(3'000'000, 'x') + "\n";
      for (std::size_t at = 70; at < text.size(); at += 71) {
        text[at] = '\n';
      }
      fed->message.text = OutgoingText(std::move(text));
    }
    return fed;
  }
  ScriptedNetwork& network;
  std::vector<std::size_t> heard;
};

TEST(SmtpTransport, NoMessageIsReadWhileMuchOfALargeOneWaitsToBeSent) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    world.prepare = [](ServerEnd& end, std::size_t) { end.acceptAtMost(50'000); };
    LargeMessages feed(world.network);
    feed.most = 2;
    world.transport->deliverAll(feed, {});
    EXPECT_THAT(feed.told, SizeIs(2));
    ASSERT_THAT(feed.heard, SizeIs(2));
    EXPECT_GE(feed.heard[1], 800'000u) << "more than 2 MB still waited";
  }
}

TEST(SmtpTransport, TheTraceShowsTheProtocolAndNotTheMessage) {
  SmtpWorld world;
  world.send(1);
  world.flush();
  EXPECT_THAT(world.trace, Contains("> MAIL FROM:<ann1@example.org> SIZE=82"))
      << testing::PrintToString(world.trace);
  for (const std::string& line : world.trace) {
    EXPECT_THAT(line, Not(HasSubstr("body")));
    EXPECT_THAT(line, Not(HasSubstr("Subject")));
  }
}

// There is a message more each time that a series rests.
struct LaterMessages : FewMessages {
  Rest rest() override {
    most += most < 4 ? 1 : 0;
    return given < most ? Rest::kAskAgain : Rest::kWait;
  }
};

TEST(SmtpTransport, MessagesThatComeSoonAfterOthersNeedNoConnectionOfTheirOwn) {
  for (const bool pipelining : {true, false}) {
    SmtpWorld world(pipelining);
    LaterMessages feed;
    const auto begin = world.network.steadyTime();
    world.transport->deliverAll(feed, {});
    EXPECT_THAT(feed.told, SizeIs(4));
    EXPECT_EQ(world.network.connections(), 1u);
    EXPECT_EQ(world.server.commands.back(), "QUIT");
    EXPECT_EQ(world.network.steadyTime() - begin, kSmtpLinger);
  }
}

TEST(SmtpTransport, AConnectionOnWhichNothingWasTakenIsNotKept) {
  SmtpWorld world;
  world.server.fault = [](const SmtpMoment& moment) -> std::optional<SmtpFault> {
    return moment.verb == "END" ? std::optional(SmtpFault{.reply = "550 no"}) : std::nullopt;
  };
  LaterMessages feed;
  const auto begin = world.network.steadyTime();
  world.transport->deliverAll(feed, {});
  EXPECT_LT(world.network.steadyTime() - begin, kSmtpLinger);
}

TEST(SmtpTransport, AMessageThatComesWhileTheConnectionRestsLeavesAtOnce) {
  SmtpWorld world;
  bool firstDone = false;
  bool secondDone = false;
  std::size_t taken = 0;
  world.network.after(std::chrono::seconds{1}, [&] {
    world.events.runUntilIdle();
    EXPECT_TRUE(firstDone) << "nobody waits for a connection that rests";
    world.send(2);
    world.worker->flush([&] { secondDone = true; });
  });
  world.network.after(std::chrono::milliseconds{1100}, [&] {
    world.events.runUntilIdle();
    EXPECT_TRUE(secondDone);
    taken = world.server.taken.size();
    EXPECT_EQ(world.waiting(), 0u);
  });
  world.send(1);
  world.worker->flush([&] { firstDone = true; });
  EXPECT_EQ(taken, 2u);
  EXPECT_EQ(world.network.connections(), 1u);
}

}  // namespace
}  // namespace relaybird
