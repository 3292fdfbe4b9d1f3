// SPDX-License-Identifier: MIT
#include "engine/inbox_pass.h"

#include "engine/engine_fixture.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

class ItemKindsTest : public EngineTest {
 protected:
  std::shared_ptr<MailItem> itemOfKind(const std::string& kind) {
    MemoryItem item = mail("any");
    item.kind = kind;
    item.received = kStart + 1h;
    item.modified = kStart + 2h;
    store_.deliver(item);
    engine_.session().ResetOlkObj(true, false, false);
    auto items = engine_.session().inbox()->Items();
    return items->Item(items->Count());
  }
};

TEST_F(ItemKindsTest, MailAndMeetingsAreDatedByTheirReception) {
  for (const char* kind : {"MailItem", "meetingitem", "MEETINGITEM", "mailitem"}) {
    auto item = itemOfKind(kind);
    EXPECT_TRUE(ValidateInboxType(*item)) << kind;
    EXPECT_EQ(GetRelevantDate(*item), kStart + 1h) << kind;
  }
}

TEST_F(ItemKindsTest, TaskRequestsAndReportsAreDatedByTheirLastModification) {
  for (const char* kind : {"TaskRequestAcceptItem", "TaskRequestDeclineItem", "TaskRequestItem",
                           "TaskRequestUpdateItem", "ReportItem", "reportITEM"}) {
    auto item = itemOfKind(kind);
    EXPECT_TRUE(ValidateInboxType(*item)) << kind;
    EXPECT_EQ(GetRelevantDate(*item), kStart + 2h) << kind;
  }
}

TEST_F(ItemKindsTest, OtherKindsAreNotAcceptedAndHaveNoDate) {
  for (const char* kind : {"ContactItem", "AppointmentItem", "", "MailItem2", "Mail"}) {
    auto item = itemOfKind(kind);
    EXPECT_FALSE(ValidateInboxType(*item)) << kind;
    EXPECT_EQ(GetRelevantDate(*item), kNoDate) << kind;
  }
}

TEST_F(ItemKindsTest, AKindThatCannotBeReadIsNotAccepted) {
  auto item = itemOfKind("MailItem");
  store_.setHook([](std::string_view operation) {
    if (operation == "MailItem.ClassName") {
      throw MailStoreError("no");
    }
  });
  EXPECT_FALSE(ValidateInboxType(*item));
  EXPECT_EQ(GetRelevantDate(*item), kNoDate);
}

TEST_F(ItemKindsTest, ADateThatCannotBeReadIsNoDate) {
  auto item = itemOfKind("MailItem");
  store_.setHook([](std::string_view operation) {
    if (operation == "MailItem.ReceivedTime") {
      throw MailStoreError("no");
    }
  });
  EXPECT_TRUE(ValidateInboxType(*item));
  EXPECT_EQ(GetRelevantDate(*item), kNoDate);
}

}  // namespace
}  // namespace relaybird
