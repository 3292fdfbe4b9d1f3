// SPDX-License-Identifier: MIT
// What the memory store offers beyond the contract: the hook on every call, and the tester's
// levers.
#include "memory_store/memory_store.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "mail/shared_components.h"
#include "platform/text/ascii_text.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"

namespace relaybird {
namespace {

class MemoryStoreTest : public testing::Test {
 protected:
  std::shared_ptr<Application> application() {
    return createAs<Application>(store.factory(), prog_id::kApplication);
  }
  std::shared_ptr<ItemCollection> items() {
    return application()->GetNamespace("MAPI")->GetDefaultInbox()->Items();
  }
  std::shared_ptr<MailItem> received(const std::string& subject = "Subject") {
    MemoryItem item;
    item.subject = subject;
    item.attachments = {{"a", "1", std::nullopt}};
    store.deliver(item);
    const auto all = items();
    return all->Item(all->Count());
  }

  FakeEventQueue events;
  MemoryStore store{events};
};

// Every operation of the interface by the name that the hook hears, as something to do.
class HookTest : public MemoryStoreTest {
 protected:
  using Uses = std::map<std::string, std::function<void()>>;

  Uses uses();
  void addApplication(Uses& uses);
  void addItem(Uses& uses);
  void addSafeItem(Uses& uses);
  void addParts(Uses& uses);
  void addOthers(Uses& uses);
};

void HookTest::addApplication(Uses& uses) {
  const auto app = application();
  const auto mapi = app->GetNamespace("MAPI");
  const auto folder = mapi->GetDefaultInbox();
  const auto collection = folder->Items();
  const auto objects = mapi->SyncObjects();
  const auto sync = objects->Item(1);
  uses["Application.ClassName"] = [app] { app->ClassName(); };
  uses["Application.Version"] = [app] { app->Version(); };
  uses["Application.GetNamespace"] = [app] { app->GetNamespace("MAPI"); };
  uses["Application.Session"] = [app] { app->Session(); };
  uses["Application.CreateItem"] = [app] { app->CreateItem(kMailItemKind); };
  uses["Namespace.GetDefaultInbox"] = [mapi] { mapi->GetDefaultInbox(); };
  uses["Namespace.SyncObjects"] = [mapi] { mapi->SyncObjects(); };
  uses["Folder.Items"] = [folder] { folder->Items(); };
  uses["ItemCollection.Count"] = [collection] { collection->Count(); };
  uses["ItemCollection.Item"] = [collection] { collection->Item(1); };
  uses["ItemCollection.Restrict"] = [collection] { collection->Restrict("[Unread]=true"); };
  uses["SyncObjects.Count"] = [objects] { objects->Count(); };
  uses["SyncObjects.Item"] = [objects] { objects->Item(1); };
  uses["SyncObject.Start"] = [sync] { sync->Start(); };
  uses["SyncObject.onSyncEnd"] = [sync] { sync->onSyncEnd(nullptr); };
}

void HookTest::addItem(Uses& uses) {
  const auto item = received();
  uses["MailItem.ClassName"] = [item] { item->ClassName(); };
  uses["MailItem.EntryID"] = [item] { item->EntryID(); };
  uses["MailItem.UnRead"] = [item] { item->UnRead(); };
  uses["MailItem.UnRead="] = [item] { item->UnRead(false); };
  uses["MailItem.Subject"] = [item] { item->Subject(); };
  uses["MailItem.Subject="] = [item] { item->Subject("other"); };
  uses["MailItem.Body"] = [item] { item->Body(); };
  uses["MailItem.Body="] = [item] { item->Body("other"); };
  uses["MailItem.ReceivedTime"] = [item] { item->ReceivedTime(); };
  uses["MailItem.LastModificationDate"] = [item] { item->LastModificationDate(); };
  uses["MailItem.SenderName"] = [item] { item->SenderName(); };
  uses["MailItem.Fields"] = [item] { item->Fields(kPrSenderName); };
  uses["MailItem.Forward"] = [item] { item->Forward(); };
  uses["MailItem.Attachments"] = [item] { item->Attachments(); };
  uses["MailItem.Recipients"] = [item] { item->Recipients(); };
  uses["MailItem.ReplyRecipients"] = [item] { item->ReplyRecipients(); };
  uses["MailItem.Save"] = [item] { item->Save(); };
  const auto forward = item->Forward();
  forward->Recipients()->Add("good@example.org");
  uses["MailItem.send"] = [forward] { forward->send(); };
  MemoryItem request;
  request.kind = "TaskRequestItem";
  store.deliver(request);
  uses["MailItem.GetAssociatedTask"] = [task = items()->Item(2)] { task->GetAssociatedTask(); };
}

void HookTest::addSafeItem(Uses& uses) {
  const auto safe = createAs<SafeItem>(store.factory(), prog_id::kSafeTaskItem);
  const auto item = items()->Item(2);
  safe->Item(item);
  uses["SafeItem.ClassName"] = [safe] { safe->ClassName(); };
  uses["SafeItem.Item"] = [safe] { safe->Item(); };
  uses["SafeItem.Item="] = [safe, item] { safe->Item(item); };
  uses["SafeItem.EntryID"] = [safe] { safe->EntryID(); };
  uses["SafeItem.UnRead"] = [safe] { safe->UnRead(); };
  uses["SafeItem.UnRead="] = [safe] { safe->UnRead(false); };
  uses["SafeItem.Subject"] = [safe] { safe->Subject(); };
  uses["SafeItem.Subject="] = [safe] { safe->Subject("other"); };
  uses["SafeItem.Body"] = [safe] { safe->Body(); };
  uses["SafeItem.Body="] = [safe] { safe->Body("other"); };
  uses["SafeItem.ReceivedTime"] = [safe] { safe->ReceivedTime(); };
  uses["SafeItem.LastModificationDate"] = [safe] { safe->LastModificationDate(); };
  uses["SafeItem.SenderName"] = [safe] { safe->SenderName(); };
  uses["SafeItem.Fields"] = [safe] { safe->Fields(kPrSenderName); };
  uses["SafeItem.Forward"] = [safe] { safe->Forward(); };
  uses["SafeItem.Attachments"] = [safe] { safe->Attachments(); };
  uses["SafeItem.Recipients"] = [safe] { safe->Recipients(); };
  uses["SafeItem.ReplyRecipients"] = [safe] { safe->ReplyRecipients(); };
  uses["SafeItem.Save"] = [safe] { safe->Save(); };
  uses["SafeItem.GetAssociatedTask"] = [safe] { safe->GetAssociatedTask(); };
  const auto sender = createAs<SafeItem>(store.factory(), prog_id::kSafeMailItem);
  const auto forward = items()->Item(1)->Forward();
  forward->Recipients()->Add("good@example.org");
  sender->Item(forward);
  uses["SafeItem.send"] = [sender] { sender->send(); };
}

void HookTest::addParts(Uses& uses) {
  const auto item = items()->Item(1)->Forward();
  const auto attachments = item->Attachments();
  const auto attachment = items()->Item(1)->Forward()->Attachments()->Item(1);
  uses["Attachments.Count"] = [attachments] { attachments->Count(); };
  uses["Attachments.Item"] = [attachments] { attachments->Item(1); };
  uses["Attachment.Size"] = [attachment] { attachment->Size(); };
  uses["Attachment.Delete"] = [attachment] { attachment->Delete(); };
  const auto addList = [&uses](const std::string& name, std::shared_ptr<Recipients> list) {
    list->Add("first@example.org");
    uses[name + ".Add"] = [list] { list->Add("other@example.org"); };
    uses[name + ".Count"] = [list] { list->Count(); };
    uses[name + ".Item"] = [list] { list->Item(1); };
    uses[name + ".Remove"] = [list] { list->Remove(1); };
    uses[name + ".ResolveAll"] = [list] { list->ResolveAll(); };
  };
  addList("Recipients", item->Recipients());
  addList("ReplyRecipients", item->ReplyRecipients());
  const auto recipient = item->Recipients()->Item(1);
  uses["Recipient.Type"] = [recipient] { recipient->Type(); };
  uses["Recipient.Type="] = [recipient] { recipient->Type(RecipientType::kBlindCopy); };
}

void HookTest::addOthers(Uses& uses) {
  const auto session = application()->Session();
  const auto object = session->MAPIOBJECT();
  const auto library = createAs<LibrarySession>(store.factory(), prog_id::kLibrarySession);
  const auto utility = createAs<UtilityObject>(store.factory(), prog_id::kUtility);
  const auto dictionary = createAs<Dictionary>(store.factory(), prog_id::kDictionary);
  uses["Session.MAPIOBJECT"] = [session] { session->MAPIOBJECT(); };
  uses["LibrarySession.ClassName"] = [library] { library->ClassName(); };
  uses["LibrarySession.MAPIOBJECT="] = [library, object] { library->MAPIOBJECT(object); };
  uses["UtilityObject.ClassName"] = [utility] { utility->ClassName(); };
  uses["UtilityObject.DeliverNow"] = [utility] { utility->DeliverNow(); };
  uses["Dictionary.ClassName"] = [dictionary] { dictionary->ClassName(); };
  uses["Dictionary.Exists"] = [dictionary] { dictionary->Exists("key"); };
  uses["Dictionary.Add"] = [dictionary] { dictionary->Add("key", "key"); };
  uses["Dictionary.Count"] = [dictionary] { dictionary->Count(); };
  for (const auto progId : {prog_id::kApplication, prog_id::kMailItem, prog_id::kSafeMailItem,
                            prog_id::kSafeMeetingItem, prog_id::kSafeTaskItem, prog_id::kUtility,
                            prog_id::kLibrarySession, prog_id::kDictionary}) {
    uses["CreateObject " + asciiLower(progId)] = [this, progId] {
      store.factory().CreateObject(progId);
    };
  }
}

HookTest::Uses HookTest::uses() {
  Uses all;
  addItem(all);  // first: it fills the inbox
  addApplication(all);
  addSafeItem(all);
  addParts(all);
  addOthers(all);
  return all;
}

TEST_F(HookTest, EveryOperationCanBeRefusedAndThenDoesNothing) {
  const auto all = uses();
  ASSERT_EQ(all.size(), 15u + 19u + 21u + 16u + 17u);
  for (const auto& [name, use] : all) {
    SCOPED_TRACE(name);
    int heard = 0;
    store.setHook([&, wanted = name](std::string_view operation) {
      if (operation != wanted) {
        return;
      }
      ++heard;
      throw MailStoreError("refused " + wanted, 42);
    });
    try {
      use();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const MailStoreError& error) {
      EXPECT_EQ(error.what(), "refused " + name);
      EXPECT_EQ(error.code(), 42);
    }
    EXPECT_EQ(heard, 1);
    store.setHook(nullptr);
  }
  EXPECT_EQ(store.outboxCount(), 0u);
  EXPECT_EQ(store.unreadCount(), 2u);
  EXPECT_EQ(store.deliveries(), 0u);
  EXPECT_EQ(store.syncStarts(), 0u);
  EXPECT_EQ(items()->Item(1)->Subject(), "Subject");
  EXPECT_TRUE(store.drafts().empty());
}

TEST_F(HookTest, EveryOperationRunsOnceItIsNotRefused) {
  for (const auto& [name, use] : uses()) {
    EXPECT_NO_THROW(use()) << name;
  }
  EXPECT_EQ(store.outboxCount(), 2u);
  EXPECT_EQ(store.deliveries(), 1u);
  EXPECT_EQ(store.attachedSessions(), 1u);
}

TEST_F(HookTest, EveryOperationButTheDictionarysFailsOnceTheApplicationHasGone) {
  const auto all = uses();
  store.quitApplication();
  for (const auto& [name, use] : all) {
    const bool stays = name.rfind("Dictionary.", 0) == 0 || name.rfind("CreateObject", 0) == 0;
    if (stays) {
      EXPECT_NO_THROW(use()) << name;
    } else {
      EXPECT_THROW(use(), MailStoreError) << name;
    }
  }
  EXPECT_EQ(items()->Count(), 2) << "a new application has the same mailbox";
}

TEST_F(MemoryStoreTest, ASafeItemIsHeardBeforeTheItemItWraps) {
  const auto item = received();
  const auto safe = createAs<SafeItem>(store.factory(), prog_id::kSafeMailItem);
  safe->Item(item);
  std::vector<std::string> heard;
  store.setHook([&](std::string_view operation) { heard.emplace_back(operation); });
  safe->Body();
  EXPECT_EQ(heard, (std::vector<std::string>{"SafeItem.Body", "MailItem.Body"}));
}

TEST_F(MemoryStoreTest, TheHookMayChangeTheMailboxAndItself) {
  const auto item = received();
  store.setHook([&](std::string_view) {
    store.setHook(nullptr);
    store.takeAway(0);
  });
  EXPECT_THROW(item->Subject(), MailStoreError);
  EXPECT_EQ(store.inboxCount(), 0u);
}

TEST_F(MemoryStoreTest, AnItemMayHaveAnEmptyEntryIdentifierAndNoDates) {
  MemoryItem item;
  item.entryId = "";
  item.kind = "ContactItem";
  EXPECT_EQ(store.deliver(item), "");
  EXPECT_EQ(items()->Item(1)->EntryID(), "");
  EXPECT_EQ(items()->Item(1)->ClassName(), "ContactItem");
  EXPECT_EQ(items()->Item(1)->ReceivedTime(), kNoDate);
  EXPECT_EQ(items()->Item(1)->LastModificationDate(), kNoDate);
}

TEST_F(MemoryStoreTest, AnAttachmentMayClaimAnySize) {
  MemoryItem item;
  item.attachments = {{"huge", "tiny", 2'000'000'000}};
  store.deliver(item);
  EXPECT_EQ(items()->Item(1)->Forward()->Attachments()->Item(1)->Size(), 2'000'000'000);
}

TEST_F(MemoryStoreTest, ATaskRequestHasTheTaskItWasGivenOrOneOfItsOwnText) {
  MemoryItem request;
  request.kind = "TaskRequestItem";
  request.subject = "Paint the fence";
  store.deliver(request);
  request.task = std::make_shared<MemoryItem>();
  request.task->kind = "TaskItem";
  request.task->subject = "Fence";
  store.deliver(request);
  EXPECT_EQ(items()->Item(1)->GetAssociatedTask()->ClassName(), "TaskItem");
  EXPECT_EQ(items()->Item(1)->GetAssociatedTask()->Subject(), "Paint the fence");
  EXPECT_EQ(items()->Item(2)->GetAssociatedTask()->Subject(), "Fence");
}

TEST_F(MemoryStoreTest, ASavedForwardIsADraftUntilItIsSent) {
  const auto forward = received()->Forward();
  forward->Recipients()->Add("good@example.org");
  forward->Save();
  forward->Save();
  ASSERT_EQ(store.drafts().size(), 1u);
  EXPECT_EQ(store.drafts()[0].subject, "FW: Subject");
  EXPECT_NE(forward->EntryID(), "");
  forward->send();
  EXPECT_TRUE(store.drafts().empty());
  EXPECT_EQ(store.outboxCount(), 1u);
}

TEST_F(MemoryStoreTest, AnAddressCanBeMadeUnresolvable) {
  store.setUnresolvable("Gone@Example.org");
  const auto recipients = application()->CreateItem(kMailItemKind)->Recipients();
  recipients->Add("gone@example.org");
  EXPECT_FALSE(recipients->ResolveAll());
}

TEST_F(MemoryStoreTest, SynchronisationsEndWhenTheTestSaysSo) {
  store.setSyncEndsByItself(false);
  const auto sync = application()->GetNamespace("MAPI")->SyncObjects()->Item(1);
  int ends = 0;
  sync->onSyncEnd([&] { ++ends; });
  sync->Start();
  sync->Start();
  events.runUntilIdle();
  EXPECT_EQ(ends, 0);
  EXPECT_EQ(store.endSyncs(), 1u);
  EXPECT_EQ(ends, 0) << "the end comes on the queue";
  events.runUntilIdle();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(store.syncStarts(), 2u);
  EXPECT_EQ(store.syncRuns(), 1u);
  EXPECT_EQ(store.endSyncs(), 0u);
}

TEST_F(MemoryStoreTest, NoSyncEndComesFromAnApplicationThatHasGone) {
  int ends = 0;
  const auto sync = application()->GetNamespace("MAPI")->SyncObjects()->Item(1);
  sync->onSyncEnd([&] { ++ends; });
  sync->Start();
  store.quitApplication();
  events.runUntilIdle();
  EXPECT_EQ(ends, 0);
}

TEST_F(MemoryStoreTest, ALibrarySessionTakesThisStoresSessionAlone) {
  const auto library = createAs<LibrarySession>(store.factory(), prog_id::kLibrarySession);
  EXPECT_THROW(library->MAPIOBJECT(std::make_shared<MapiObject>()), MailStoreError);
  EXPECT_THROW(library->MAPIOBJECT(nullptr), MailStoreError);
  EXPECT_EQ(store.attachedSessions(), 0u);
}

TEST(MemoryStore, ObjectsStayUsableAfterTheStoreIsGone) {
  FakeEventQueue events;
  std::shared_ptr<MailItem> item;
  {
    MemoryStore store(events);
    MemoryItem sample;
    sample.subject = "kept";
    store.deliver(sample);
    item = createAs<Application>(store.factory(), prog_id::kApplication)
               ->GetNamespace("MAPI")
               ->GetDefaultInbox()
               ->Items()
               ->Item(1);
  }
  EXPECT_EQ(item->Subject(), "kept");
}

TEST_F(MemoryStoreTest, ForwardingThirtyThousandItemsSharesTheirContents) {
  // Copies of the bodies would need 30 GB; a cost per item that grows with the mailbox, hours.
  constexpr int kItems = 30000;
  MemoryItem sample;
  for (int i = 0; i < kItems; ++i) {
    store.deliver(sample);
  }
  sample.body.assign(1 << 20, 'x');
  store.deliver(sample);
  const auto unread = items()->Restrict("[Unread]=true");
  ASSERT_EQ(unread->Count(), kItems + 1);
  std::vector<std::shared_ptr<MailItem>> forwards;
  for (std::int32_t i = unread->Count(); i >= 1; --i) {
    unread->Item(i)->UnRead(false);
    forwards.push_back(unread->Item(kItems + 1)->Forward());
  }
  EXPECT_EQ(store.unreadCount(), 0u);
  EXPECT_GT(forwards.back()->Body().size(), std::size_t{1} << 20);
}

}  // namespace
}  // namespace relaybird
