// SPDX-License-Identifier: MIT
// A stored message as the mail store's items use it: texts, attachments, date, and when it is
// opaque. The messages are the samples of tests/data/mail or written in the test; a file in memory
// shows what was read of them.
#include "message/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "message/mail_samples.h"
#include "message/parts/message_layout.h"
#include "message/parts/message_text.h"

namespace relaybird {
namespace {

std::vector<std::string> names(const Message& message) {
  std::vector<std::string> all;
  for (const AttachmentInfo& info : message.attachments()) {
    all.push_back(info.name);
  }
  return all;
}

TEST(Message, AnswersAPlainMessage) {
  const auto message = sampleMessage("plain.eml");
  EXPECT_EQ(message->subject(), "Lunch on Friday?");
  EXPECT_EQ(message->addressText("From"), "Anna Example <anna@example.org>");
  EXPECT_EQ(message->addressText("To"), "Me <me@example.com>");
  EXPECT_EQ(message->addressText("Cc"), "");
  EXPECT_EQ(message->bodyText(),
            "Hello,\n\nshall we have lunch on Friday at noon? The place by the canal is open "
            "again.\n\nAnna\n");
  EXPECT_EQ(message->htmlBody(), std::nullopt);
  EXPECT_TRUE(message->attachments().empty());
  EXPECT_FALSE(message->isOpaque());
  EXPECT_FALSE(message->task());
}

TEST(Message, ReadsTheDateInUtc) {
  const auto date = sampleMessage("plain.eml")->date();
  ASSERT_TRUE(date);
  EXPECT_EQ(*date, DateTime(std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} +
                            std::chrono::hours(8) + std::chrono::minutes(1)));
  EXPECT_FALSE(messageOf("Date: yesterday\n\n")->date());
  EXPECT_FALSE(messageOf("Date: \n\n")->date());
  EXPECT_FALSE(messageOf("Subject: x\n\n")->date());
}

TEST(Message, MakesTextOfHtml) {
  const auto message = sampleMessage("html-only.eml");
  const std::string text = message->bodyText();
  EXPECT_NE(text.find("This week"), std::string::npos);
  EXPECT_NE(text.find("€ & the market is open until six."), std::string::npos);
  EXPECT_EQ(text.find("<p>"), std::string::npos);
  EXPECT_EQ(text.find("black"), std::string::npos);
  ASSERT_TRUE(message->htmlBody());
  EXPECT_NE(message->htmlBody()->find("<b>open</b>"), std::string::npos);
}

std::string alternatives(const std::string& plain, const std::string& html) {
  return "Content-Type: multipart/alternative; boundary=b\n\n--b\n"
         "Content-Type: text/plain; charset=utf-8\n\n" +
         plain + "\n--b\nContent-Type: text/html; charset=utf-8\n\n" + html + "\n--b--\n";
}

TEST(Message, ABlankPlainTextDoesNotHideTheHtml) {
  for (const std::string& blank : {std::string(), std::string(" "), std::string("\r\n \t\r\n"),
                                   std::string("\u00a0\n\u00a0"), std::string(5000, '\n')}) {
    EXPECT_EQ(messageOf(alternatives(blank, "<p>Hello</p>"))->bodyText(), "Hello") << blank;
  }
  EXPECT_EQ(messageOf(alternatives(std::string(5000, '\n') + "plain", "<p>Hello</p>"))->bodyText(),
            std::string(5000, '\n') + "plain");
  const auto forward =
      messageOf("Content-Type: multipart/mixed; boundary=m\n\n--m\n" + alternatives(" ", "Hello") +
                "--m\nContent-Type: text/plain\n\nsent by a list\n--m--\n");
  EXPECT_EQ(forward->bodyText(), "Hello\nsent by a list");
}

TEST(Message, ABlankTextDoesNotHideWhatTheCalendarSays) {
  const auto message = messageOf(
      "Content-Type: multipart/alternative; boundary=b\n\n--b\n\n\n--b\n"
      "Content-Type: text/calendar\n\nBEGIN:VCALENDAR\nBEGIN:VEVENT\nSUMMARY:Lunch\n"
      "END:VEVENT\nEND:VCALENDAR\n--b--\n");
  EXPECT_EQ(message->bodyText(), "Lunch");
}

TEST(Message, TextBehindALineOfBlanksIsRead) {
  EXPECT_EQ(messageOf("Subject: x\n \nHello\n")->bodyText(), "Hello\n");
  EXPECT_EQ(messageOf("Subject: x\nHello you\n\nBye\n")->bodyText(), "Hello you\n\nBye\n");
}

TEST(Message, FlowedTextIsUnfolded) {
  EXPECT_EQ(messageOf("Content-Type: text/plain; format=Flowed\n\nan \ninvoice\n")->bodyText(),
            "an invoice\n");
  EXPECT_EQ(
      messageOf("Content-Type: text/plain; format=flowed; DelSp=Yes\n\nin \nvoice\n")->bodyText(),
      "invoice\n");
  EXPECT_EQ(messageOf("Content-Type: text/plain; format=fixed\n\nan \ninvoice\n")->bodyText(),
            "an \ninvoice\n");
}

TEST(Message, ARawSubjectIsReadInTheCharacterSetOfTheBody) {
  EXPECT_EQ(messageOf("Subject: \xF0\xD2\xC9\nContent-Type: text/plain; charset=koi8-r\n\n\xF0\n")
                ->subject(),
            "При");
  EXPECT_EQ(messageOf("Subject: \xF0\xD2\xC9\nContent-Type: multipart/mixed; boundary=b\n\n--b\n"
                      "Content-Type: text/plain;\n Charset=\"KOI8-R\"\n\nx\n--b--\n")
                ->subject(),
            "При");
  EXPECT_EQ(
      messageOf("Subject: K\u00e4se\nContent-Type: text/plain; charset=koi8-r\n\nx\n")->subject(),
      "Käse");
  EXPECT_EQ(
      messageOf("Subject: \xE9t\xE9\nContent-Type: text/plain; charset=utf-8\n\nx\n")->subject(),
      "été");
}

// Subjects were read correctly, but names beside them as Latin letters.
TEST(Message, RawNamesOfTheWritersAreReadInTheCharacterSetOfTheBodyToo) {
  const std::string body = "Content-Type: text/plain; charset=koi8-r\n\n\xF0\n";
  for (const char* name : {"\xF0\xD2\xC9", "\"\xF0\xD2\xC9\"", "=?koi8-r?Q?=F0?=\xD2\xC9"}) {
    const std::string value = std::string(name) + " <pri@example.com>\n";
    const Mailbox pri{"При", "pri@example.com"};
    EXPECT_EQ(messageOf("From: " + value + body)->headers().senderMailbox(), pri) << value;
    EXPECT_EQ(messageOf("From: nobody\nSender: " + value + body)->headers().senderMailbox(), pri);
    EXPECT_EQ(messageOf("To: " + value + body)->headers().mailboxes("To"), std::vector{pri});
  }
  EXPECT_EQ(messageOf("From: \xF0\xD2\xC9\n" + body)->headers().senderMailbox().name, "При");
}

TEST(Message, RawNamesOutsideOfTheBodysCharacterSetAreLatin) {
  for (const char* charset : {"utf-8", "us-ascii", "iso-8859-1", "utf-16", "utf-7", "x-unknown"}) {
    EXPECT_EQ(messageOf(std::string("From: Andr\xE9 <a@b.example>\nSubject: \xE9t\xE9\n"
                                    "Content-Type: text/plain; charset=") +
                        charset + "\n\nx\n")
                  ->headers()
                  .senderMailbox(),
              (Mailbox{"André", "a@b.example"}))
        << charset;
  }
}

// The whole subject, its ASCII included, became Chinese characters.
TEST(Message, ARawSubjectIsNotReadInACharacterSetThatDoesNotContainAscii) {
  for (const char* charset : {"utf-16", "utf-16le", "utf-32", "utf-7"}) {
    EXPECT_EQ(
        messageOf(std::string("Subject: +AEE- \xE9t\xE9s\nContent-Type: text/plain; charset=") +
                  charset + "\n\nx\n")
            ->subject(),
        "+AEE- étés")
        << charset;
  }
}

TEST(Message, TextLabelledBase64ThatIsNoneIsText) {
  const std::string text = "Hello Anna, shall we meet at noon? Bring the papers.\n";
  const std::string fields = "Content-Type: text/plain\nContent-Transfer-Encoding: base64\n\n";
  EXPECT_EQ(messageOf(fields + text)->bodyText(), text);
  EXPECT_EQ(messageOf(fields + "SGVs\r\nbG8=\r\n")->bodyText(), "Hello");
  EXPECT_EQ(messageOf(fields + "SGVs bG8=")->bodyText().substr(0, 3), "SGV");
}

TEST(Message, APictureNamedByItsLocationIsShownInPlace) {
  const auto message = messageOf(
      "Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n"
      "Content-Location: http://example.org/a/page.html\n\n<img src=\"one.png\">"
      "<img src='http://example.org/a/two.png'>\n--b\nContent-Type: image/png\n"
      "Content-Location: http://example.org/a/one.png\n\nx\n--b\nContent-Type: image/png\n"
      "Content-Location: http://example.org/a/two.png\n\nx\n--b\nContent-Type: image/png\n"
      "Content-Location: three.png\n\nx\n--b--\n");
  ASSERT_EQ(message->attachments().size(), 3U);
  EXPECT_TRUE(message->attachments()[0].isInline);
  EXPECT_TRUE(message->attachments()[1].isInline);
  EXPECT_FALSE(message->attachments()[2].isInline);
}

TEST(Message, PrefersThePlainAlternative) {
  const auto message = sampleMessage("html-and-text.eml");
  EXPECT_EQ(message->bodyText(), "The train leaves at 7:40 from platform 3.");
  ASSERT_TRUE(message->htmlBody());
  EXPECT_NE(message->htmlBody()->find("<b>7:40</b>"), std::string::npos);
  EXPECT_TRUE(message->attachments().empty());
}

TEST(Message, DecodesOldCharacterSets) {
  EXPECT_EQ(sampleMessage("iso-2022-jp.eml")->bodyText(),
            "明日の会議は十時からです。\n場所は三階の会議室です。\n");
  EXPECT_EQ(sampleMessage("windows-1252.eml")->bodyText(),
            "Guten Tag,\n\n„alle“ Bücher kosten 5 € – solange der Vorrat reicht…\n");
  EXPECT_EQ(sampleMessage("lying-charset.eml")->bodyText(),
            "The label says ASCII, the text is UTF-8: Grüße aus Köln\n");
}

TEST(Message, BelievesTheMetaElementWhereTheFieldIsSilent) {
  const auto message = messageOf(
      "Content-Type: text/html\n\n<html><head><meta charset=\"windows-1251\"></head>"
      "<body>\xCF\xF0\xE8\xE2\xE5\xF2</body></html>");
  EXPECT_EQ(message->bodyText(), "Привет");
}

TEST(Message, FindsTextsAndAttachmentsInNestedParts) {
  const auto message = sampleMessage("nested.eml");
  EXPECT_EQ(message->bodyText(),
            "The new plan with our logo: café on the left.\nA last line below the attachments.");
  EXPECT_EQ(names(*message),
            (std::vector<std::string>{"logo.png", "Pläne für alle.bin", "message.eml"}));
  const auto& attachments = message->attachments();
  EXPECT_TRUE(attachments[0].isInline);
  EXPECT_EQ(attachments[0].contentId, "logo@example.org");
  EXPECT_EQ(attachments[0].contentType, "image/png");
  EXPECT_FALSE(attachments[1].isInline);
  EXPECT_EQ(message->attachmentSize(1), 256);
  EXPECT_EQ(attachments[2].contentType, "message/rfc822");
  EXPECT_EQ(message->bodyText().find("embedded"), std::string::npos);
}

TEST(Message, MeasuresAttachmentsDecoded) {
  const auto message = sampleMessage("attachments.eml");
  EXPECT_EQ(names(*message), (std::vector<std::string>{"invoice.pdf", "grün.png", "prices.csv"}));
  EXPECT_EQ(message->attachmentSize(0), 204);
  EXPECT_EQ(message->attachmentSize(2), 21);
  EXPECT_EQ(message->bodyText(), "Both files are attached.\n");
}

// Each forward decoded all attachments of its source, although only a limit asks for their sizes.
TEST(Message, ReadsAnAttachmentToMeasureItAlone) {
  std::string text =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nHello\n--b\n"
      "Content-Type: application/pdf; name=a.pdf\nContent-Transfer-Encoding: base64\n\n";
  for (int line = 0; line < 10'000; ++line) {
    text += "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\n";
  }
  const auto file = std::make_shared<MemoryInput>(text + "--b--\n");
  const auto message = Message::read(file);
  ASSERT_TRUE(message);
  const int reads = file->reads;
  EXPECT_EQ(names(**message), std::vector<std::string>{"a.pdf"});
  EXPECT_EQ(file->reads, reads);
  EXPECT_EQ((*message)->attachmentSize(0), 300'000);
  const int measured = file->reads;
  EXPECT_GT(measured, reads);
  EXPECT_EQ((*message)->attachmentSize(0), 300'000);
  EXPECT_EQ(file->reads, measured);
}

TEST(Message, AnAttachmentAloneIsAnAttachment) {
  const auto message = messageOf(
      "Content-Type: application/pdf; name=a.pdf\nContent-Transfer-Encoding: base64\n\nAAAA\n");
  EXPECT_EQ(message->bodyText(), "");
  EXPECT_EQ(names(*message), std::vector<std::string>{"a.pdf"});
  EXPECT_EQ(message->attachmentSize(0), 3);
}

TEST(Message, ATextWithAFileNameIsAnAttachmentUnlessItIsTheMessage) {
  EXPECT_EQ(messageOf("Content-Type: text/plain; name=a.txt\n\nhi\n")->bodyText(), "hi\n");
  const auto message = messageOf(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n"
      "Content-Type: text/plain; name=a.txt\n\ntwo\n--b\n\nthree\n--b--\n");
  EXPECT_EQ(message->bodyText(), "one\nthree");
  EXPECT_EQ(names(*message), std::vector<std::string>{"a.txt"});
}

TEST(Message, HtmlInSeveralPiecesStaysInOrder) {
  const auto message = messageOf(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/html\n\n<p>one</p>\n"
      "--b\nContent-Type: image/png; name=x.png\n\nzz\n--b\n\ntwo < three\n--b\n"
      "Content-Type: text/html\n\n<p>four</p>\n--b--\n");
  EXPECT_EQ(message->bodyText(), "one\ntwo < three\nfour");
  const std::string html = message->htmlBody().value();
  EXPECT_LT(html.find("<p>one</p>"), html.find("two &lt; three"));
  EXPECT_LT(html.find("two &lt; three"), html.find("<p>four</p>"));
}

TEST(Message, AlternativesMayThemselvesBeMultiparts) {
  const auto message = messageOf(
      "Content-Type: multipart/alternative; boundary=a\n\n--a\n\nplain\n--a\n"
      "Content-Type: text/x-amp-html\n\n<amp>\n--a\n"
      "Content-Type: multipart/mixed; boundary=m\n\n--m\nContent-Type: "
      "text/html\n\n<p>one</p>\n--m\n"
      "Content-Type: application/pdf; name=x.pdf\n\nzz\n--m\nContent-Type: "
      "text/html\n\n<p>two</p>\n"
      "--m--\n--a--\n");
  EXPECT_EQ(message->bodyText(), "plain");
  EXPECT_EQ(message->htmlBody(), "<p>one</p><p>two</p>");
  EXPECT_EQ(names(*message), std::vector<std::string>{"x.pdf"});
}

TEST(Message, TheStartParameterNamesTheTextOfARelatedGroup) {
  const auto message = messageOf(
      "Content-Type: multipart/related; boundary=r; start=\"<text@x>\"\n\n--r\n"
      "Content-Type: image/gif\nContent-ID: <pic@x>\n\ngif\n--r\nContent-Type: text/html\n"
      "Content-ID: <text@x>\n\n<img src='CID:pic%40x'>hello\n--r--\n");
  EXPECT_EQ(message->bodyText(), "hello");
  ASSERT_EQ(message->attachments().size(), 1U);
  EXPECT_TRUE(message->attachments()[0].isInline);
  EXPECT_EQ(message->attachments()[0].name, "image.gif");
}

TEST(Message, AnInlinePictureThatNothingShowsIsAnOrdinaryAttachment) {
  const auto message = messageOf(
      "Content-Type: multipart/related; boundary=r\n\n--r\nContent-Type: text/html\n\nhello\n--r\n"
      "Content-Type: image/gif\nContent-ID: <pic@x>\n\ngif\n--r--\n");
  ASSERT_EQ(message->attachments().size(), 1U);
  EXPECT_FALSE(message->attachments()[0].isInline);
}

TEST(Message, SignedAndEncryptedMessagesAreOpaque) {
  const auto message = sampleMessage("signed.eml");
  EXPECT_TRUE(message->isOpaque());
  EXPECT_EQ(message->bodyText(), "I owe you ten coins. The space at the end of this line counts: ");
  ASSERT_EQ(message->attachments().size(), 1U);
  EXPECT_EQ(message->attachments()[0].contentType, "message/rfc822");
  EXPECT_EQ(message->attachmentSize(0), static_cast<std::int64_t>(sample("signed.eml").size()));
  EXPECT_TRUE(sampleMessage("encrypted.eml")->isOpaque());
  EXPECT_EQ(sampleMessage("encrypted.eml")->bodyText(), "");
}

TEST(Message, ASignatureWithinAMailingListsWrapperStillSeals) {
  EXPECT_TRUE(messageOf("Content-Type: multipart/mixed; boundary=a\n\n--a\n"
                        "Content-Type: multipart/signed; boundary=b\n\n--b\n\nhi\n--b--\n--a\n\n"
                        "list footer\n--a--\n")
                  ->isOpaque());
}

TEST(Message, AnswersTheTaskOfATaskMessage) {
  const auto task = sampleMessage("task-request.eml")->task();
  ASSERT_TRUE(task);
  EXPECT_EQ(task->subject, "Count the stock");
  EXPECT_EQ(task->body, "Count everything, and write it down\nby Friday.");
  EXPECT_FALSE(sampleMessage("meeting-request.eml")->task());
}

TEST(Message, AMeetingAnswersItsInvitationAndKeepsTheCalendar) {
  const auto message = sampleMessage("meeting-request.eml");
  EXPECT_EQ(message->bodyText(), "You are invited to the planning meeting.");
  EXPECT_EQ(names(*message), (std::vector<std::string>{"invite.ics", "invite.ics"}));
}

TEST(Message, ACalendarAloneAnswersItsDescription) {
  EXPECT_EQ(sampleMessage("meeting-reply.eml")->bodyText(), "Gladly");
}

TEST(Message, AReportAnswersItsWordsForPeople) {
  EXPECT_EQ(sampleMessage("delivery-report.eml")->bodyText(),
            "Your message could not be delivered to pager@example.net.");
}

TEST(Message, CrLfMessagesHaveTextsOfLf) {
  const auto message = sampleMessage("crlf.eml");
  EXPECT_EQ(message->bodyText(), "First line\nsecond line");
  EXPECT_EQ(message->attachmentSize(0), 256);
}

TEST(Message, DamagedEncodingsYieldWhatTheyHave) {
  const auto message = sampleMessage("broken-base64.eml");
  EXPECT_EQ(message->bodyText().substr(0, 29), "This text ends with half a gr");
  EXPECT_EQ(message->attachments().size(), 1U);
}

TEST(Message, ACutMessageYieldsWhatItHas) {
  const auto message = sampleMessage("unclosed-boundary.eml");
  EXPECT_EQ(message->subject(), "Cut off");
  EXPECT_EQ(message->bodyText(), "Before the cut, with a NUL  in it.");
  EXPECT_EQ(message->attachmentSize(0), 23);
}

TEST(Message, AMessageWithoutHeadersIsItsText) {
  EXPECT_EQ(sampleMessage("no-headers.eml")->bodyText(), sample("no-headers.eml"));
  EXPECT_EQ(sampleMessage("no-headers.eml")->subject(), "");
  EXPECT_EQ(sampleMessage("headers-only.eml")->bodyText(), "");
  EXPECT_EQ(sampleMessage("headers-only.eml")->subject(), "Nothing below");
  EXPECT_EQ(messageOf("")->bodyText(), "");
}

TEST(Message, TooMuchTextIsCutAndTheMessageOpaque) {
  const auto message = messageOf("Subject: long\n\n" + std::string(9'000'000, 'x'));
  EXPECT_EQ(message->bodyText().size(), kMessageTextBytes);
  EXPECT_TRUE(message->isOpaque());
}

TEST(Message, TakingApartReadsTheFileOnceAndKeepsItsBytesThere) {
  const auto file = memoryFile(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n--b\nContent-Type: image/png\n\n" +
      std::string(10'000'000, 'x') + "\n--b--\n");
  const auto message = Message::read(file);
  ASSERT_TRUE(message);
  EXPECT_LE(file->reads, 1 + 10'000'200 / 65'536 + 2);
  const int reads = file->reads;
  EXPECT_EQ((*message)->subject(), "");
  EXPECT_EQ(file->reads, reads);
}

TEST(Message, AMessageThatCannotBeReadIsAnError) {
  const auto file = memoryFile(sample("nested.eml"));
  file->failing = true;
  EXPECT_EQ(Message::read(file).error().code, EIO);
}

TEST(Message, AFileThatVanishesLaterLeavesTextsEmpty) {
  const auto file = memoryFile(sample("nested.eml"));
  const auto message = Message::read(file);
  ASSERT_TRUE(message);
  file->failing = true;
  EXPECT_EQ((*message)->bodyText(), "");
  EXPECT_EQ((*message)->subject(), "Plans and pictures");
}

std::size_t lettersOf(const std::set<std::string, std::less<>>& texts) {
  std::size_t sum = 0;
  for (const std::string& text : texts) {
    sum += text.size();
  }
  return sum;
}

TEST(PageReferences, OfAHostilePageTakeNoMoreThanThePageItself) {
  std::string ids;
  std::string locations;
  for (int i = 0; i < 40'000; ++i) {
    ids += "cid:";
    locations += "=a" + std::to_string(i) + (i % 200 == 0 ? ">" : "");
  }
  EXPECT_LE(lettersOf(contentIdsUsed(ids)), ids.size());
  EXPECT_LE(lettersOf(referencesUsed(locations)), locations.size());
}

TEST(PageReferences, AreFoundInAttributesAndInStyles) {
  const std::string_view page =
      "<img src=\"cid:one\"><p style='background: url(cid:two)'><img src=a.png>"
      "<td style=background:url(b.png)><img src = \"c d.png\">";
  EXPECT_THAT(contentIdsUsed(page), testing::ElementsAre("one", "two"));
  EXPECT_THAT(referencesUsed(page), testing::IsSupersetOf({"a.png", "b.png", "c d.png"}));
}

}  // namespace
}  // namespace relaybird
