// SPDX-License-Identifier: MIT
// What a listing of the inbox asks of items that it has met before, and what it does about items
// that cannot be read, over items of the test's own, whose classes number their members
// differently.
#include "stores/outlook/folder.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "fake_dispatch.h"
#include "mail/mail_store.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"
#include "support/store_fakes.h"

namespace relaybird::outlook {
namespace {

constexpr DISPID kIdentifier = 7;
constexpr DISPID kOtherIdentifier = 8;
constexpr DISPID kUnRead = 9;

enum class Damage { kNone, kItem, kEntryId };

FakeAnswer damaged(unsigned long code) {
  return {.result = DISP_E_EXCEPTION,
          .text = "The item is damaged.",
          .scode = static_cast<SCODE>(code)};
}

// An item's two texts, and the number of each in the item's class; and its mark.
struct FakeItem {
  FakeItem(FakeType& type, const std::string& identifier, DISPID number, DISPID subjectNumber)
      : object(&type) {
    object.add(L"EntryID", number, [this, identifier](const FakeCall& call) {
      flags.push_back(call.flags);
      return damage == Damage::kEntryId ? damaged(code)
                                        : FakeAnswer{.value = Value::ofText(identifier)};
    });
    object.add(L"Subject", subjectNumber, [this](const FakeCall& call) {
      flags.push_back(call.flags);
      return FakeAnswer{.value = Value::ofText("A subject")};
    });
    object.add(L"UnRead", kUnRead, [this](const FakeCall&) {
      ++marks;
      return FakeAnswer{};
    });
  }

  FakeDispatch object;
  std::vector<WORD> flags;
  int marks = 0;  // how often it was written
  Damage damage = Damage::kNone;
  unsigned long code = 0x80004005;
};

class FolderTest : public testing::Test {
 protected:
  FolderTest() {
    folderObject_.add(L"Items", 1, giving(items_));
    items_.add(L"Restrict", 2, giving(items_));
    items_.add(L"Count", 3, [this](const FakeCall&) {
      return FakeAnswer{.value = Value::ofNumber(static_cast<std::int32_t>(inbox_.size()))};
    });
    items_.add(L"", DISPID_VALUE, [this](const FakeCall& call) {
      auto& item = inbox_.at(static_cast<std::size_t>(call.arguments.at(0).number() - 1));
      return item.damage == Damage::kItem ? damaged(item.code)
                                          : FakeAnswer{.value = Value::ofObject(&item.object)};
    });
  }

  static FakeDispatch::Member giving(FakeDispatch& object) {
    return [&object](const FakeCall&) { return FakeAnswer{.value = Value::ofObject(&object)}; };
  }
  FakeItem& deliver(FakeType& type, const std::string& identifier, DISPID number = kIdentifier,
                    DISPID subjectNumber = kOtherIdentifier) {
    return inbox_.emplace_back(type, identifier, number, subjectNumber);
  }
  std::vector<std::string> identifiers() {
    std::vector<std::string> all;
    const auto listed = folder_->Items()->Restrict(std::string(kUnreadFilter));
    for (std::int32_t i = 1; i <= listed->Count(); ++i) {
      all.push_back(listed->Item(i)->EntryID());
    }
    return all;
  }

  FakeType mailType_{"_MailItem"};
  FakeType reportType_{"_ReportItem"};
  FakeType otherType_{"_Other"};
  FakeDispatch folderObject_{&otherType_};
  FakeDispatch items_;
  FakeDispatch mapi_;
  std::deque<FakeItem> inbox_;

  FakeClock clock_;
  FakeEventQueue events_;
  NoFiles files_;
  InlineExecutor executor_;
  NoCommands commands_;
  std::vector<std::string> notices_;
  std::shared_ptr<Server> server_ = std::make_shared<Server>([](std::chrono::milliseconds) {});
  ConnectionRef connection_ = std::make_shared<Connection>(
      StoreWorld{.files = files_,
                 .clock = clock_,
                 .events = events_,
                 .executor = executor_,
                 .commands = commands_,
                 .random =
                     [](std::size_t) {
                       return Error{0, "not used"};
                     },
                 .notice = [this](const StoreNotice& told) { notices_.push_back(told.line); }},
      [](std::string_view, ComPtr<IDispatch>&) { return REGDB_E_CLASSNOTREG; });
  std::shared_ptr<Folder> folder_ =
      makeFolder(connection_, {folderObject_.pointer(), server_}, {mapi_.pointer(), server_});
};

TEST_F(FolderTest, AnItemThatWasListedBeforeIsNotAskedForItsClass) {
  FakeItem& known = deliver(mailType_, "one");
  EXPECT_EQ(identifiers(), std::vector<std::string>{"one"});
  EXPECT_EQ(known.object.typeAsks, 1);
  FakeItem& added = deliver(mailType_, "two");
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(known.object.typeAsks, 1);
  EXPECT_EQ(known.object.invokes, 2);
  EXPECT_EQ(added.object.typeAsks, 1) << "a new one is asked";
  EXPECT_EQ(added.object.invokes, 1);
}

TEST_F(FolderTest, TheTextOfAnotherMemberIsNotTakenForAnIdentifier) {
  deliver(mailType_, "one");
  (void)identifiers();
  FakeItem& other = deliver(reportType_, "two", kOtherIdentifier, kIdentifier);
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two"}));
  constexpr WORD kByName = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  EXPECT_EQ(other.flags,
            (std::vector<WORD>{DISPATCH_PROPERTYGET, kByName, DISPATCH_PROPERTYGET, kByName}))
      << "a number of an unknown class is never called as a method, which may do something";
}

TEST_F(FolderTest, AnItemThatDoesNotAnswerAtTheUsualNumberIsAskedByName) {
  deliver(mailType_, "one");
  (void)identifiers();
  deliver(reportType_, "two", 99, 98);
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two"}));
}

TEST_F(FolderTest, AnItemThatHasLeftTheInboxIsForgotten) {
  deliver(mailType_, "one");
  (void)identifiers();
  inbox_.clear();
  EXPECT_TRUE(identifiers().empty());
  FakeItem& again = deliver(mailType_, "one");
  EXPECT_EQ(identifiers(), std::vector<std::string>{"one"});
  EXPECT_EQ(again.object.typeAsks, 1);
}

// Mail that comes in while the list is read moves the others down.
TEST_F(FolderTest, AnItemThatIsMetAgainInTheSameListingIsListedOnce) {
  for (const char* identifier : {"one", "two", "two", "three"}) {
    deliver(mailType_, identifier);
  }
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two", "three"}));
}

// The mark was written when it was first met. Taken for an unread one the second time, it would be
// forwarded twice.
TEST_F(FolderTest, AForwardedItemWhoseMarkWasMissingIsNotListedWhenItIsMetAgain) {
  FakeItem& forwarded = deliver(mailType_, "one");
  deliver(mailType_, "two");
  FakeItem& metAgain = deliver(mailType_, "one");
  connection_->unmarked().insert("one");
  EXPECT_EQ(identifiers(), std::vector<std::string>{"two"});
  EXPECT_EQ(forwarded.marks, 1);
  EXPECT_EQ(metAgain.marks, 0);
  EXPECT_EQ(notices_,
            std::vector<std::string>{
                "Marked as read, as it was forwarded before Outlook ended: \"A subject\""});
  EXPECT_TRUE(connection_->unmarked().empty());
}

TEST_F(FolderTest, AnApplicationThatIsBusyOrGoneIsNotAskedAgainForTheSameIdentifier) {
  FakeItem& known = deliver(mailType_, "one");
  (void)identifiers();
  known.object.refusals.assign(1000, RPC_E_SERVERCALL_RETRYLATER);
  EXPECT_THROW((void)identifiers(), MailStoreError);
  EXPECT_LT(known.object.invokes, 60);
  EXPECT_EQ(known.object.typeAsks, 1);
  known.object.refusals = {HRESULT_FROM_WIN32(RPC_S_CALL_FAILED)};
  EXPECT_THROW((void)identifiers(), MailStoreError);
  EXPECT_TRUE(server_->gone());
}

class FolderTestOfDamage : public FolderTest, public testing::WithParamInterface<Damage> {};

INSTANTIATE_TEST_SUITE_P(, FolderTestOfDamage, testing::Values(Damage::kItem, Damage::kEntryId),
                         [](const auto& one) {
                           return one.param == Damage::kItem ? "Item" : "EntryId";
                         });

// Each check ended at the item, and nothing was forwarded.
TEST_P(FolderTestOfDamage, AnItemThatCannotBeReadIsLeftOutAndToldOnceWhileItLasts) {
  const std::vector<std::string> others = {"one", "three"};
  deliver(mailType_, "one");
  FakeItem& bad = deliver(mailType_, "two");
  deliver(mailType_, "three");
  bad.damage = GetParam();
  EXPECT_EQ(identifiers(), others);
  EXPECT_EQ(identifiers(), others);
  EXPECT_EQ(notices_,
            std::vector<std::string>{"Outlook cannot read 1 unread message, which is left "
                                     "out of the checks: The item is damaged."});
  bad.damage = Damage::kNone;
  EXPECT_EQ(identifiers(), (std::vector<std::string>{"one", "two", "three"}));
  bad.damage = GetParam();
  EXPECT_EQ(identifiers(), others);
  EXPECT_EQ(notices_.size(), 2u);
}

TEST_P(FolderTestOfDamage, AnotherItemThatCannotBeReadIsTold) {
  deliver(mailType_, "one");
  deliver(mailType_, "two").damage = GetParam();
  (void)identifiers();
  deliver(mailType_, "three").damage = GetParam();
  EXPECT_EQ(identifiers(), std::vector<std::string>{"one"});
  ASSERT_EQ(notices_.size(), 2u);
  EXPECT_EQ(notices_[1],
            "Outlook cannot read 2 unread messages, which are left out of the checks: The item is "
            "damaged.");
}

TEST_P(FolderTestOfDamage, AnInboxWhoseOnlyItemCannotBeReadHasNone) {
  deliver(mailType_, "one").damage = GetParam();
  EXPECT_TRUE(identifiers().empty());
  EXPECT_EQ(notices_.size(), 1u);
}

TEST_P(FolderTestOfDamage, AnInboxOfWhichNothingCanBeReadIsAnError) {
  deliver(mailType_, "one").damage = GetParam();
  deliver(mailType_, "two").damage = GetParam();
  EXPECT_THROW((void)identifiers(), MailStoreError);
  EXPECT_TRUE(notices_.empty());
}

TEST_P(FolderTestOfDamage, AnItemThatCannotBeReadBecauseTheMailboxIsOutOfReachIsAnError) {
  deliver(mailType_, "one");
  FakeItem& distant = deliver(mailType_, "two");
  distant.damage = GetParam();
  for (const unsigned long code : {0x80040115ul, 0x8004011Dul, 0x8004010Eul, 0x8001010Aul}) {
    distant.code = code;
    EXPECT_THROW((void)identifiers(), MailStoreError) << std::hex << code;
  }
  EXPECT_TRUE(notices_.empty());
}

}  // namespace
}  // namespace relaybird::outlook
