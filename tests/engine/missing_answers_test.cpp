// SPDX-License-Identifier: MIT
// A mail application that returns no object and no error: the operation that needs the object fails
// with a message, and the program continues.
#include <gmock/gmock.h>

#include "engine/engine_fixture.h"
#include "mail/shared_components.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::HasSubstr;

// The named member returns nothing.
struct Hole {
  std::string member;
  template <class T>
  std::shared_ptr<T> through(const char* name, std::shared_ptr<T> answer) const {
    return member == name ? nullptr : answer;
  }
};

template <class T>
class LostItems : public T {
 public:
  LostItems(const Hole& hole, std::string name, std::shared_ptr<T> real)
      : hole_(hole), name_(std::move(name)), real_(std::move(real)) {}
  std::int32_t Count() override { return real_->Count(); }

 protected:
  const Hole& hole_;
  const std::string name_;
  std::shared_ptr<T> real_;
};

class HollowAttachments : public LostItems<Attachments> {
 public:
  using LostItems::LostItems;
  std::shared_ptr<Attachment> Item(std::int32_t index) override {
    return hole_.through("Attachments.Item", real_->Item(index));
  }
};

class HollowRecipients : public LostItems<Recipients> {
 public:
  using LostItems::LostItems;
  std::shared_ptr<Recipient> Add(const std::string& address) override {
    return hole_.through("Recipients.Add", real_->Add(address));
  }
  std::shared_ptr<Recipient> Item(std::int32_t index) override { return real_->Item(index); }
  void Remove(std::int32_t index) override { real_->Remove(index); }
  bool ResolveAll() override { return real_->ResolveAll(); }
};

class HollowItem : public PassThroughSafeItem {
 public:
  HollowItem(const Hole& hole, std::shared_ptr<MailItem> real)
      : PassThroughSafeItem(real->ClassName()), hole_(hole) {
    Item(std::move(real));
  }
  using PassThroughSafeItem::Item;

  std::shared_ptr<MailItem> Forward() override {
    return hole_.through("Forward", std::make_shared<HollowItem>(hole_, Item()->Forward()));
  }
  std::shared_ptr<class Attachments> Attachments() override {
    return hole_.through("Attachments", std::make_shared<HollowAttachments>(hole_, "Attachments",
                                                                            Item()->Attachments()));
  }
  std::shared_ptr<class Recipients> Recipients() override {
    return hole_.through("Recipients", std::make_shared<HollowRecipients>(hole_, "Recipients",
                                                                          Item()->Recipients()));
  }
  std::shared_ptr<class Recipients> ReplyRecipients() override {
    return hole_.through("ReplyRecipients", Item()->ReplyRecipients());
  }
  std::shared_ptr<MailItem> GetAssociatedTask() override {
    return hole_.through("GetAssociatedTask", Item()->GetAssociatedTask());
  }

 private:
  const Hole& hole_;
};

class HollowCollection : public LostItems<ItemCollection> {
 public:
  using LostItems::LostItems;
  std::shared_ptr<MailItem> Item(std::int32_t index) override {
    return hole_.through("Items.Item", std::make_shared<HollowItem>(hole_, real_->Item(index)));
  }
  std::shared_ptr<ItemCollection> Restrict(const std::string& filter) override {
    return hole_.through(
        "Restrict", std::make_shared<HollowCollection>(hole_, "Items", real_->Restrict(filter)));
  }
};

class HollowInbox : public Folder {
 public:
  HollowInbox(const Hole& hole, std::shared_ptr<Folder> real)
      : hole_(hole), real_(std::move(real)) {}
  std::shared_ptr<ItemCollection> Items() override {
    return hole_.through("Items",
                         std::make_shared<HollowCollection>(hole_, "Items", real_->Items()));
  }

 private:
  const Hole& hole_;
  std::shared_ptr<Folder> real_;
};

class HollowSyncObjects : public LostItems<SyncObjects> {
 public:
  using LostItems::LostItems;
  std::shared_ptr<SyncObject> Item(std::int32_t index) override {
    return hole_.through("SyncObjects.Item", real_->Item(index));
  }
};

class HollowNamespace : public Namespace {
 public:
  HollowNamespace(const Hole& hole, std::shared_ptr<Namespace> real)
      : hole_(hole), real_(std::move(real)) {}
  std::shared_ptr<Folder> GetDefaultInbox() override {
    return hole_.through("GetDefaultInbox",
                         std::make_shared<HollowInbox>(hole_, real_->GetDefaultInbox()));
  }
  std::shared_ptr<class SyncObjects> SyncObjects() override {
    return hole_.through("SyncObjects", std::make_shared<HollowSyncObjects>(hole_, "SyncObjects",
                                                                            real_->SyncObjects()));
  }

 private:
  const Hole& hole_;
  std::shared_ptr<Namespace> real_;
};

class HollowApplication : public Application {
 public:
  HollowApplication(const Hole& hole, std::shared_ptr<Application> real)
      : hole_(hole), real_(std::move(real)) {}
  std::string ClassName() const override { return "Application"; }
  std::string Version() override { return real_->Version(); }
  std::shared_ptr<Namespace> GetNamespace(const std::string& name) override {
    return hole_.through("GetNamespace",
                         std::make_shared<HollowNamespace>(hole_, real_->GetNamespace(name)));
  }
  std::shared_ptr<class Session> Session() override {
    return hole_.through("Session", real_->Session());
  }
  std::shared_ptr<MailItem> CreateItem(int kind) override {
    return hole_.through("CreateItem", real_->CreateItem(kind));
  }

 private:
  const Hole& hole_;
  std::shared_ptr<Application> real_;
};

class HollowFactory : public ObjectFactory {
 public:
  explicit HollowFactory(ObjectFactory& real) : real_(real) {}
  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    if (asciiLower(progId) == prog_id::kApplication) {
      return hole.through("application", std::make_shared<HollowApplication>(
                                             hole, createAs<Application>(real_, progId)));
    }
    return real_.CreateObject(progId);
  }

  Hole hole;

 private:
  ObjectFactory& real_;
};

class MissingAnswersTest : public EngineTest {
 protected:
  MissingAnswersTest() {
    hollowHouse_.prefs.fields() = prefs_.fields();
    MemoryItem item = mail("one");
    item.attachments.push_back({"a.txt", "attached", {}});
    store_.deliver(item);
  }

  std::int16_t open() { return hollow_.session().ResetOlkObj(true, true, false); }

  HollowFactory factory_{store_.factory()};
  EngineHouse hollowHouse_{factory_, clock_, sleeper_, log_};
  ForwardingEngine& hollow_ = hollowHouse_.engine;
};

// The missing synchronisation was used, and the program crashed.
TEST_F(MissingAnswersTest, AStepOfTheSessionThatObtainsNothingIsThatStepsFailure) {
  const std::vector<std::pair<std::string, std::int16_t>> steps{{"application", -1},
                                                                {"GetNamespace", -2},
                                                                {"GetDefaultInbox", -4},
                                                                {"SyncObjects", -5},
                                                                {"SyncObjects.Item", -5}};
  for (const auto& [member, result] : steps) {
    factory_.hole.member = member;
    hollow_.session().release();
    EXPECT_EQ(open(), result) << member;
    EXPECT_NE(hollow_.session().errorText(), "") << member;
    EXPECT_EQ(hollow_.session().syncObject(), nullptr) << member;
  }
  factory_.hole.member.clear();
  EXPECT_EQ(open(), kSessionReady);
}

TEST_F(MissingAnswersTest, ACheckWithoutASynchronisationFailsInWords) {
  factory_.hole.member = "SyncObjects.Item";
  hollow_.schedule().ForwardTrigger();
  EXPECT_THAT(log_.lines,
              Contains(HasSubstr("--> Inbox Sync failed: Error retrieving Outlook synchron")));
  EXPECT_FALSE(hollow_.state().syncBusy);
  hollow_.schedule().ForwardTrigger();
  EXPECT_EQ(store_.outboxCount(), 1u);
}

TEST_F(MissingAnswersTest, AnInboxThatAnswersNothingEndsThePass) {
  for (const char* member : {"Items", "Restrict", "Items.Item"}) {
    SCOPED_TRACE(member);
    factory_.hole.member = member;
    log_.lines.clear();
    hollow_.pass().ForwardMail();
    EXPECT_THAT(log_.lines.back(), HasSubstr("--> The mail store gave no "));
    EXPECT_TRUE(store_.isUnread(0));
    EXPECT_FALSE(hollow_.state().m_bBusyFwd);
  }
}

TEST_F(MissingAnswersTest, AnItemThatAnswersNothingIsNotForwarded) {
  hollowHouse_.prefs.fields().mbolIncludeAttachments = false;
  for (const char* member :
       {"Forward", "Attachments", "Attachments.Item", "Recipients", "Recipients.Add"}) {
    SCOPED_TRACE(member);
    factory_.hole.member = member;
    deliver(member);
    hollow_.pass().ResetIgnoreList();
    log_.lines.clear();
    store_.setUnread(0, true);
    hollow_.pass().ForwardMail();
    EXPECT_THAT(log_.lines, Contains(HasSubstr("; Problem was: The mail store gave no ")));
  }
}

TEST_F(MissingAnswersTest, AForwardWithoutReplyRecipientsStillGoesOut) {
  for (const char* member : {"ReplyRecipients", "Session"}) {
    factory_.hole.member = member;
    store_.setUnread(0, true);
    hollow_.pass().ForwardMail();
  }
  EXPECT_EQ(store_.outboxCount(), 2u);
}

TEST_F(MissingAnswersTest, ATaskRequestWithoutItsTaskHasNoSender) {
  hollowHouse_.prefs.fields().mintSenderFilter = 501;
  hollowHouse_.prefs.fields().mcolSenderList = {""};
  factory_.hole.member = "GetAssociatedTask";
  MemoryItem item = mail("do this");
  item.kind = "TaskRequestItem";
  store_.deliver(item);
  hollow_.pass().ForwardMail();
  EXPECT_THAT(log_.lines, Contains(HasSubstr("not forwarded because Problem determining sender")));
}

}  // namespace
}  // namespace relaybird
