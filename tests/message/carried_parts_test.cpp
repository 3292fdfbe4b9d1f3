// SPDX-License-Identifier: MIT
// The attachments that a forward carries: files, pictures, embedded and signed messages. Each
// forward is written, parsed again, and its parts compared with the source's.
#include <gtest/gtest.h>

#include "message/forward_samples.h"
#include "message/message_rules.h"
#include "message/parts/part_content.h"
#include "message/writing/forward_output.h"

namespace relaybird {
namespace {

// A message with one attachment that has these fields and this content.
std::unique_ptr<Message> withAttachment(const std::string& fields, const std::string& content) {
  return messageOf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n--b\n" + fields + "\n" +
                   content + "\n--b--\n");
}

// The attachment in the forward of that message.
std::string carriedContent(const Message& source) {
  const std::string text = forwardOf(source);
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const auto forward = messageOf(text);
  return *decodedContent(forward->file(), *forward->layout().attached.at(0), 8'000'000);
}

TEST(CarriedParts, CarriesAttachmentsByteForByte) {
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

TEST(CarriedParts, AControlCharacterInAnUnusedBoundaryIsNotCarried) {
  for (const std::string type : {"/a", "application/x-odd", "message/x-odd"}) {
    EXPECT_EQ(carriedContent(*messageOf("Content-Type:" + type + ";boundary=\x01\n\nodd\n")),
              "odd\n")
        << type;
    const auto among = withAttachment("Content-Type: " + type + "; boundary=\x01\n", "odd");
    EXPECT_EQ(carriedContent(*among), "odd") << type;
  }
  const auto disposed = withAttachment(
      "Content-Type: image/png\nContent-Disposition: attachment; boundary=\x01\n", "odd");
  EXPECT_EQ(carriedContent(*disposed), "odd");
}

TEST(CarriedParts, AParameterWhoseNameFillsALineIsLeftOut) {
  std::string value = "*=utf-8''%C3%A4";
  for (int i = 0; i < 500; ++i) {
    value += "%2C";
  }
  for (const std::size_t size : {40U, 41U, 70U, 99U}) {
    const std::string name(size, 'n');
    for (const std::string field : {"Content-Type: image/png", "Content-Disposition: attachment"}) {
      const auto source = withAttachment(field + "; " + name + value + "\n", "odd");
      EXPECT_EQ(carriedContent(*source), "odd") << size;
      EXPECT_EQ(forwardOf(*source).find(name) != std::string::npos, size == 40U) << size;
    }
  }
}

TEST(CarriedParts, AnEncodedWordOnALongLineIsWrittenAnew) {
  const std::string name = "name*=utf-8''%C3%A4" + std::string(80, 'x');
  for (const std::string end : {"\n", "\r\n"}) {
    const auto source = withAttachment(
        "Content-Type: image/png;" + end + " " + name + " =?x?B?w?= end" + end, "picture");
    EXPECT_EQ(carriedContent(*source), "picture");
    EXPECT_EQ(messageOf(forwardOf(*source))->attachments().at(0).name,
              source->attachments().at(0).name);
  }
}

TEST(CarriedParts, ALocationThatReadsAsALongEncodedWordIsNotCarried) {
  const auto source = [](std::size_t size) {
    const std::string location = "=?x?q?" + std::string(size, 'l') + "?=";
    return messageOf(
        "Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n\n"
        "<img src=\"" +
        location + "\">\n--b\nContent-Type: image/png\nContent-Location: " + location +
        "\n\npicture\n--b--\n");
  };
  for (const std::size_t size : {40U, 60U, 200U}) {
    const std::string text = forwardOf(*source(size));
    EXPECT_EQ(brokenRules(text), std::vector<std::string>()) << size;
    EXPECT_EQ(text.find("Content-Location") != text.npos, size == 40U) << size;
  }
}

TEST(CarriedParts, AnEncodedWordThatJustFitsItsLineIsCarriedAsItIs) {
  const std::string field = "Content-Description: " + std::string(45, 'd') + " =?x?Q?y?=";
  ASSERT_EQ(field.size(), 76U);
  for (const std::string end : {"\n", "\r\n"}) {
    const auto at = [&](const std::string& described) {
      return forwardOf(
          *withAttachment("Content-Type: image/png" + end + described + end, "picture"));
    };
    EXPECT_NE(at(field).find(field + "\n"), std::string::npos);
    EXPECT_EQ(at(field + "z").find(field), std::string::npos);
    EXPECT_NE(at("Content-Disposition: attachment; filename=\"" + field + "\"").find(field),
              std::string::npos);
  }
}

TEST(CarriedParts, AFileOfEightBitTextIsEncoded) {
  const std::string text = forwardOf(*sampleMessage("attachments.eml"));
  EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c > 0; }));
  EXPECT_NE(text.find("K=C3=A4se;3,50"), std::string::npos);
  EXPECT_EQ(messageOf(text)->headers().raw("Content-Transfer-Encoding"), std::nullopt);
}

TEST(CarriedParts, CarriesOnlyTheAttachmentsThatAreKept) {
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

TEST(CarriedParts, KeepsPicturesWithTheHtmlThatShowsThem) {
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

TEST(CarriedParts, KeepsPicturesNamedByTheirLocationWithTheHtml) {
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

TEST(CarriedParts, SignedMailIsCarriedWholeByteForByte) {
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

TEST(CarriedParts, SignedMailWithoutAttachmentsIsItsText) {
  const auto source = sampleMessage("signed.eml");
  ForwardDraft draft = draftOf(source.get());
  draft.keptAttachments.clear();
  EXPECT_TRUE(messageOf(written(draft))->attachments().empty());
}

TEST(CarriedParts, CrLfSourcesAreWrittenWithLf) {
  const auto source = sampleMessage("crlf.eml");
  const std::string text = forwardOf(*source);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(messageOf(text)->attachmentSize(0), 256);
}

TEST(CarriedParts, BytesOfABinaryPartAreLeftAlone) {
  const std::string bytes("\r\n\0\r\r\n\xff\n", 8);
  const std::string original =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
      "Content-Type: x/y\nContent-Transfer-Encoding: binary\n\n" +
      bytes + "\n--b--\n";
  const auto forward = messageOf(forwardOf(*messageOf(original)));
  EXPECT_EQ(*decodedContent(forward->file(), *forward->layout().attached.at(0), 100), bytes);
}

TEST(CarriedParts, Base64InLinesTooLongIsWrappedAnew) {
  const auto source =
      withAttachment("Content-Type: x/y\nContent-Transfer-Encoding: base64\n",
                     encodeBase64("A") + " \r" + std::string(200'000, 'B') + "\xE9==");
  EXPECT_EQ(carriedContent(*source),
            *decodedContent(source->file(), *source->layout().attached[0], 8'000'000));
}

TEST(CarriedParts, WrapsBase64TheSameWhereverItIsCutIntoBlocks) {
  const auto rewrapped = [](std::string_view content, std::size_t blockSize) {
    MemoryOutput file;
    ForwardOutput out(file);
    Base64Rewrapper filter(out);
    for (; !content.empty(); content.remove_prefix(std::min(blockSize, content.size()))) {
      filter.put(content.substr(0, blockSize));
    }
    filter.end();
    EXPECT_TRUE(out.finish());
    return file.written;
  };
  const std::string right = std::string(76, 'A') + "\r\n" + std::string(76, '/') + "\nz+9=\n";
  const std::string damaged = "\n\r\nA B\rC\r\n" + std::string(77, 'D') + "\n-\nE\xE9@`{[:F\r";
  const std::string wanted = std::string(76, 'A') + '\n' + std::string(76, '/') + "\nz+9=\nABC\n" +
                             std::string(76, 'D') + "\nD\nEF";
  for (std::size_t blockSize = 1; blockSize < 300; ++blockSize) {
    ASSERT_EQ(rewrapped(right + damaged, blockSize), wanted) << blockSize;
  }
}

TEST(CarriedParts, QuotedPrintableInLinesTooLongIsWrappedAnew) {
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

TEST(CarriedParts, QuotedPrintableThatIsRightStaysByteForByte) {
  const std::string content =
      "a=20=\nb =\n" + std::string(75, 'x') + "\n=C3=A4\n\n.\n" + std::string(75, 'y') + "=\nz";
  const std::string text = forwardOf(*withAttachment(
      "Content-Type: text/csv\nContent-Transfer-Encoding: quoted-printable\n", content));
  EXPECT_NE(text.find("\n\n" + content + "\n--"), std::string::npos);
}

TEST(CarriedParts, LongLinesWithinAFileAreEncoded) {
  const std::string content = std::string(5000, 'x') + "\ry\n" + std::string(999, 'z');
  for (const char* type : {"text/csv", "application/json"}) {
    const auto source = withAttachment("Content-Type: " + std::string(type) + "\n", content);
    EXPECT_EQ(carriedContent(*source), content) << type;
  }
}

TEST(CarriedParts, AnEmbeddedMessageThatBreaksTheRulesBecomesAFile) {
  const std::string content = "Subject: x\n\n" + std::string(5000, 'x') + "\n";
  const auto source = withAttachment("Content-Type: message/rfc822\n", content);
  EXPECT_EQ(carriedContent(*source), content);
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->attachments().at(0).contentType, "application/octet-stream");
  EXPECT_EQ(forward->attachments().at(0).name, "message.eml");
}

TEST(CarriedParts, AnEmbeddedMessageOfEightBitsSaysSo) {
  const std::string content = "Subject: x\n\nK\u00e4se\n";
  const auto source = withAttachment("Content-Type: message/rfc822\n", content);
  EXPECT_EQ(carriedContent(*source), content);
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->headers().value("Content-Transfer-Encoding"), "8bit");
  EXPECT_EQ(forward->attachments().at(0).contentType, "message/rfc822");
}

TEST(CarriedParts, FieldsOfAPartThatCannotBeWrittenAreMadeAnew) {
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

TEST(CarriedParts, ATypeThatIsNoneIsNotPassedOn) {
  const auto source = withAttachment("Content-Type: text/x-\"y\"; name=a.txt\n", "hi");
  EXPECT_EQ(carriedContent(*source), "hi");
  const auto forward = messageOf(forwardOf(*source));
  EXPECT_EQ(forward->attachments().at(0).contentType, "application/octet-stream");
  EXPECT_EQ(forward->attachments().at(0).name, "a.txt");
}

TEST(CarriedParts, ALastLineWithoutAnEndGetsOne) {
  for (const char* body : {"hi", "K\u00e4se", ""}) {
    ForwardDraft draft = draftOf(nullptr);
    draft.body = body;
    EXPECT_TRUE(written(draft).ends_with('\n')) << body;
  }
}

TEST(CarriedParts, SignedMailLosesItsBccAlone) {
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

TEST(CarriedParts, SignedMailWithLinesTooLongGoesAlongAsAFileWithoutItsBcc) {
  const std::string body = "Content-Type: multipart/signed; boundary=b\n\n--b\n\n" +
                           std::string(2000, 'x') +
                           "\n--b\nContent-Type: application/pgp-signature\n"
                           "\n--b--\n";
  const std::string text = forwardOf(*messageOf("Bcc: secret@example.org\n" + body));
  EXPECT_EQ(brokenRules(text), std::vector<std::string>());
  const auto forward = messageOf(text);
  EXPECT_EQ(*decodedContent(forward->file(), *forward->layout().attached.at(0), 100'000), body);
}

TEST(CarriedParts, AMessageThatIsNothingButAFileBecomesAnAttachment) {
  const auto source = messageOf(
      "Received: from x\nSubject: file\nContent-Type: application/pdf;\n name=a.pdf\n"
      "Content-Transfer-Encoding: base64\n\nAAAA\n");
  const std::string text = forwardOf(*source);
  EXPECT_EQ(text.find("Received"), std::string::npos);
  const auto forward = messageOf(text);
  ASSERT_EQ(forward->attachments().size(), 1U);
  EXPECT_EQ(forward->attachments()[0].name, "a.pdf");
  EXPECT_EQ(forward->attachmentSize(0), 3);
}

TEST(CarriedParts, MessagesOfADigestStayMessages) {
  const auto source =
      messageOf("Content-Type: multipart/digest; boundary=d\n\n--d\n\nSubject: one\n\nhi\n--d--\n");
  const auto forward = messageOf(forwardOf(*source));
  const Part* embedded = leafOfType(*forward, "message/rfc822");
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(*decodedContent(forward->file(), *embedded, 100), "Subject: one\n\nhi");
}

TEST(CarriedParts, ABigAttachmentIsWrittenInBlocks) {
  const auto source = messageOf(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n--b\nContent-Type: image/png\n\n" +
      std::string(8'000'000, 'x') + "\n--b--\n");
  MemoryOutput out;
  ASSERT_TRUE(writeForward(draftOf(source.get()), out));
  EXPECT_GT(out.written.size(), 8'000'000U);
  EXPECT_LE(out.longestWrite, 200'000U);
}

}  // namespace
}  // namespace relaybird
