// SPDX-License-Identifier: MIT
// Where the header section of a message ends, and what its fields say, for correct messages and for
// all the ways in which mail breaks the rules. Files in memory record how much of a message is
// read.
#include "message/header_block.h"

#include <gtest/gtest.h>

#include "message/mail_samples.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"

namespace relaybird {
namespace {

HeaderBlock read(const std::string& bytes) {
  MemoryInput file(bytes);
  return readHeaderBlock(file).value();
}

TEST(HeaderBlock, FindsFieldsInAnyCaseAndTheBodyBehindTheEmptyLine) {
  const std::string message = "SUBJECT: one\nfrom: a@example.org\nX-Other: two\n\nbody\n";
  const HeaderBlock block = read(message);
  EXPECT_EQ(block.value("Subject"), "one");
  EXPECT_EQ(block.value("FROM"), "a@example.org");
  EXPECT_EQ(block.value("x-other"), "two");
  EXPECT_EQ(block.raw("X-Missing"), std::nullopt);
  EXPECT_EQ(block.raw("Date"), std::nullopt);
  EXPECT_TRUE(block.ended());
  EXPECT_EQ(message.substr(block.bodyOffset()), "body\n");
}

TEST(HeaderBlock, TheFirstOfTwoFieldsCounts) {
  const HeaderBlock block = read("Subject: one\nSubject: two\nX-A: 1\nX-A: 2\n\n");
  EXPECT_EQ(block.subject(), "one");
  EXPECT_EQ(block.value("X-A"), "1");
}

TEST(HeaderBlock, UnfoldsContinuationLines) {
  const HeaderBlock block = read("Subject: one\n two\r\n\tthree\nX-A:\n b\nTo: x\n\n");
  EXPECT_EQ(block.value("Subject"), "one two\tthree");
  EXPECT_EQ(block.subject(), "one two three");
  EXPECT_EQ(block.value("X-A"), "b");
  EXPECT_EQ(block.value("To"), "x");
}

TEST(HeaderBlock, AContinuationOfAnIgnoredSecondFieldBelongsToNoOther) {
  const HeaderBlock block = read("Subject: one\nSubject: two\n three\n\n");
  EXPECT_EQ(block.value("Subject"), "one");
}

TEST(HeaderBlock, TakesCrLfMessages) {
  const HeaderBlock block = read("Subject: one\r\nTo: b@example.org\r\n\r\nbody");
  EXPECT_EQ(block.value("Subject"), "one");
  EXPECT_TRUE(block.ended());
  EXPECT_EQ(block.bodyOffset(), 35U);
}

TEST(HeaderBlock, AnEmptyMessageHasNoFields) {
  const HeaderBlock block = read("");
  EXPECT_EQ(block.subject(), "");
  EXPECT_EQ(block.senderMailbox(), Mailbox());
  EXPECT_EQ(block.bodyOffset(), 0U);
  EXPECT_FALSE(block.ended());
}

TEST(HeaderBlock, HeadersMayEndWithTheFile) {
  EXPECT_EQ(read("Subject: one").subject(), "one");
  EXPECT_EQ(read("Subject: one\n").subject(), "one");
  EXPECT_EQ(read("Subject:").subject(), "");
  EXPECT_TRUE(read("Subject:").raw("Subject").has_value());
}

TEST(HeaderBlock, ABeginningThatIsNoFieldIsAllBody) {
  EXPECT_EQ(read("Dear all,\nSubject: no\n\n").bodyOffset(), 0U);
  EXPECT_EQ(read("Dear all,\nSubject: no\n\n").subject(), "");
  EXPECT_EQ(read("two words: no field\n\nbody").bodyOffset(), 0U);
  EXPECT_EQ(read("\nbody").bodyOffset(), 1U);
}

TEST(HeaderBlock, ALineOfRubbishAmongTheFieldsIsSkipped) {
  const HeaderBlock block = read("Subject: one\nrubbish\nTo: b@example.org\n\n");
  EXPECT_EQ(block.subject(), "one");
  EXPECT_EQ(block.value("To"), "b@example.org");
}

std::string bodyOf(const std::string& message) {
  return message.substr(read(message).bodyOffset());
}

TEST(HeaderBlock, ALineOfBlanksEndsTheSectionAndLosesNoText) {
  EXPECT_EQ(bodyOf("Subject: one\nTo: b@example.org\n \t\nHello,\nyou\n"), "Hello,\nyou\n");
  EXPECT_EQ(bodyOf("Subject: one\r\n  \r\nHello\r\n\r\nyou"), "Hello\r\n\r\nyou");
  EXPECT_EQ(bodyOf("Subject: one\n \n  indented\n  text\n"), "  indented\n  text\n");
  EXPECT_EQ(bodyOf("Subject: one\n \nNote: two\n\nSubject: three\n"),
            "Note: two\n\nSubject: three\n");
  EXPECT_EQ(bodyOf("Subject: one\r\r\n\r\r\nHello\r\r\n"), "Hello\r\r\n");
}

TEST(HeaderBlock, ALineOfBlanksWithinAFoldedFieldEndsNothing) {
  const HeaderBlock block =
      read("To: a@example.org,\n \n b@example.org\nSubject: one\n \nX-A: 1\n\nbody");
  EXPECT_EQ(block.mailboxes("To").size(), 2U);
  EXPECT_EQ(block.subject(), "one");
  EXPECT_EQ(block.value("X-A"), "1");
}

TEST(HeaderBlock, ABodyWithoutAnEmptyLineBeforeItLosesNoText) {
  EXPECT_EQ(bodyOf("Subject: one\nHello there,\nhow are you?\n\nBye\n"),
            "Hello there,\nhow are you?\n\nBye\n");
  EXPECT_EQ(bodyOf("Subject: one\nHello"), "Hello");
  EXPECT_EQ(bodyOf("Content-Type: multipart/mixed; boundary=b\n--b\nContent-Type: x/y\n\nhi\n"),
            "--b\nContent-Type: x/y\n\nhi\n");
  EXPECT_EQ(read("Subject: one\nHello\n").value("Subject"), "one");
}

TEST(HeaderBlock, AFieldThatLostItsIndentationDoesNotEndTheSection) {
  const HeaderBlock block =
      read("X-Long: one\nlost its blank\n\tand goes on\nReceived: from x\nSubject: two\n\nbody\n");
  EXPECT_EQ(block.subject(), "two");
  EXPECT_EQ(block.value("Received"), "from x");
}

TEST(HeaderBlock, AnMboxLineIsNoField) {
  const HeaderBlock block = read("From a@example.org Fri Nov 20 09:00:00 2026\nSubject: one\n\n");
  EXPECT_EQ(block.subject(), "one");
  EXPECT_EQ(block.raw("From"), std::nullopt);
}

TEST(HeaderBlock, NulBytesAndControlCharactersLeaveTheText) {
  const HeaderBlock block =
      read(std::string("Subject: a\0b\x01"
                       "c\n\n",
                       15));
  EXPECT_EQ(block.value("Subject"),
            "ab\x01"
            "c");
  EXPECT_EQ(block.subject().find('\0'), std::string::npos);
  EXPECT_EQ(block.subject().find('\x01'), std::string::npos);
}

TEST(HeaderBlock, DecodesEncodedWords) {
  EXPECT_EQ(HeaderBlock(sample("iso-2022-jp.eml")).subject(), "明日の会議");
  EXPECT_EQ(HeaderBlock(sample("windows-1252.eml")).subject(), "Angebot für Bücher");
  EXPECT_EQ(HeaderBlock(sample("encoded-subject.eml")).subject(),
            "Ein sehr langer Betreff über Käse, Würste und Brot");
  EXPECT_EQ(HeaderBlock(sample("broken-base64.eml")).subject().substr(0, 11), "Half a word");
}

TEST(HeaderBlock, EncodedLineEndsDoNotMakeLines) {
  const HeaderBlock block(sample("header-injection.eml"));
  EXPECT_EQ(block.subject(), "Offer  Bcc: victim@example.org  ");
  EXPECT_EQ(block.senderMailbox().address, "eve@example.org");
  EXPECT_EQ(block.senderMailbox().name.find('\n'), std::string::npos);
}

TEST(HeaderBlock, TheSenderIsFromElseSenderElseReturnPath) {
  EXPECT_EQ(
      read("From: A <a@example.org>, b@example.org\nSender: s@example.org\n\n").senderMailbox(),
      (Mailbox{"A", "a@example.org"}));
  EXPECT_EQ(
      read("From:\nSender: S <s@example.org>\nReturn-Path: <r@example.org>\n\n").senderMailbox(),
      (Mailbox{"S", "s@example.org"}));
  EXPECT_EQ(read("Return-Path: <r@example.org>\n\n").senderMailbox(),
            (Mailbox{"", "r@example.org"}));
}

TEST(HeaderBlock, TheSendersAddressDoesNotDependOnTheNameBesideAnInternationalDomain) {
  for (const std::string name : {"", "Ann ", "\"Ann\" ", "\"Doe, Ann\" ", "[List] Ann ",
                                 "Ann (work) ", "=?utf-8?Q?=C3=84nn?= ", "\u00C4nn "}) {
    for (const std::string domain : {"xn--mnchen-3ya.example", "m\u00FCnchen.example"}) {
      const HeaderBlock block = read("From: " + name + "<ann@" + domain + ">\nReply-To: " + name +
                                     "<bob@" + domain + ">\n\n");
      EXPECT_EQ(block.senderMailbox().address, "ann@xn--mnchen-3ya.example") << name << domain;
      ASSERT_EQ(block.mailboxes("Reply-To").size(), 1U) << name << domain;
      EXPECT_EQ(block.mailboxes("Reply-To")[0].address, "bob@xn--mnchen-3ya.example");
    }
  }
  EXPECT_EQ(read("From: Big Bug bb@big_bug.com\n\n").senderMailbox(),
            (Mailbox{"Big Bug", "bb@big_bug.com"}));
}

TEST(HeaderBlock, TheShortWayToAMailboxLeadsToTheSameOne) {
  for (const std::string name :
       {"", "Ann ", "Ann Example ", "\"Ann\" ", "\"Doe, Ann\" ", "O'Neil & Son ", "a.b ", "+1 555 ",
        "-Ann- ", "\"\" ", "\"a.b, c\" "}) {
    for (const std::string address :
         {"ann@x.org", "ann@big_bug.org", "-ann@x.org", "ann@-x.org", "a.n+n@x-.org",
          "ann@XN--A.org", "ann@x", "_@_", "ann@xn--mnchen-3ya.example"}) {
      const std::string raw = name + "<" + address + ">";
      EXPECT_EQ(firstMailbox(raw), parseAddress(raw)) << raw;
      EXPECT_EQ(firstMailbox(address), parseAddress(address)) << address;
    }
  }
}

TEST(HeaderBlock, AFromWithoutAnAddressGivesWayToSender) {
  EXPECT_EQ(read("From: The Office\nSender: s@example.org\n\n").senderMailbox().address,
            "s@example.org");
  EXPECT_EQ(read("From: The Office\n\n").senderMailbox(), (Mailbox{"The Office", ""}));
}

TEST(FirstMailbox, AgreesWithTheFullParser) {
  for (const char* raw : {" a@example.org\n",
                          "<a@example.org>",
                          "A <a@example.org>",
                          "A B. C-D <a.b+c@example.org>\r\n",
                          "\"Doe, Jane\" <a@example.org>",
                          "\"A \\\"B\\\"\" <a@example.org>",
                          "A <a@b>, C <c@d>",
                          "A (comment) <a@example.org>",
                          "a@example.org (A)",
                          "=?utf-8?Q?J=C3=BCrgen?= <a@example.org>",
                          "\xC3\xA4 <a@example.org>",
                          "A\n B <a@example.org>",
                          "A  B <a@example.org>",
                          "group: a@b;",
                          "A <@route:a@example.org>",
                          "A <a@b> c",
                          "\"a b\"@example.org",
                          "A.. <a..b@example.org>",
                          "",
                          "<>",
                          "A",
                          "a@",
                          "@b",
                          "<a@b",
                          "A <>",
                          "a@b@c",
                          ",",
                          "O'Neill & Co <a@b>",
                          "\" A\" <a@b>",
                          "\"\" <a@b>",
                          "A <a@[192.0.2.1]>",
                          "A <a@b.> "}) {
    EXPECT_EQ(firstMailbox(raw), parseAddress(raw)) << raw;
  }
}

TEST(HeaderBlock, GroupsAreOpened) {
  const auto to = HeaderBlock(sample("group-addresses.eml")).mailboxes("To");
  ASSERT_EQ(to.size(), 3U);
  EXPECT_EQ(to[1].address, "carl@example.org");
  EXPECT_EQ(to[2], (Mailbox{"Doe, Jane", "jane@example.org"}));
}

TEST(HeaderBlock, AMessageIdMustBeSafeToWriteAgain) {
  EXPECT_EQ(read("Message-ID: (a) <x@example.org> \n\n").messageId(), "<x@example.org>");
  EXPECT_EQ(read("Message-ID: <x y@example.org>\n\n").messageId(), "");
  EXPECT_EQ(read("Message-ID: x@example.org\n\n").messageId(), "");
  EXPECT_EQ(read("Message-ID: <\n\n").messageId(), "");
}

TEST(MessageIds, FindsEveryWellFormedOne) {
  EXPECT_EQ(messageIds("<a@b> junk <<c@d> <e f> <g@h>"),
            (std::vector<std::string>{"<a@b>", "<c@d>", "<g@h>"}));
}

TEST(OnOneLine, MakesABlankOfEachControlCharacter) {
  EXPECT_EQ(onOneLine("a\r\nb\tc\x7f"
                      "d\xC2\x85"
                      "e\xE2\x80\xA8"
                      "fä"),
            "a  b c d e fä");
}

TEST(ReadHeaderBlock, ReadsOneBlockOfAnOrdinaryMessage) {
  MemoryInput file("Subject: one\n\n" + std::string(1'000'000, 'x'));
  ASSERT_TRUE(readHeaderBlock(file));
  EXPECT_EQ(file.reads, 1);
  EXPECT_LE(file.readTo, 8192U);
}

TEST(ReadHeaderBlock, ReadsOnForALongSubject) {
  const std::string words(200'000, 's');
  MemoryInput file("Subject: " + words + "\nTo: b@example.org\n\n" + std::string(5'000'000, 'x'));
  const auto block = readHeaderBlock(file);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->subject(), words);
  EXPECT_EQ(block->value("To"), "b@example.org");
  EXPECT_LE(file.readTo, 600'000U);
}

TEST(ReadHeaderBlock, FindsAnEmptyLineAcrossBlocks) {
  for (std::size_t size = 8170; size < 8200; ++size) {
    const std::string head = "X-A: " + std::string(size - 5, 'a') + "\r\n\r\n";
    MemoryInput file(head + std::string(100'000, 'x'));
    const auto block = readHeaderBlock(file);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->bodyOffset(), head.size());
  }
}

TEST(ReadHeaderBlock, FindsTheBeginningOfABodyAcrossBlocks) {
  for (std::size_t size = 8150; size < 8200; ++size) {
    for (const char* separator : {"\n \n", "\n"}) {
      const std::string head = "X-A: " + std::string(size - 5, 'a') + separator;
      MemoryInput file(head + "Dear all,\nthis is\nthe text" + std::string(20'000, 'x'));
      const auto block = readHeaderBlock(file);
      ASSERT_TRUE(block);
      EXPECT_EQ(block->bodyOffset(), head.size());
    }
  }
}

TEST(ReadHeaderBlock, LinesOfBlanksCostNoMoreThanOthers) {
  std::string head = "Subject: one\n";
  for (int i = 0; i < 300'000; ++i) {
    head += " \n";
  }
  MemoryInput file(head + "To: b@example.org\n\nbody");
  const auto block = readHeaderBlock(file);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->subject(), "one");
}

TEST(ReadHeaderBlock, StopsAtItsLimit) {
  MemoryInput file("Subject: one\n" + std::string(3'000'000, 'x'));
  const auto block = readHeaderBlock(file, 100'000);
  ASSERT_TRUE(block);
  EXPECT_EQ(block->subject(), "one");
  EXPECT_EQ(block->bytes().size(), 100'000U);
  EXPECT_FALSE(block->ended());
  EXPECT_LE(file.readTo, 100'000U);
}

TEST(ReadHeaderBlock, TellsThatReadingFailed) {
  MemoryInput file("Subject: one\n\n");
  file.failing = true;
  const auto block = readHeaderBlock(file);
  ASSERT_FALSE(block);
  EXPECT_EQ(block.error().code, EIO);
}

}  // namespace
}  // namespace relaybird
