// SPDX-License-Identifier: MIT
// Messages made to break a reader. Each must be read and forwarded in reasonable time. Nesting,
// numbers of parts, endless lines, noise: a reader with quadratic cost or deep recursion would
// exceed the time limit or the stack here.
#include <gtest/gtest.h>

#include <numeric>

#include "message/mail_samples.h"
#include "message/text/charset.h"
#include "message/text/repeated.h"
#include "message/writing/forward.h"

namespace relaybird {
namespace {

// Calls everything that a message offers, and returns the text of its forward.
std::string useUp(const std::string& bytes) {
  kindOf(bytes);
  const auto source = messageOf(bytes);
  EXPECT_TRUE(isValidUtf8(source->subject()));
  EXPECT_TRUE(isValidUtf8(source->bodyText()));
  EXPECT_TRUE(isValidUtf8(source->htmlBody().value_or("")));
  source->date();
  source->task();
  ForwardDraft draft;
  draft.source = source.get();
  draft.from = {"", "me@example.com"};
  draft.to = {{"", "pager@example.net"}};
  draft.subject = "FW: " + source->subject();
  draft.messageId = "forward-1@example.com";
  draft.keptAttachments.resize(source->attachments().size());
  std::iota(draft.keptAttachments.begin(), draft.keptAttachments.end(), 0U);
  MemoryOutput out;
  EXPECT_TRUE(writeForward(draft, out));
  return messageOf(out.written)->bodyText();
}

TEST(HostileMail, EverySampleCanBeForwarded) {
  for (const char* name : {"attachments.eml",
                           "bounced-forward-plain.eml",
                           "bounced-forward.eml",
                           "broken-base64.eml",
                           "calendar-published.eml",
                           "crlf.eml",
                           "delivery-report.eml",
                           "encoded-subject.eml",
                           "encrypted.eml",
                           "group-addresses.eml",
                           "header-injection.eml",
                           "headers-only.eml",
                           "html-and-text.eml",
                           "html-only.eml",
                           "iso-2022-jp.eml",
                           "lying-charset.eml",
                           "meeting-reply.eml",
                           "meeting-request.eml",
                           "nested.eml",
                           "no-headers.eml",
                           "own-forward.eml",
                           "plain.eml",
                           "read-receipt.eml",
                           "signed.eml",
                           "task-accept.eml",
                           "task-decline.eml",
                           "task-request.eml",
                           "task-update.eml",
                           "unclosed-boundary.eml",
                           "windows-1252.eml"}) {
    const std::string text = useUp(sample(name));
    EXPECT_TRUE(text.starts_with("-----Original Message-----\n")) << name;
  }
}

TEST(HostileMail, EveryBeginningOfAMessageCanBeForwarded) {
  const std::string whole = sample("nested.eml");
  for (std::size_t size = 0; size < whole.size(); size += 7) {
    useUp(whole.substr(0, size));
  }
}

TEST(HostileMail, DeepMultipartsAreForwardedWhole) {
  std::string deep = "Subject: deep\n";
  for (int i = 0; i < 5000; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    deep += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  useUp(deep + "\nhello\n");
  EXPECT_TRUE(messageOf(deep)->isOpaque());
}

TEST(HostileMail, MillionsOfPartsAreForwardedWhole) {
  const std::string many =
      "Content-Type: multipart/mixed; boundary=b\n\n" + repeated("--b\n\n\n", 1'000'000);
  useUp(many);
  EXPECT_TRUE(messageOf(many)->isOpaque());
}

TEST(HostileMail, LinesThatLookLikeBoundariesCostOneLookUpEach) {
  std::string nested = "Subject: x\n";
  for (int i = 0; i < 45; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    nested += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  useUp(nested + "\n" + repeated("--\n--b\n", 500'000));
}

TEST(HostileMail, EmbeddedMessagesWithoutEnd) {
  useUp(repeated("Subject: x\nContent-Type: message/rfc822\n\n", 50'000));
}

TEST(HostileMail, HugeSubjectsAndManyFields) {
  const std::string text = useUp("Subject: " + std::string(200'000, 's') + "\n\nhi\n");
  EXPECT_LT(text.size(), 2000U);
  useUp("Subject: =?utf-8?B?" + std::string(200'000, 'A') + "?=\n\nhi\n");
  useUp("Subject: " + repeated("=?utf-8?Q?a?= ", 20'000) + "\n\nhi\n");
  useUp(repeated("X-Field: value\n", 100'000) + "\nhi\n");
  useUp("To: " + repeated("a@example.org, ", 60'000) + "b@example.org\n\nhi\n");
  useUp("Subject: x\n" + repeated(" folded\n", 100'000) + "\nhi\n");
}

TEST(HostileMail, HugeParameters) {
  useUp("Content-Type: text/plain" + repeated("; a=b", 200'000) + "\n\nhi\n");
  useUp("Content-Type: multipart/mixed; boundary=" + std::string(100'000, 'b') + "\n\nhi\n");
  std::string pieces = "Content-Type: application/x; name*0*=utf-8''a";
  for (int i = 1; i < 5000; ++i) {
    pieces += "; name*" + std::to_string(i) + "*=%C3%A4";
  }
  useUp(pieces + "\n\nhi\n");
}

TEST(HostileMail, NulBytesEverywhere) {
  std::string bytes = sample("nested.eml");
  for (std::size_t i = 13; i < bytes.size(); i += 41) {
    bytes[i] = '\0';
  }
  useUp(bytes);
  useUp(std::string(100'000, '\0'));
}

TEST(HostileMail, BytesAtRandom) {
  const std::string whole = sample("nested.eml") + sample("meeting-request.eml");
  std::uint32_t state = 1;
  for (int round = 0; round < 300; ++round) {
    std::string bytes = whole;
    for (int change = 0; change < 20; ++change) {
      state = state * 1664525 + 1013904223;
      bytes[state % bytes.size()] = static_cast<char>(state >> 24);
    }
    useUp(bytes);
  }
}

TEST(HostileMail, HtmlThatNeverCloses) {
  const std::string head = "Content-Type: text/html\n\n";
  useUp(head + repeated("<div", 300'000));
  useUp(head + repeated("<a title=\"", 100'000));
  useUp(head + repeated("<meta charset=", 100'000));
  useUp(head + "<!-- " + repeated("cid:x ", 100'000));
  useUp(head + repeated("<", 1'000'000));
}

TEST(HostileMail, DatesFarAway) {
  for (const char* date :
       {"Fri, 20 Nov 99999999999 09:00:00 +0000", "Fri, 0 Xyz 0 99:99:99 +9999", "1", "-1",
        "Fri, 31 Dec 9999 23:59:59 -9999", ",,,,", "Fri, 20 Nov 2026 09:00:00 (((((("}) {
    useUp(std::string("Date: ") + date + "\n\nhi\n");
  }
}

}  // namespace
}  // namespace relaybird
