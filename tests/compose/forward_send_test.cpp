// SPDX-License-Identifier: MIT
// Sending forwards, and faults of the mail store while building and sending. Each call of the store
// that building and sending make fails once, by the hook of the mailbox in memory (StoreBench).
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "compose/store_bench.h"
#include "mail/shared_components.h"

namespace relaybird {
namespace {

using Calls = std::vector<std::string>;

TEST(Send, ResolvesSendsAndDelivers) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()));
  bench.record();
  EXPECT_TRUE(made.builder.send());
  EXPECT_EQ(made.builder.errorText(), "");
  EXPECT_EQ(bench.calls, (Calls{"SafeItem.Recipients", "MailItem.Recipients",
                                "Recipients.ResolveAll", "SafeItem.send", "MailItem.send",
                                "CreateObject redemption.mapiutils", "UtilityObject.DeliverNow"}));
  EXPECT_EQ(bench.store.outboxCount(), 1u);
  EXPECT_EQ(bench.store.deliveries(), 1u);
}

TEST(Send, SendsNothingToAnybodyWhenOneRecipientIsUnknown) {
  StoreBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"a@x.org", "nobody", "b@x.org"};
  Built made(bench, bench.deliver(letter()));
  ASSERT_TRUE(made.done);
  EXPECT_FALSE(made.builder.send());
  EXPECT_EQ(made.builder.errorText(), "Outlook could not resolve all forwarding recipients");
  EXPECT_EQ(bench.store.outboxCount(), 0u);
  EXPECT_EQ(bench.store.deliveries(), 0u);
}

TEST(Send, OfAnUnaddressedForwardLeavesTheStoresOwnWords) {
  StoreBench bench;
  bench.prefs.fields().mstrFwdToAddress.clear();
  Built made(bench, bench.deliver(letter()));
  EXPECT_FALSE(made.builder.send());
  EXPECT_EQ(made.builder.errorText(), "There is no name in the To, Cc or Bcc box");
  EXPECT_EQ(bench.store.outboxCount(), 0u);
}

TEST(Send, OneEmptyAddressReachesNobody) {
  StoreBench bench;
  bench.prefs.fields().mstrFwdToAddress = {""};
  Built made(bench, bench.deliver(letter()));
  EXPECT_TRUE(made.done);
  EXPECT_FALSE(made.builder.send());
  EXPECT_EQ(made.builder.errorText(), "Outlook could not resolve all forwarding recipients");
}

TEST(Send, ClearsTheTextOfAnEarlierProblem) {
  StoreBench bench;
  bench.prefs.fields().mstrFwdToAddress = {"The Boss"};
  Built made(bench, bench.deliver(letter()));
  EXPECT_FALSE(made.builder.send());
  EXPECT_NE(made.builder.errorText(), "");
  bench.store.setKnownName("The Boss", "boss@work.example");
  EXPECT_TRUE(made.builder.send());
  EXPECT_EQ(made.builder.errorText(), "");
  EXPECT_EQ(bench.sent().recipients.front().address, "boss@work.example");
}

TEST(Send, WithoutAForwardFails) {
  StoreBench bench;
  clsSecurity builder(bench.store.factory());
  EXPECT_FALSE(builder.send());
  EXPECT_EQ(builder.errorText(), "There is no forward to send");
}

TEST(Send, AFaultInAnyCallIsAFailureWithItsDescription) {
  const Calls expected = {"SafeItem.Recipients",     "MailItem.Recipients",
                          "Recipients.ResolveAll",   "SafeItem.send",
                          "MailItem.send",           "CreateObject redemption.mapiutils",
                          "UtilityObject.DeliverNow"};
  for (std::size_t call = 1; call <= expected.size(); ++call) {
    StoreBench bench;
    Built made(bench, bench.deliver(letter()));
    bench.failCall(call);
    EXPECT_FALSE(made.builder.send());
    EXPECT_EQ(made.builder.errorText(), "fault in " + expected[call - 1]);
    bench.store.setHook(nullptr);
    EXPECT_EQ(bench.store.outboxCount(), call > 5 ? 1u : 0u);
  }
}

// Calls whose faults lose only the reply-to of the forward.
const std::set<std::string> kReplyToCalls = {"CreateObject redemption.rdosession",
                                             "CreateObject outlook.application",
                                             "Application.Session",
                                             "Session.MAPIOBJECT",
                                             "LibrarySession.MAPIOBJECT=",
                                             "SafeItem.ReplyRecipients",
                                             "MailItem.ReplyRecipients",
                                             "ReplyRecipients.Add",
                                             "ReplyRecipients.ResolveAll"};

class BuildingFaults : public testing::TestWithParam<const char*> {};

TEST_P(BuildingFaults, InAnyCallLeaveTheirDescriptionAndNoForward) {
  std::size_t failures = 0;
  for (std::size_t call = 1;; ++call) {
    StoreBench bench;
    bench.prefs.fields().mbolIncludeAttachments = false;
    MemoryItem item = ofKind(GetParam());
    item.attachments = {attachmentOf(5), attachmentOf(6)};
    const auto delivered = bench.deliver(item);
    bench.failCall(call);
    Built made(bench, delivered, true);
    bench.store.setHook(nullptr);
    if (bench.calls.size() < call) {
      EXPECT_TRUE(made.done);
      break;
    }
    const std::string failed = bench.calls[call - 1];
    if (kReplyToCalls.count(failed) != 0) {
      EXPECT_TRUE(made.done) << failed;
      EXPECT_EQ(made.builder.errorText(), "") << failed;
      EXPECT_TRUE(made.builder.send()) << failed;
      continue;
    }
    ++failures;
    EXPECT_FALSE(made.done) << failed;
    EXPECT_EQ(made.builder.errorText(), "fault in " + failed);
    EXPECT_FALSE(made.builder.sizeWithinLimit()) << failed;
    EXPECT_FALSE(made.builder.send()) << failed;
    EXPECT_EQ(bench.store.outboxCount(), 0u) << failed;
  }
  EXPECT_GE(failures, 10u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, BuildingFaults,
                         testing::Values("MailItem", "meetingitem", "ReportItem",
                                         "TaskRequestItem"));

// Also where the forward is not made of the body.
TEST(Building, AnItemWhoseBodyCannotBeReadHasNoForwardInEitherFormat) {
  for (const char* kind : {"MailItem", "meetingitem", "ReportItem", "TaskRequestItem"}) {
    for (const bool cellPhone : {false, true}) {
      StoreBench bench;
      const auto delivered = bench.deliver(ofKind(kind));
      bench.store.setHook([](std::string_view operation) {
        if (operation == "MailItem.Body") {
          throw MailStoreError("the body cannot be read");
        }
      });
      Built made(bench, delivered, cellPhone);
      EXPECT_FALSE(made.done) << kind;
      EXPECT_EQ(made.builder.errorText(), "the body cannot be read") << kind;
    }
  }
}

TEST(Building, AMissingComponentIsAFault) {
  StoreBench bench;
  bench.store.removeComponent(prog_id::kSafeMailItem);
  Built made(bench, bench.deliver(letter()));
  EXPECT_FALSE(made.done);
  EXPECT_NE(made.builder.errorText(), "");
}

TEST(Readers, OfTheForwardAnswerEmptyWhereThereIsNone) {
  StoreBench bench;
  clsSecurity builder(bench.store.factory());
  EXPECT_EQ(builder.GetSafeItemSubject(), "");
  EXPECT_EQ(builder.GetSafeItemBody(), "");
  EXPECT_EQ(builder.GetSafeItemEmailId(), "");
  EXPECT_EQ(builder.errorText(), "");
}

TEST(Readers, OfTheForwardLeaveAFaultsDescription) {
  StoreBench bench;
  Built made(bench, bench.deliver(letter()));
  EXPECT_NE(made.builder.GetSafeItemEmailId(), "");  // it was saved
  bench.store.quitApplication();
  EXPECT_EQ(made.builder.GetSafeItemSubject(), "");
  EXPECT_NE(made.builder.errorText(), "");
}

// A store whose deletions do nothing must not hang the pass.
struct StubbornAttachments : Attachments {
  std::int32_t Count() override { return 2; }
  std::shared_ptr<Attachment> Item(std::int32_t) override {
    struct Stubborn : Attachment {
      std::int32_t Size() override { return 1; }
      void Delete() override {}
    };
    return std::make_shared<Stubborn>();
  }
};

TEST(Building, AttachmentsThatStayAreAFaultAndNoEndlessLoop) {
  struct StubbornItem : PassThroughSafeItem {
    StubbornItem() : PassThroughSafeItem("SafeMailItem") {}
    std::shared_ptr<class Attachments> Attachments() override {
      return std::make_shared<StubbornAttachments>();
    }
  };
  struct StubbornFactory : ObjectFactory {
    explicit StubbornFactory(ObjectFactory& real) : real_(real) {}
    std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
      if (progId == prog_id::kSafeMailItem) {
        return std::make_shared<StubbornItem>();
      }
      return real_.CreateObject(progId);
    }
    ObjectFactory& real_;
  };
  StoreBench bench;
  bench.prefs.fields().mbolIncludeAttachments = false;
  StubbornFactory factory(bench.store.factory());
  clsSecurity builder(factory);
  builder.SetPref(bench.prefs);
  EXPECT_FALSE(builder.MakeSafeInboxItem(bench.deliver(letter())));
  EXPECT_EQ(builder.errorText(), "An attachment could not be removed");
}

}  // namespace
}  // namespace relaybird
