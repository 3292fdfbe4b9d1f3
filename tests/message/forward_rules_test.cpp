// SPDX-License-Identifier: MIT
// Forwards obey the rules for mail, whatever message comes in. Forwards of the samples, of the
// fuzzers' corpus and of thousands of generated messages (mail_maker.h) go through the independent
// checker of message_rules.h.
#include <gtest/gtest.h>

#include <filesystem>
#include <numeric>
#include <set>

#include "message/mail_maker.h"
#include "message/mail_samples.h"
#include "message/message_rules.h"
#include "message/parts/message_layout.h"
#include "message/parts/part_content.h"
#include "message/text/header_text.h"
#include "message/writing/forward.h"

namespace relaybird {
namespace {

ForwardDraft draftOf(const Message& source) {
  ForwardDraft draft;
  draft.source = &source;
  draft.from = {"Me", "me@example.com"};
  draft.to = {{"", "pager@example.net"}, {"Zoë", "zoe@example.net"}};
  draft.replyTo = source.headers().mailboxes("From");
  draft.subject = "FW: " + source.subject();
  draft.sentText = "Friday";
  draft.messageId = "<forward@example.com>";
  draft.date = DateTime(std::chrono::sys_days{std::chrono::year{2026} / 11 / 21});
  draft.traces = {"mark"};
  draft.keptAttachments.resize(source.attachments().size());
  std::iota(draft.keptAttachments.begin(), draft.keptAttachments.end(), 0U);
  return draft;
}

std::string written(const ForwardDraft& draft) {
  MemoryOutput out;
  const auto result = writeForward(draft, out);
  EXPECT_TRUE(result) << result.error().text;
  return out.written;
}

std::string listOf(const std::vector<std::string>& wrong) {
  std::string all;
  for (const std::string& each : wrong) {
    all += each + '\n';
  }
  return all;
}

// The decoded attachments without CR, because line ends on the disk are LF. Empty where the source
// has quoted-printable content: readers differ about malformed escapes.
std::multiset<std::string> contentsOf(const Message& message, const Message& source) {
  std::multiset<std::string> all;
  for (std::size_t i = 0; i < message.layout().attached.size(); ++i) {
    std::string content = *decodedContent(message.file(), *message.layout().attached[i], 1'000'000);
    std::erase(content, '\r');
    all.insert(content);
  }
  for (const Part* part : source.layout().attached) {
    if (part->encoding == TransferEncoding::kQuotedPrintable) {
      return {};
    }
  }
  return all;
}

void expectCarried(const std::string& bytes, std::uint32_t number) {
  const auto source = messageOf(bytes);
  if (!source->isOpaque()) {
    const auto forward = messageOf(written(draftOf(*source)));
    EXPECT_EQ(contentsOf(*forward, *source), contentsOf(*source, *source))
        << "made message " << number;
  }
}

// The forward with the quoted text, and with a short text of its own.
void expectRight(const std::string& bytes, const std::string& name) {
  const auto source = messageOf(bytes);
  ForwardDraft draft = draftOf(*source);
  EXPECT_EQ(listOf(brokenRules(written(draft))), "") << name;
  draft.body = "[From:x] " + source->bodyText();
  EXPECT_EQ(listOf(brokenRules(written(draft))), "") << name << ", short";
}

std::vector<std::filesystem::path> filesIn(const std::string& folder) {
  std::vector<std::filesystem::path> all;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    all.push_back(entry.path());
  }
  return all;
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ForwardRules, TheCheckerFindsWhatItLooksFor) {
  const std::string head = "From: a@b\nDate: x\nMessage-ID: <a@b>\nMIME-Version: 1.0\n";
  EXPECT_EQ(listOf(brokenRules(head + "\nhi\n")), "");
  for (const std::string& bad : std::vector<std::string>{
           head + "\nhi",
           head + "\n" + std::string(999, 'x') + "\n",
           head + "\na\rb\n",
           head + "\na\r\nb\n",
           head + "\n\x1b[31m\n",
           head + "\n\xE9\n",
           head + "X: \xE9\n\n",
           head + "no field\n\n",
           head + " \n\n",
           head + "Subject: =?utf-8?Q?" + std::string(80, 'x') + "?=\n\n",
           head + "From: b@c\n\n",
           head + "Content-Transfer-Encoding: binary\n\nhi\n",
           head + "Content-Transfer-Encoding: base64\n\n" + std::string(80, 'A') + "\n",
           head + "Content-Transfer-Encoding: base64\n\na b\n",
           head + "Content-Transfer-Encoding: quoted-printable\n\na =\nb \n",
           head + "Content-Transfer-Encoding: quoted-printable\n\n=e9\n",
           head + "Content-Type: multipart/mixed\n\n",
           head + "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nhi\n",
           head + "Content-Type: multipart/mixed; boundary=b\nContent-Transfer-Encoding: base64\n\n"
                  "--b\n\nhi\n--b--\n",
           "Date: x\n\nhi\n"}) {
    EXPECT_NE(listOf(brokenRules(bad)), "") << bad;
  }
}

TEST(ForwardRules, ForwardsOfTheSamplesObeyThem) {
  for (const auto& path : filesIn(RB_MAIL_SAMPLES)) {
    if (path.extension() == ".eml") {
      expectRight(contentOf(path), path.filename());
    }
  }
}

TEST(ForwardRules, ForwardsOfTheFuzzersInputsObeyThem) {
  for (const auto& path : filesIn(RB_FUZZ_MESSAGES)) {
    expectRight(contentOf(path), path.filename());
  }
}

TEST(ForwardRules, ForwardsOfMadeMessagesCarryWhatWasAttached) {
  for (std::uint32_t number = 1000; number < 1300; ++number) {
    expectCarried(MailMaker(number).make(), number);
  }
}

TEST(ForwardRules, ForwardsOfMadeMessagesObeyThem) {
  for (std::uint32_t number = 0; number < 300; ++number) {
    expectRight(MailMaker(number).make(), "made message " + std::to_string(number));
  }
}

}  // namespace
}  // namespace relaybird
