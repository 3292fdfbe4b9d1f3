// SPDX-License-Identifier: MIT
// Items as they are read, their forwards, and the safe items around them.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "contract/mail_store_contract.h"

namespace relaybird {
namespace {

constexpr const char* kKinds[] = {"MailItem",
                                  "meetingitem",
                                  "ReportItem",
                                  "TaskRequestItem",
                                  "TaskRequestAcceptItem",
                                  "TaskRequestDeclineItem",
                                  "TaskRequestUpdateItem"};

bool isTask(std::string_view kind) {
  return kind.substr(0, 11) == "TaskRequest";
}

SampleMail ofKind(const char* kind) {
  SampleMail mail;
  mail.kind = kind;
  mail.subject = std::string("A ") + kind;
  return mail;
}

TEST_P(MailStoreContract, EveryKindReportsItsClassName) {
  for (const auto* kind : kKinds) {
    const auto item = received(ofKind(kind));
    EXPECT_TRUE(sameName(item->ClassName(), kind)) << kind << " reads as " << item->ClassName();
  }
}

TEST_P(MailStoreContract, EveryKindHasItsRelevantDate) {
  for (const auto* kind : kKinds) {
    SCOPED_TRACE(kind);
    const SampleMail mail = ofKind(kind);
    const auto item = received(mail);
    if (sameName(kind, "MailItem") || sameName(kind, "meetingitem")) {
      EXPECT_EQ(timeText(item->ReceivedTime()), timeText(mail.received));
    } else {
      EXPECT_GE(item->LastModificationDate(), mail.received);
    }
  }
}

TEST_P(MailStoreContract, AnItemTellsSubjectBodyAndSender) {
  SampleMail mail;
  mail.subject = "Tea at five";
  mail.body = "First line\nSecond line\n\nLast line";
  const auto item = received(mail);
  EXPECT_EQ(item->Subject(), "Tea at five");
  EXPECT_EQ(plainLines(item->Body()), mail.body);
  EXPECT_EQ(item->SenderName(), "Wren Writer");
  EXPECT_EQ(item->Fields(kPrSenderEmailAddress), "wren@writer.example");
  EXPECT_EQ(item->Fields(kPrSenderName), "Wren Writer");
}

TEST_P(MailStoreContract, TextsAreUtf8) {
  SampleMail mail;
  mail.subject = "Grüße aus Łódź 🐦";
  mail.body = "Ein schöner Tag — 良い一日";
  mail.senderName = "Zoë Ångström";
  const auto item = received(mail);
  EXPECT_EQ(item->Subject(), mail.subject);
  EXPECT_EQ(plainLines(item->Body()), mail.body);
  EXPECT_EQ(item->SenderName(), mail.senderName);
}

TEST_P(MailStoreContract, AnItemWithAnHtmlFormStillHasAText) {
  SampleMail mail;
  mail.html = "<html><body><p>Body</p></body></html>";
  EXPECT_EQ(plainLines(received(mail)->Body()), "Body");
}

TEST_P(MailStoreContract, AnItemWithoutASenderHasEmptySenderTexts) {
  SampleMail mail;
  mail.senderName.clear();
  mail.senderAddress.clear();
  const auto item = received(mail);
  EXPECT_EQ(item->SenderName(), "");
  EXPECT_EQ(item->Fields(kPrSenderEmailAddress), "");
}

TEST_P(MailStoreContract, AnItemMayBeWithoutSubjectAndBody) {
  SampleMail mail;
  mail.subject.clear();
  mail.body.clear();
  const auto item = received(mail);
  EXPECT_EQ(item->Subject(), "");
  EXPECT_EQ(plainLines(item->Body()), "");
}

TEST_P(MailStoreContract, AnUnknownPropertyTagThrows) {
  const auto item = received({});
  EXPECT_THROW(item->Fields(0), MailStoreError);
  EXPECT_THROW(item->Fields(0x7FFF001E), MailStoreError);
}

TEST_P(MailStoreContract, SettingTheReadStateTwiceIsTheSameAsOnce) {
  const auto item = received({});
  EXPECT_TRUE(item->UnRead());
  item->UnRead(true);
  EXPECT_TRUE(item->UnRead());
  EXPECT_EQ(unread()->Count(), 1);
  item->UnRead(false);
  item->UnRead(false);
  EXPECT_FALSE(item->UnRead());
  EXPECT_EQ(unread()->Count(), 0);
  item->UnRead(true);
  item->UnRead(true);
  EXPECT_TRUE(item->UnRead());
  EXPECT_EQ(unread()->Count(), 1);
}

TEST_P(MailStoreContract, SavingAReceivedItemLeavesItInTheInbox) {
  const auto item = received({});
  EXPECT_NO_THROW(item->Save());
  EXPECT_EQ(items()->Count(), 1);
  EXPECT_EQ(items()->Item(1)->Subject(), "Subject");
}

TEST_P(MailStoreContract, AttachmentsTellTheirSizesInBytes) {
  SampleMail mail;
  mail.attachments = {{"a.bin", std::string(10, '\0')},
                      {"b.bin", std::string("\r\n\xFF=", 4) + std::string(16, 'x')},
                      {"c.txt", std::string(30, 'c')}};
  const auto forward = received(mail)->Forward();
  const auto attachments = forward->Attachments();
  ASSERT_EQ(attachments->Count(), 3);
  EXPECT_EQ(attachments->Item(1)->Size(), 10);
  EXPECT_EQ(attachments->Item(2)->Size(), 20);
  EXPECT_EQ(attachments->Item(3)->Size(), 30);
  for (const std::int32_t index : {0, 4, -1}) {
    EXPECT_THROW(attachments->Item(index), MailStoreError) << index;
  }
}

TEST_P(MailStoreContract, DeletingTheFirstAttachmentUntilNoneIsLeft) {
  SampleMail mail;
  mail.attachments = {{"a", "1"}, {"b", "22"}, {"c", "333"}};
  const auto item = received(mail);
  const auto attachments = item->Forward()->Attachments();
  std::vector<std::int32_t> sizes;
  while (attachments->Count() > 0) {
    sizes.push_back(attachments->Item(1)->Size());
    attachments->Item(1)->Delete();
  }
  EXPECT_EQ(sizes, (std::vector<std::int32_t>{1, 2, 3}));
  EXPECT_THROW(attachments->Item(1), MailStoreError);
  EXPECT_EQ(item->Attachments()->Count(), 3) << "the original keeps its attachments";
}

TEST_P(MailStoreContract, AForwardIsANewItemWithTheOriginalsText) {
  const auto item = received({});
  const auto forward = item->Forward();
  EXPECT_EQ(forward->Subject(), "FW: Subject");
  EXPECT_NE(forward->Body().find("Body"), std::string::npos);
  EXPECT_GT(forward->Body().size(), item->Body().size()) << "a header block stands above it";
  EXPECT_EQ(forward->Recipients()->Count(), 0);
  EXPECT_EQ(forward->ReplyRecipients()->Count(), 0);
  EXPECT_EQ(forward->EntryID(), "");
}

TEST_P(MailStoreContract, AForwardOfAForwardIsMarkedOnce) {
  SampleMail mail;
  for (const auto* subject : {"FW: news", "fw: olds"}) {
    mail.subject = subject;
    EXPECT_EQ(received(mail)->Forward()->Subject(), subject);
  }
  mail.subject = "FWD tail";
  EXPECT_EQ(received(mail)->Forward()->Subject(), "FW: FWD tail");
}

TEST_P(MailStoreContract, AForwardThatIsNotSentLeavesNoTrace) {
  const auto item = received({});
  {
    const auto forward = item->Forward();
    forward->Subject("changed");
    forward->Body("changed");
  }
  EXPECT_EQ(item->Subject(), "Subject");
  EXPECT_EQ(plainLines(item->Body()), "Body");
  EXPECT_TRUE(item->UnRead());
  EXPECT_EQ(items()->Count(), 1);
  EXPECT_TRUE(outside->outbox().empty());
}

TEST_P(MailStoreContract, ANewItemIsEmpty) {
  for (const auto& item : {application()->CreateItem(kMailItemKind),
                           createAs<MailItem>(factory(), prog_id::kMailItem)}) {
    EXPECT_TRUE(sameName(item->ClassName(), "MailItem"));
    EXPECT_EQ(item->EntryID(), "");
    EXPECT_EQ(item->Subject(), "");
    EXPECT_EQ(item->Body(), "");
    EXPECT_EQ(item->SenderName(), "");
    EXPECT_EQ(item->Attachments()->Count(), 0);
    EXPECT_EQ(item->Recipients()->Count(), 0);
    item->Subject("Set");
    item->Body("Written");
    EXPECT_EQ(item->Subject(), "Set");
    EXPECT_EQ(plainLines(item->Body()), "Written");
  }
  EXPECT_EQ(items()->Count(), 0);
}

TEST_P(MailStoreContract, OnlyATaskRequestHasATask) {
  for (const auto* kind : kKinds) {
    SCOPED_TRACE(kind);
    const auto item = received(ofKind(kind));
    if (isTask(kind)) {
      EXPECT_NE(item->GetAssociatedTask(), nullptr);
    } else {
      EXPECT_THROW(item->GetAssociatedTask(), MailStoreError);
    }
  }
}

TEST_P(MailStoreContract, SafeItemsReportTheirOwnClassNames) {
  const std::pair<std::string_view, const char*> names[] = {
      {prog_id::kSafeMailItem, "SAFEMAILITEM"},
      {prog_id::kSafeMeetingItem, "SAFEMEETINGITEM"},
      {prog_id::kSafeTaskItem, "SAFETASKITEM"}};
  const auto item = received({});
  for (const auto& [progId, name] : names) {
    const auto safe = createAs<SafeItem>(factory(), progId);
    EXPECT_TRUE(sameName(safe->ClassName(), name)) << safe->ClassName();
    safe->Item(item);
    EXPECT_TRUE(sameName(safe->ClassName(), name)) << safe->ClassName();
    EXPECT_EQ(safe->Item(), item);
  }
}

TEST_P(MailStoreContract, ASafeItemReadsTheItemItWraps) {
  SampleMail mail;
  mail.attachments = {{"a", "1"}};
  const auto item = received(mail);
  for (const auto progId : kSafeItems) {
    SCOPED_TRACE(progId);
    const auto safe = createAs<SafeItem>(factory(), progId);
    safe->Item(item);
    EXPECT_EQ(safe->EntryID(), item->EntryID());
    EXPECT_EQ(safe->UnRead(), item->UnRead());
    EXPECT_EQ(safe->Subject(), "Subject");
    EXPECT_EQ(plainLines(safe->Body()), "Body");
    EXPECT_EQ(safe->ReceivedTime(), item->ReceivedTime());
    EXPECT_EQ(safe->LastModificationDate(), item->LastModificationDate());
    EXPECT_EQ(safe->SenderName(), "Wren Writer");
    EXPECT_EQ(safe->Fields(kPrSenderEmailAddress), "wren@writer.example");
    EXPECT_THROW(safe->Fields(0), MailStoreError);
    EXPECT_EQ(safe->Attachments()->Count(), 1);
    EXPECT_EQ(safe->Forward()->Subject(), "FW: Subject");
    EXPECT_THROW(safe->GetAssociatedTask(), MailStoreError);
  }
}

TEST_P(MailStoreContract, ASafeItemWritesTheItemItWraps) {
  const auto item = received({});
  const auto forward = item->Forward();
  const auto safe = createAs<SafeItem>(factory(), prog_id::kSafeMailItem);
  safe->Item(forward);
  safe->Subject("New subject");
  safe->Body("New body");
  safe->Recipients()->Add("good@example.org");
  safe->ReplyRecipients()->Add("wren@writer.example");
  EXPECT_NO_THROW(safe->Save());
  EXPECT_EQ(forward->Subject(), "New subject");
  EXPECT_EQ(plainLines(forward->Body()), "New body");
  EXPECT_EQ(forward->Recipients()->Count(), 1);
  EXPECT_EQ(forward->ReplyRecipients()->Count(), 1);
  safe->Item(item);
  safe->UnRead(false);
  EXPECT_FALSE(item->UnRead());
}

TEST_P(MailStoreContract, ASafeItemWithoutAnItemThrowsOnEveryMember) {
  using Use = std::function<void(SafeItem&)>;
  const std::pair<const char*, Use> uses[] = {
      {"EntryID", [](SafeItem& safe) { safe.EntryID(); }},
      {"UnRead", [](SafeItem& safe) { safe.UnRead(); }},
      {"UnRead=", [](SafeItem& safe) { safe.UnRead(false); }},
      {"Subject", [](SafeItem& safe) { safe.Subject(); }},
      {"Subject=", [](SafeItem& safe) { safe.Subject(""); }},
      {"Body", [](SafeItem& safe) { safe.Body(); }},
      {"Body=", [](SafeItem& safe) { safe.Body(""); }},
      {"ReceivedTime", [](SafeItem& safe) { safe.ReceivedTime(); }},
      {"LastModificationDate", [](SafeItem& safe) { safe.LastModificationDate(); }},
      {"SenderName", [](SafeItem& safe) { safe.SenderName(); }},
      {"Fields", [](SafeItem& safe) { safe.Fields(kPrSenderName); }},
      {"Forward", [](SafeItem& safe) { safe.Forward(); }},
      {"Attachments", [](SafeItem& safe) { safe.Attachments(); }},
      {"Recipients", [](SafeItem& safe) { safe.Recipients(); }},
      {"ReplyRecipients", [](SafeItem& safe) { safe.ReplyRecipients(); }},
      {"Save", [](SafeItem& safe) { safe.Save(); }},
      {"send", [](SafeItem& safe) { safe.send(); }},
      {"GetAssociatedTask", [](SafeItem& safe) { safe.GetAssociatedTask(); }},
  };
  for (const auto progId : kSafeItems) {
    const auto safe = createAs<SafeItem>(factory(), progId);
    EXPECT_EQ(safe->Item(), nullptr);
    for (const auto& [name, use] : uses) {
      EXPECT_THROW(use(*safe), MailStoreError) << name;
    }
  }
}

}  // namespace
}  // namespace relaybird
