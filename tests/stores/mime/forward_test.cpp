// SPDX-License-Identifier: MIT
#include "stores/mime/forward.h"

#include <gtest/gtest.h>

#include <numeric>

#include "stores/mime/header_text.h"
#include "stores/mime/mail_samples.h"
#include "stores/mime/message_rules.h"
#include "stores/mime/parts/message_layout.h"
#include "stores/mime/parts/part_content.h"
#include "stores/text/charset.h"

namespace relaybird {
namespace {

constexpr const char* kSent = "Friday at nine";

ForwardDraft draftOf(const Message* source) {
  ForwardDraft draft;
  draft.source = source;
  draft.from = {"Me", "me@example.com"};
  draft.to = {{"", "pager@example.net"}};
  draft.subject = source == nullptr ? "" : "FW: " + source->subject();
  draft.sentText = kSent;
  draft.messageId = "forward-1@example.com";
  draft.date = DateTime(std::chrono::sys_days{std::chrono::year{2026} / 11 / 21});
  draft.traces = {"mark"};
  if (source != nullptr) {
    draft.keptAttachments.resize(source->attachments().size());
    std::iota(draft.keptAttachments.begin(), draft.keptAttachments.end(), 0U);
  }
  return draft;
}

std::string written(const ForwardDraft& draft) {
  MemoryOutput out;
  const auto result = writeForward(draft, out);
  EXPECT_TRUE(result) << result.error().text;
  return out.written;
}

std::string forwardOf(const Message& source) {
  return written(draftOf(&source));
}

/// All parts of a message that have no parts of their own.
void collect(const Part& part, std::vector<const Part*>& leaves) {
  if (!part.multipart) {
    leaves.push_back(&part);
  }
  for (const auto& child : part.children) {
    collect(*child, leaves);
  }
}

const Part* leafOfType(const Message& message, std::string_view type) {
  std::vector<const Part*> leaves;
  collect(message.layout().root(), leaves);
  for (const Part* leaf : leaves) {
    if (leaf->type.value == type) {
      return leaf;
    }
  }
  return nullptr;
}

std::string bytesOf(const std::string& message, const Part& part) {
  return message.substr(part.begin, part.end - part.begin);
}

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

TEST(Forward, CarriesAttachmentsByteForByte) {
  const std::string original = sample("attachments.eml");
  const auto source = messageOf(original);
  const std::string text = forwardOf(*source);
  const auto forward = messageOf(text);
  ASSERT_EQ(forward->attachments().size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const Part& before = *source->layout().attached[i];
    const Part& after = *forward->layout().attached[i];
    if (i < 2) {
      EXPECT_EQ(bytesOf(text, after), bytesOf(original, before));
    }
    EXPECT_EQ(*decodedContent(forward->file(), after, 100'000),
              *decodedContent(source->file(), before, 100'000));
    EXPECT_EQ(forward->attachments()[i].name, source->attachments()[i].name);
  }
}

TEST(Forward, AFileOfEightBitTextIsEncoded) {
  const std::string text = forwardOf(*sampleMessage("attachments.eml"));
  EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c > 0; }));
  EXPECT_NE(text.find("K=C3=A4se;3,50"), std::string::npos);
  EXPECT_EQ(messageOf(text)->headers().raw("Content-Transfer-Encoding"), std::nullopt);
}

TEST(Forward, CarriesOnlyTheAttachmentsThatAreKept) {
  const auto source = sampleMessage("attachments.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.keptAttachments = {1, 1};
  auto forward = messageOf(written(draft));
  ASSERT_EQ(forward->attachments().size(), 1U);
  EXPECT_EQ(forward->attachments()[0].name, "grün.png");
  EXPECT_EQ(forward->headers().raw("Content-Transfer-Encoding"), std::nullopt);
  draft.keptAttachments = {};
  forward = messageOf(written(draft));
  EXPECT_TRUE(forward->attachments().empty());
  EXPECT_EQ(forward->headers().value("Content-Type"), "text/plain; charset=utf-8");
}

TEST(Forward, KeepsPicturesWithTheHtmlThatShowsThem) {
  const std::string original = sample("nested.eml");
  const auto source = messageOf(original);
  const std::string text = forwardOf(*source);
  const auto forward = messageOf(text);
  const Part& root = forward->layout().root();
  ASSERT_EQ(root.type.value, "multipart/mixed");
  ASSERT_EQ(root.children.size(), 3U);
  const Part& alternative = *root.children[0];
  EXPECT_EQ(alternative.type.value, "multipart/alternative");
  EXPECT_EQ(alternative.children.at(1)->type.value, "multipart/related");
  EXPECT_EQ(alternative.children[1]->children.at(1)->type.value, "image/png");
  EXPECT_TRUE(forward->attachments().at(0).isInline);
  const Part* embedded = leafOfType(*forward, "message/rfc822");
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(bytesOf(text, *embedded), bytesOf(original, *leafOfType(*source, "message/rfc822")));
}

TEST(Forward, KeepsPicturesNamedByTheirLocationWithTheHtml) {
  const auto source = messageOf(
      "Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n"
      "Content-Location: http://example.org/a/page.html\n\n<img src=\"one.png\">\n--b\n"
      "Content-Type: image/png\nContent-Location: http://example.org/a/one.png\n\nx\n--b--\n");
  const std::string text = forwardOf(*source);
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const auto forward = messageOf(text);
  const Part& alternative = forward->layout().root();
  EXPECT_NE(text.find("multipart/related"), std::string::npos);
  EXPECT_NE(text.find("Content-Location: http://example.org/a/page.html\n"), std::string::npos);
  EXPECT_EQ(alternative.type.value, "multipart/alternative");
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

TEST(Forward, SignedMailIsCarriedWholeByteForByte) {
  const std::string original = sample("signed.eml");
  const auto source = messageOf(original);
  const std::string text = forwardOf(*source);
  EXPECT_NE(text.find("\n\n" + original + "\n--"), std::string::npos);
  const auto forward = messageOf(text);
  EXPECT_FALSE(forward->isOpaque());
  EXPECT_EQ(forward->bodyText(), forwardText(*source, kSent));
  const Part* whole = leafOfType(*forward, "message/rfc822");
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(*decodedContent(forward->file(), *whole, 1'000'000), original);
}

TEST(Forward, SignedMailWithoutAttachmentsIsItsText) {
  const auto source = sampleMessage("signed.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.keptAttachments.clear();
  EXPECT_TRUE(messageOf(written(draft))->attachments().empty());
}

TEST(Forward, CrLfSourcesAreWrittenWithLf) {
  const auto source = sampleMessage("crlf.eml");
  const std::string text = forwardOf(*source);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(messageOf(text)->attachments().at(0).size, 256);
}

TEST(Forward, BytesOfABinaryPartAreLeftAlone) {
  const std::string bytes("\r\n\0\r\r\n\xff\n", 8);
  const std::string original =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
      "Content-Type: x/y\nContent-Transfer-Encoding: binary\n\n" +
      bytes + "\n--b--\n";
  const auto forward = messageOf(forwardOf(*messageOf(original)));
  EXPECT_EQ(*decodedContent(forward->file(), *forward->layout().attached.at(0), 100), bytes);
}

/// A message of one attachment with these fields and this content.
std::unique_ptr<Message> withAttachment(const std::string& fields, const std::string& content) {
  return messageOf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n--b\n" + fields + "\n" +
                   content + "\n--b--\n");
}

/// What the forward of that carries.
std::string carriedContent(const Message& source) {
  const std::string text = forwardOf(source);
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const auto forward = messageOf(text);
  return *decodedContent(forward->file(), *forward->layout().attached.at(0), 10'000'000);
}

TEST(Forward, Base64InLinesTooLongIsWrappedAnew) {
  const auto source =
      withAttachment("Content-Type: x/y\nContent-Transfer-Encoding: base64\n",
                     encodeBase64("A") + " \r" + std::string(200'000, 'B') + "\xE9==");
  EXPECT_EQ(carriedContent(*source),
            *decodedContent(source->file(), *source->layout().attached[0], 10'000'000));
}

TEST(Forward, QuotedPrintableInLinesTooLongIsWrappedAnew) {
  const std::string longLine(5000, 'x');
  const std::string blanks = std::string(80, 'x') + " \n" + std::string(80, ' ') + "y";
  for (const auto& [content, wanted] : std::vector<std::pair<std::string, std::string>>{
           {longLine, longLine},
           {blanks, blanks},
           {"a=20=\n b\r\n=c3=A4 =\t\nc=0D=0Ad\xE9\re=xy==3d",
            "a  b\n\u00e4 c\r\nd\xE9\re=xy=="}}) {
    EXPECT_EQ(
        carriedContent(*withAttachment(
            "Content-Type: text/csv\nContent-Transfer-Encoding: quoted-printable\n", content)),
        wanted);
  }
}

TEST(Forward, QuotedPrintableThatIsRightStaysByteForByte) {
  const std::string content =
      "a=20=\nb =\n" + std::string(75, 'x') + "\n=C3=A4\n\n.\n" + std::string(75, 'y') + "=\nz";
  const std::string text = forwardOf(*withAttachment(
      "Content-Type: text/csv\nContent-Transfer-Encoding: quoted-printable\n", content));
  EXPECT_NE(text.find("\n\n" + content + "\n--"), std::string::npos);
}

TEST(Forward, LongLinesWithinAFileAreEncoded) {
  const std::string content = std::string(5000, 'x') + "\ry\n" + std::string(999, 'z');
  for (const char* type : {"text/csv", "application/json"}) {
    const auto source = withAttachment("Content-Type: " + std::string(type) + "\n", content);
    EXPECT_EQ(carriedContent(*source), content) << type;
  }
}

TEST(Forward, AnEmbeddedMessageThatBreaksTheRulesBecomesAFile) {
  const std::string content = "Subject: x\n\n" + std::string(5000, 'x') + "\n";
  const auto source = withAttachment("Content-Type: message/rfc822\n", content);
  EXPECT_EQ(carriedContent(*source), content);
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->attachments().at(0).contentType, "application/octet-stream");
  EXPECT_EQ(forward->attachments().at(0).name, "message.eml");
}

TEST(Forward, AnEmbeddedMessageOfEightBitsSaysSo) {
  const std::string content = "Subject: x\n\nK\u00e4se\n";
  const auto source = withAttachment("Content-Type: message/rfc822\n", content);
  EXPECT_EQ(carriedContent(*source), content);
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->headers().value("Content-Transfer-Encoding"), "8bit");
  EXPECT_EQ(forward->attachments().at(0).contentType, "message/rfc822");
}

TEST(Forward, FieldsOfAPartThatCannotBeWrittenAreMadeAnew) {
  const auto source = withAttachment(
      "Content-Type: image/png; name=\"gr\xC3\xBCn " + std::string(2000, 'n') +
          ".png\"\nContent-Description: \xC3\xA4\nContent-ID: <p1>\nX-Other: \xFF\n \n"
          "Content-Transfer-Encoding: base64\n",
      "QUJD");
  EXPECT_EQ(carriedContent(*source), "ABC");
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->attachments().at(0).name, source->attachments().at(0).name);
  EXPECT_EQ(forward->attachments().at(0).contentId, "p1");
}

TEST(Forward, ATypeThatIsNoneIsNotPassedOn) {
  const auto source = withAttachment("Content-Type: text/x-\"y\"; name=a.txt\n", "hi");
  EXPECT_EQ(carriedContent(*source), "hi");
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->attachments().at(0).contentType, "application/octet-stream");
  EXPECT_EQ(forward->attachments().at(0).name, "a.txt");
}

TEST(Forward, ALastLineWithoutAnEndGetsOne) {
  for (const char* body : {"hi", "K\u00e4se", ""}) {
    ForwardDraft draft = draftOf(nullptr);
    draft.body = body;
    EXPECT_TRUE(written(draft).ends_with('\n')) << body;
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

TEST(Forward, SignedMailLosesItsBccAlone) {
  const std::string original = sample("signed.eml");
  const auto source = messageOf(
      "Received: from x\nBCC: secret@example.org,\n other@example.org\n"
      "Bcc : third@example.org\n" +
      original);
  const std::string text = forwardOf(*source);
  EXPECT_NE(text.find("\n\nReceived: from x\n" + original + "\n--"), std::string::npos);
  EXPECT_EQ(text.find("secret"), std::string::npos);
  EXPECT_EQ(text.find("third"), std::string::npos);
}

TEST(Forward, SignedMailWithLinesTooLongGoesAlongAsAFileWithoutItsBcc) {
  const std::string body = "Content-Type: multipart/signed; boundary=b\n\n--b\n\n" +
                           std::string(2000, 'x') +
                           "\n--b\nContent-Type: application/pgp-signature\n"
                           "\n--b--\n";
  const std::string text = forwardOf(*messageOf("Bcc: secret@example.org\n" + body));
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const auto forward = messageOf(text);
  EXPECT_EQ(*decodedContent(forward->file(), *forward->layout().attached.at(0), 100'000), body);
}

TEST(Forward, AMessageThatIsNothingButAFileBecomesAnAttachment) {
  const auto source = messageOf(
      "Received: from x\nSubject: file\nContent-Type: application/pdf;\n name=a.pdf\n"
      "Content-Transfer-Encoding: base64\n\nAAAA\n");
  const std::string text = forwardOf(*source);
  EXPECT_EQ(text.find("Received"), std::string::npos);
  const auto forward = messageOf(text);
  ASSERT_EQ(forward->attachments().size(), 1U);
  EXPECT_EQ(forward->attachments()[0].name, "a.pdf");
  EXPECT_EQ(forward->attachments()[0].size, 3);
}

TEST(Forward, MessagesOfADigestStayMessages) {
  const auto source =
      messageOf("Content-Type: multipart/digest; boundary=d\n\n--d\n\nSubject: one\n\nhi\n--d--\n");
  const auto forward = messageOf(forwardOf(*source));
  const Part* embedded = leafOfType(*forward, "message/rfc822");
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(*decodedContent(forward->file(), *embedded, 100), "Subject: one\n\nhi");
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

TEST(Forward, ABigAttachmentIsWrittenInBlocks) {
  const auto source = messageOf(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n--b\nContent-Type: image/png\n\n" +
      std::string(10'000'000, 'x') + "\n--b--\n");
  MemoryOutput out;
  ASSERT_TRUE(writeForward(draftOf(source.get()), out));
  EXPECT_GT(out.written.size(), 10'000'000U);
  EXPECT_LE(out.longestWrite, 200'000U);
}

}  // namespace
}  // namespace relaybird
