// SPDX-License-Identifier: MIT
// The kind of a message as its header and its structure alone tell it has to be the one that
// reading it whole gives, or unknown. The structures are those that a Dovecot has sent for the
// samples of the message tests.
#include "stores/account/structure_kind.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "message/mail_samples.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "stores/account/imap_client.h"

namespace relaybird {
namespace {

// What a server sends of a header section.
HeaderBlock headOf(const std::string& mail) {
  const HeaderBlock whole(mail);
  std::string_view section = whole.bytes();
  const std::string wanted = ' ' + std::string(imapHeadFields()) + ' ';
  std::string kept;
  while (const auto field = takeField(section)) {
    if (wanted.find(' ' + asciiUpper(field->name) + ' ') != std::string::npos) {
      kept += field->whole;
    }
  }
  return HeaderBlock(kept + "\r\n");
}

std::optional<ImapPart> structureOf(const std::string& text) {
  ImapReader reader;
  reader.feed("* 1 FETCH (BODYSTRUCTURE " + text + ")\r\n");
  ImapResponse response = parseImapResponse(reader.next().value());
  return std::get<ImapFetch>(response).structure;
}

std::optional<MessageKind> kindByStructure(const std::string& mail, const std::string& structure) {
  const auto parsed = structureOf(structure);
  EXPECT_TRUE(parsed) << structure;
  return kindFromStructure(headOf(mail), parsed ? &*parsed : nullptr, sampleMarks());
}

TEST(StructureKind, AgreesWithReadingEachSample) {
  std::ifstream in(std::string(RB_STRUCTURES) + "/dovecot.txt");
  std::string line;
  int known = 0;
  int all = 0;
  while (std::getline(in, line)) {
    const std::string name = line.substr(0, line.find(' '));
    const std::string mail = sample(name);
    const auto kind = kindByStructure(mail, line.substr(name.size() + 1));
    ++all;
    if (kind) {
      ++known;
      EXPECT_EQ(*kind, kindOf(mail)) << name;
    }
  }
  int samples = 0;
  for (const auto& file : std::filesystem::directory_iterator(RB_MAIL_SAMPLES)) {
    samples += file.path().extension() == ".eml" ? 1 : 0;
  }
  EXPECT_EQ(all, samples);
  // The rest are meetings, tasks, reports and a published calendar, which must be read.
  EXPECT_EQ(known, 19);
}

TEST(StructureKind, IsKnownForOrdinaryMultiparts) {
  const std::string mail = "Content-Type: multipart/mixed; boundary=a\r\n\r\n";
  const std::string text = "(\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)";
  const std::string file =
      "(\"text\" \"calendar\" NIL NIL NIL \"7bit\" 5 1 NIL (\"Attachment\" NIL) NIL NIL)";
  const std::string invitation = "(\"text\" \"calendar\" NIL NIL NIL \"7bit\" 5 1)";
  EXPECT_EQ(kindByStructure(mail, "(" + text + file + " \"mixed\")"), MessageKind::kMail);
  EXPECT_EQ(kindByStructure(mail, "((" + text + invitation + " \"alternative\") \"mixed\")"),
            std::nullopt);
  // Nobody looks for an invitation within a digest.
  EXPECT_EQ(kindByStructure(mail, "((" + text + invitation + " \"digest\") \"mixed\")"),
            MessageKind::kMail);
}

TEST(StructureKind, IsUnknownWhereHeaderAndStructureContradict) {
  const std::string text = "(\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)";
  EXPECT_EQ(kindByStructure("Content-Type: multipart/mixed; boundary=a\r\n\r\n", text),
            std::nullopt);
  EXPECT_EQ(kindFromStructure(headOf("Content-Type: multipart/mixed; boundary=a\r\n\r\n"), nullptr,
                              sampleMarks()),
            std::nullopt);
}

TEST(StructureKind, IsUnknownForWhatMayBeAFailedDelivery) {
  const std::string text = "(\"text\" \"plain\" NIL NIL NIL \"7bit\" 5 1)";
  EXPECT_EQ(kindByStructure("Return-Path: <>\r\nContent-Type: text/plain\r\n\r\n", text),
            std::nullopt);
  EXPECT_EQ(kindByStructure("Content-Type: multipart/report; boundary=a\r\n\r\n",
                            "(" + text + " \"report\")"),
            std::nullopt);
}

TEST(StructureKind, IsKnownWithoutAStructureWhereTheHeaderDecides) {
  EXPECT_EQ(kindFromStructure(headOf(sample("own-forward.eml")), nullptr, sampleMarks()),
            MessageKind::kOwnForward);
  EXPECT_EQ(kindFromStructure(headOf(sample("plain.eml")), nullptr, sampleMarks()),
            MessageKind::kMail);
}

TEST(FirstTextCharset, IsThatOfTheFirstTextThatNamesOne) {
  EXPECT_EQ(firstTextCharset(*structureOf(
                "((\"image\" \"png\" (\"charset\" \"x\") NIL NIL \"7bit\" 5)((\"text\" \"plain\" "
                "NIL NIL NIL \"7bit\" 5 1)(\"text\" \"html\" (\"CHARSET\" \"koi8-r\") NIL NIL "
                "\"7bit\" 5 1) \"alternative\") \"mixed\")")),
            "koi8-r");
  EXPECT_EQ(firstTextCharset(*structureOf("(\"image\" \"png\" NIL NIL NIL \"7bit\" 5)")), "");
}

}  // namespace
}  // namespace relaybird
