// SPDX-License-Identifier: MIT
// The bytes of a forward: its header section, its text and HTML, and what is refused before a byte
// is written. The sources are the samples of tests/data/mail and messages written in the test.
#include "message/writing/forward.h"

#include <gtest/gtest.h>

#include "message/forward_samples.h"
#include "message/message_rules.h"
#include "message/text/charset.h"
#include "message/text/header_text.h"

namespace relaybird {
namespace {

TEST(WritableSubject, IsOneLineCutAtACharacter) {
  EXPECT_EQ(writableSubject("a\r\nBcc: x"), "a  Bcc: x");
  EXPECT_EQ(writableSubject("\xff"), kReplacementCharacter);
  std::string longSubject;
  for (int i = 0; i < 1000; ++i) {
    longSubject += "ä";
  }
  EXPECT_EQ(writableSubject(longSubject), longSubject.substr(0, 250 * 2));
}

TEST(Forward, WritesAPlainMessageUnderItsHeaderBlock) {
  const auto source = sampleMessage("plain.eml");
  const std::string text = forwardOf(*source);
  const auto forward = messageOf(text);
  EXPECT_EQ(forward->subject(), "FW: Lunch on Friday?");
  EXPECT_EQ(forward->bodyText(),
            "-----Original Message-----\nFrom: Anna Example <anna@example.org>\n"
            "Sent: Friday at nine\nTo: Me <me@example.com>\nSubject: Lunch on Friday?\n\n" +
                source->bodyText());
  EXPECT_EQ(forward->bodyText(), forwardText(*source, kSent));
  EXPECT_EQ(forward->htmlBody(), std::nullopt);
  EXPECT_TRUE(forward->attachments().empty());
  EXPECT_EQ(text.find('\r'), std::string::npos);
}

TEST(Forward, WritesItsOwnHeaderFields) {
  const auto source = sampleMessage("plain.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.bcc = {{"Jürgen", "hidden@example.net"}};
  draft.replyTo = {{"Anna", "anna@example.org"}};
  const HeaderBlock headers(written(draft));
  EXPECT_EQ(headers.text("From"), "Me <me@example.com>");
  EXPECT_EQ(headers.value("To"), "pager@example.net");
  EXPECT_EQ(headers.mailboxes("Bcc"), draft.bcc);
  EXPECT_EQ(headers.value("Reply-To"), "Anna <anna@example.org>");
  EXPECT_EQ(headers.value("Date"), "Sat, 21 Nov 2026 00:00:00 +0000");
  EXPECT_EQ(headers.messageId(), "<forward-1@example.com>");
  EXPECT_EQ(headers.value("References"), "<sample-1@example.org>");
  EXPECT_EQ(headers.value("Auto-Submitted"), "auto-generated");
  EXPECT_EQ(headers.value(kTraceHeader), "mark");
  EXPECT_EQ(headers.value("MIME-Version"), "1.0");
  EXPECT_EQ(headers.raw("In-Reply-To"), std::nullopt);
  EXPECT_EQ(headers.raw("Received"), std::nullopt);
}

TEST(Forward, BearsTheTracesOneToALineOursFirst) {
  const auto source = sampleMessage("plain.eml");
  ForwardDraft draft = draftOf(source.get());
  const std::string longMark(81, 'a');
  draft.traces = {longMark, "second", "third"};
  const std::string text = written(draft);
  EXPECT_NE(text.find("\nX-Relaybird-Trace: " + longMark + "\n second\n third\n"),
            std::string::npos);
  EXPECT_EQ(traceMarks(HeaderBlock(text)), (std::vector<std::string>{longMark, "second", "third"}));
  draft.traces.clear();
  EXPECT_EQ(HeaderBlock(written(draft)).raw(kTraceHeader), std::nullopt);
}

TEST(Forward, TheSourcesOwnMarksOfAutomaticMailAreNotCarriedOn) {
  const auto source = messageOf(
      "Return-Path: <>\nAuto-Submitted: auto-replied\nPrecedence: auto_reply\n"
      "X-Autoreply: yes\nIn-Reply-To: <a@example.org>\nMessage-ID: <b@example.org>\n\nhi\n");
  const HeaderBlock headers(forwardOf(*source));
  ASSERT_EQ(headers.allRaw("Auto-Submitted").size(), 1U);
  EXPECT_EQ(headers.value("Auto-Submitted"), "auto-generated");
  for (const char* field : {"Return-Path", "Precedence", "X-Autoreply", "In-Reply-To"}) {
    EXPECT_EQ(headers.raw(field), std::nullopt) << field;
  }
}

TEST(Forward, AReferencesChainIsContinuedAndKeptShort) {
  std::string ids;
  for (int i = 0; i < 100; ++i) {
    ids += "<" + std::to_string(i) + "@example.org>\n ";
  }
  const auto source = messageOf("Message-ID: <last@example.org>\nReferences: " + ids + "\n\nhi\n");
  const auto chain = messageIds(HeaderBlock(forwardOf(*source)).value("References"));
  ASSERT_EQ(chain.size(), 20U);
  EXPECT_EQ(chain.front(), "<0@example.org>");
  EXPECT_EQ(chain[1], "<82@example.org>");
  EXPECT_EQ(chain.back(), "<last@example.org>");
}

TEST(Forward, KeepsHtmlBesideTheText) {
  const auto source = sampleMessage("html-only.eml");
  const std::string text = forwardOf(*source);
  const auto forward = messageOf(text);
  EXPECT_EQ(forward->layout().root().type.value, "multipart/alternative");
  EXPECT_EQ(forward->bodyText(), forwardText(*source, kSent));
  const std::string html = forward->htmlBody().value();
  const std::size_t body = html.find("<body bgcolor=\"#ffffff\">");
  const std::size_t block = html.find("<b>From:</b> &quot;Letters, weekly&quot; &lt;letters@");
  ASSERT_NE(block, std::string::npos);
  EXPECT_LT(body, block);
  EXPECT_LT(block, html.find("<h1>This week</h1>"));
  EXPECT_NE(html.find("2\u00a0€ &amp; the market is <b>open</b>"), std::string::npos);
}

TEST(Forward, HtmlOfAnotherCharacterSetSaysThatItIsUtf8Now) {
  const auto forward = messageOf(forwardOf(*sampleMessage("nested.eml")));
  const std::string html = forward->htmlBody().value();
  EXPECT_EQ(html.find("windows-1252"), std::string::npos);
  EXPECT_NE(html.find("content=\"text/html; charset=utf-8\""), std::string::npos);
  EXPECT_NE(html.find("café"), std::string::npos);
}

TEST(Forward, AStrangersNameCannotBecomeHtml) {
  const auto source = messageOf(
      "From: \"<script>alert(1)</script>\" <a@example.org>\nSubject: a<b>&\"\n"
      "Content-Type: text/html\n\n<!-- <body> --><p>hi</p>");
  const std::string html = forwardHtml(*source, "");
  EXPECT_EQ(html.find("<script>"), std::string::npos);
  EXPECT_NE(html.find("a&lt;b&gt;&amp;&quot;"), std::string::npos);
  EXPECT_EQ(html.find("-----Original Message-----"), 8U);
}

TEST(Forward, AShortTextHasNoFillers) {
  ForwardDraft draft = draftOf(nullptr);
  draft.body = "[From:a@example.org] Sale\u034f \u200c\u00a0\u034f \u200c ends \x1b[1mnow\n";
  EXPECT_EQ(messageOf(written(draft))->bodyText(), "[From:a@example.org] Sale ends now\n");
}

TEST(Forward, AReplacedTextLeavesTheHtmlButKeepsPicturesAsFiles) {
  const auto source = sampleMessage("nested.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.body = "[From:anna@example.org] hello\r\nthere";
  const auto forward = messageOf(written(draft));
  EXPECT_EQ(forward->bodyText(), "[From:anna@example.org] hello\nthere");
  EXPECT_EQ(forward->htmlBody(), std::nullopt);
  EXPECT_EQ(forward->attachments().size(), 3U);
}

TEST(Forward, ANewMessageNeedsNoSource) {
  ForwardDraft draft = draftOf(nullptr);
  draft.subject = "Task: count the stock";
  draft.body = "Grüße, 日本";
  const std::string text = written(draft);
  const auto forward = messageOf(text);
  EXPECT_EQ(forward->subject(), "Task: count the stock");
  EXPECT_EQ(forward->bodyText(), "Grüße, 日本");
  EXPECT_EQ(forward->headers().raw("References"), std::nullopt);
  EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c > 0; }));
}

TEST(Forward, TextOfAnyScriptSurvivesAsSevenBits) {
  for (const char* name : {"iso-2022-jp.eml", "windows-1252.eml", "lying-charset.eml"}) {
    const auto source = sampleMessage(name);
    const std::string text = forwardOf(*source);
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c > 0; })) << name;
    EXPECT_EQ(messageOf(text)->bodyText(), forwardText(*source, kSent)) << name;
    EXPECT_EQ(messageOf(text)->subject(), "FW: " + source->subject()) << name;
  }
}

TEST(Forward, LongLinesAreEncoded) {
  ForwardDraft draft = draftOf(nullptr);
  draft.body = std::string(5000, 'x') + "\n";
  const std::string text = written(draft);
  EXPECT_EQ(messageOf(text)->bodyText(), *draft.body);
  for (std::size_t pos = 0, end = 0; pos < text.size(); pos = end + 1) {
    end = text.find('\n', pos);
    ASSERT_LE(end - pos, 998U);
  }
}

TEST(Forward, ReferencesSurviveOddIdentifiers) {
  const auto source = messageOf(
      "References: <no-domain> <a@b@c> <\"q\"@x.example> <..@y.example>\n"
      "Message-ID: own@example.org\n\nhi\n");
  EXPECT_EQ(HeaderBlock(forwardOf(*source)).value("References"),
            "<no-domain> <a@b@c> <\"q\"@x.example> <..@y.example> <own@example.org>");
  const auto torn = messageOf("References: <a@b>\nMessage-ID: <torn\n  id@example.org>\n\nhi\n");
  EXPECT_EQ(HeaderBlock(forwardOf(*torn)).value("References"), "<a@b> <tornid@example.org>");
}

TEST(Forward, EncodedWordsOfLongNamesAndSubjectsStayShort) {
  ForwardDraft draft = draftOf(nullptr);
  std::string name;
  for (int i = 0; i < 200; ++i) {
    name += i % 7 == 0 ? "\u65e5" : "\u00e4b";
  }
  draft.from.name = name;
  draft.to = {{name + ", \"x\"", "a@example.org"}, {std::string(300, 'x'), "b@example.org"}};
  draft.subject = "FW: " + name + " plain  end";
  const std::string text = written(draft);
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const HeaderBlock headers(text);
  EXPECT_EQ(headers.mailboxes("From").at(0), draft.from);
  EXPECT_EQ(headers.mailboxes("To"), draft.to);
  EXPECT_EQ(headers.subject(), writableSubject(draft.subject));
}

TEST(Forward, NoEscapeSequenceIsPassedOn) {
  const auto source = messageOf(
      "From: Anna <a@example.org>\nSubject: \x1b]0;title\x07red \x1b[31mone\n\n"
      "a\x1b[2J\x08"
      "b\x1b(0c\x9b"
      "d\x7f\x0c"
      "e\x1b");
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->subject(), "FW: red one");
  EXPECT_TRUE(
      forward->bodyText().ends_with("From: Anna <a@example.org>\nSent: Friday at nine\n"
                                    "Subject: red one\n\nabc\u203ad\ne\n"))
      << forward->bodyText();
}

TEST(Forward, NothingFromTheSourceBeginsAHeaderField) {
  const auto source = sampleMessage("header-injection.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.subject = source->subject() + "\r\nBcc: victim@example.org";
  draft.replyTo = {{"a\r\nBcc: x@example.org", "eve@example.org"}, {"", "e\r\nBcc: y@example.org"}};
  draft.traces = {"mark\nBcc: z@example.org", "\nBcc: y@example.org"};
  const HeaderBlock headers(written(draft));
  EXPECT_EQ(headers.raw("Bcc"), std::nullopt);
  EXPECT_EQ(headers.raw("X-Evil"), std::nullopt);
  EXPECT_EQ(headers.mailboxes("Reply-To").size(), 1U);
}

TEST(Forward, ADraftThatCannotBeSentIsRefusedBeforeAnythingIsWritten) {
  const auto source = sampleMessage("attachments.eml");
  const auto refused = [](const ForwardDraft& draft) {
    MemoryOutput out;
    const auto result = writeForward(draft, out);
    return !result && result.error().code == EINVAL && out.written.empty();
  };
  ForwardDraft draft = draftOf(source.get());
  EXPECT_FALSE(refused(draft));
  draft.from.address = "me";
  EXPECT_TRUE(refused(draft));
  draft = draftOf(source.get());
  draft.to.push_back({"", "a@example.org\nBcc: b@example.org"});
  EXPECT_TRUE(refused(draft));
  draft = draftOf(source.get());
  draft.bcc.push_back({"", "not an address"});
  EXPECT_TRUE(refused(draft));
  draft = draftOf(source.get());
  draft.messageId = "a b";
  EXPECT_TRUE(refused(draft));
  draft = draftOf(source.get());
  draft.keptAttachments = {3};
  EXPECT_TRUE(refused(draft));
}

TEST(Forward, TellsWhenItCannotBeWritten) {
  const auto source = sampleMessage("attachments.eml");
  MemoryOutput out;
  out.room = 500;
  EXPECT_EQ(writeForward(draftOf(source.get()), out).error().code, ENOSPC);
}

TEST(Forward, TellsWhenTheSourceCannotBeReadAnyMore) {
  const auto file = memoryFile(sample("attachments.eml"));
  const auto source = Message::read(file);
  const ForwardDraft draft = draftOf(source->get());
  file->failing = true;
  MemoryOutput out;
  EXPECT_EQ(writeForward(draft, out).error().code, EIO);
  file->failing = false;
  file->truncate(800);
  EXPECT_EQ(writeForward(draft, out).error().code, EIO);
}

TEST(Forward, TheSameDraftMakesTheSameBytes) {
  const auto source = sampleMessage("nested.eml");
  EXPECT_EQ(forwardOf(*source), forwardOf(*source));
}

}  // namespace
}  // namespace relaybird
