// SPDX-License-Identifier: MIT
#include "stores/outlook/dispatch.h"

#include <gtest/gtest.h>
#include <ocidl.h>

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "fake_dispatch.h"
#include "mail/mail_store.h"

namespace relaybird::outlook {
namespace {

using std::chrono::milliseconds;

class DispatchTest : public testing::Test {
 protected:
  Object over(FakeDispatch& fake) { return {fake.pointer(), server}; }

  // The error of a call that must fail.
  template <class Call>
  MailStoreError errorOf(Call call) {
    try {
      call();
    } catch (const MailStoreError& error) {
      return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return MailStoreError("");
  }

  FakeType& typeNamed(const char* name) { return types_.emplace_back(name); }

 private:
  std::list<FakeType> types_;  // above the server, which keeps them

 protected:
  std::vector<milliseconds> pauses;
  std::vector<std::string> notes;
  FakeType mailType{"_MailItem"};
  std::shared_ptr<Server> server =
      std::make_shared<Server>([this](milliseconds pause) { pauses.push_back(pause); }, nullptr,
                               [this](const std::string& line) { notes.push_back(line); });
};

FakeDispatch::Member answering(const Value& value) {
  return [value](const FakeCall&) { return FakeAnswer{.value = value}; };
}

FakeDispatch::Member raising(const FakeAnswer& error) {
  return [error](const FakeCall&) { return error; };
}

TEST_F(DispatchTest, APropertyIsReadByItsName) {
  FakeDispatch fake(&mailType);
  WORD flags = 0;
  fake.add(L"subject", 7, [&](const FakeCall& call) {
    flags = call.flags;
    return FakeAnswer{.value = Value::ofText("Grüße 🐦")};
  });
  EXPECT_EQ(over(fake).get(L"Subject").text(), "Grüße 🐦");
  EXPECT_EQ(flags, DISPATCH_METHOD | DISPATCH_PROPERTYGET);
}

TEST_F(DispatchTest, ANameIsLookedUpOnceForAllObjectsOfItsClass) {
  FakeDispatch first(&mailType);
  FakeDispatch second(&mailType);
  for (FakeDispatch* fake : {&first, &second}) {
    fake->add(L"Subject", 7, answering(Value::ofText("text")));
  }
  const Object object = over(first);
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  EXPECT_EQ(over(second).get(L"Subject").text(), "text");
  EXPECT_EQ(first.lookups, 1);
  EXPECT_EQ(second.lookups, 0);
  EXPECT_EQ(first.invokes, 2);
}

TEST_F(DispatchTest, TwoClassesDoNotShareTheNumbersOfTheirNames) {
  FakeType& meetingType = typeNamed("_MeetingItem");
  FakeDispatch mail(&mailType);
  FakeDispatch meeting(&meetingType);
  mail.add(L"Subject", 7, answering(Value::ofText("mail")));
  meeting.add(L"Subject", 8, answering(Value::ofText("meeting")));
  meeting.add(L"Body", 7, answering(Value::ofText("wrong member")));
  EXPECT_EQ(over(mail).get(L"Subject").text(), "mail");
  EXPECT_EQ(over(meeting).get(L"Subject").text(), "meeting");
}

TEST_F(DispatchTest, ObjectsWithoutTypeInformationDoNotShareNumbersThoughAllAreCalledObject) {
  FakeDispatch one;
  FakeDispatch other;
  one.add(L"Subject", 7, answering(Value::ofText("one")));
  other.add(L"Subject", 8, answering(Value::ofText("other")));
  EXPECT_EQ(over(one).get(L"Subject").text(), "one");
  EXPECT_EQ(over(other).get(L"Subject").text(), "other");
  EXPECT_EQ(over(one).className(), "Object");
}

TEST_F(DispatchTest, TheClassNameLosesOneUnderscoreAndIsAskedForOnce) {
  FakeType& twice = typeNamed("__Odd");
  FakeDispatch fake(&mailType);
  FakeDispatch odd(&twice);
  const Object object = over(fake);
  EXPECT_EQ(object.className(), "MailItem");
  EXPECT_EQ(object.className(), "MailItem");
  EXPECT_EQ(fake.typeAsks, 1);
  EXPECT_EQ(over(odd).className(), "_Odd");
}

TEST_F(DispatchTest, TypeInformationThatIsKnownIsNotAskedForItsName) {
  FakeDispatch first(&mailType);
  FakeDispatch second(&mailType);
  EXPECT_EQ(over(first).className(), "MailItem");
  EXPECT_EQ(over(second).className(), "MailItem");
  EXPECT_EQ(mailType.namesAsked, 1);
}

TEST_F(DispatchTest, AChildsClassFollowsFromWhereItCameFromAndAnItemsDoesNot) {
  FakeDispatch parent(&mailType);
  FakeDispatch child(&mailType);
  parent.add(L"Recipients", 1, answering(Value::ofObject(&child)));
  child.add(L"Count", 2, answering(Value::ofNumber(3)));
  const Object object = over(parent);
  EXPECT_EQ(object.child(L"Recipients").get(L"Count").number(), 3);
  EXPECT_EQ(object.child(L"Recipients").get(L"Count").number(), 3);
  EXPECT_EQ(child.typeAsks, 0);
  EXPECT_EQ(child.lookups, 1);
  EXPECT_EQ(object.item(L"Recipients").className(), "MailItem");
  EXPECT_EQ(child.typeAsks, 1);
}

TEST_F(DispatchTest, AnIndexIsPassedToTheMemberAndToTheDefaultMember) {
  FakeDispatch fake(&mailType);
  std::vector<std::int32_t> indices;
  const auto record = [&](const FakeCall& call) {
    indices.push_back(call.arguments.at(0).number());
    return FakeAnswer{.value = Value::ofText("found")};
  };
  fake.add(L"Item", 81, record);
  fake.add(L"", DISPID_VALUE, record);
  EXPECT_EQ(over(fake).get(L"Item", Value::ofNumber(5)).text(), "found");
  EXPECT_EQ(over(fake).at(6).text(), "found");
  EXPECT_EQ(indices, (std::vector<std::int32_t>{5, 6}));
}

TEST_F(DispatchTest, APropertyIsSet) {
  FakeDispatch fake(&mailType);
  std::vector<bool> seen;
  WORD flags = 0;
  fake.add(L"UnRead", 3, [&](const FakeCall& call) {
    seen.push_back(call.arguments.at(0).truth());
    flags = call.flags;
    return FakeAnswer{};
  });
  over(fake).put(L"UnRead", Value::ofTruth(true));
  over(fake).put(L"UnRead", Value::ofTruth(false));
  EXPECT_EQ(seen, (std::vector<bool>{true, false}));
  EXPECT_EQ(flags, DISPATCH_PROPERTYPUT);
}

TEST_F(DispatchTest, AnObjectIsSetByReferenceOrPlainlyWhereTheServerKnowsNoOther) {
  FakeDispatch item;
  FakeDispatch safe(&mailType);
  std::vector<WORD> ways;
  bool takesReference = true;
  safe.add(L"Item", 0x7FFF, [&](const FakeCall& call) {
    ways.push_back(call.flags);
    const bool known = takesReference || call.flags == DISPATCH_PROPERTYPUT;
    return FakeAnswer{.result = known ? S_OK : DISP_E_MEMBERNOTFOUND};
  });
  const Object object = over(safe);
  object.putReference(L"Item", Value::ofObject(&item));
  EXPECT_EQ(ways, (std::vector<WORD>{DISPATCH_PROPERTYPUTREF}));
  takesReference = false;
  ways.clear();
  object.putReference(L"Item", Value::ofObject(&item));
  object.putReference(L"Item", Value::ofObject(&item));
  EXPECT_EQ(ways, (std::vector<WORD>{DISPATCH_PROPERTYPUTREF, DISPATCH_PROPERTYPUT,
                                     DISPATCH_PROPERTYPUT}))
      << "what the class does not know is not tried again";
  EXPECT_EQ(item.references(), 1u);
}

TEST_F(DispatchTest, NothingInPlaceOfAnObjectIsAnError) {
  FakeDispatch fake(&mailType);
  fake.add(L"Recipients", 1, answering(Value::ofObject(nullptr)));
  fake.add(L"Empty", 2, answering(Value()));
  EXPECT_THROW(over(fake).child(L"Recipients"), MailStoreError);
  EXPECT_THROW(over(fake).child(L"Empty"), MailStoreError);
  EXPECT_THROW(Object().get(L"Count"), MailStoreError);
  EXPECT_THROW(Object().at(1), MailStoreError);
}

TEST_F(DispatchTest, ARaisedErrorHasTheServersTextAndCode) {
  FakeDispatch fake(&mailType);
  fake.add(L"send", 1,
           raising({.result = DISP_E_EXCEPTION,
                    .source = "Microsoft Outlook",
                    .text = "The item has been moved or deleted.",
                    .scode = static_cast<SCODE>(0x8004010F)}));
  const MailStoreError error = errorOf([&] { over(fake).call(L"send"); });
  EXPECT_STREQ(error.what(), "The item has been moved or deleted.");
  EXPECT_EQ(error.code(), static_cast<std::int32_t>(0x8004010F));
}

// With the library in this process the text alone does not tell whose error it is.
TEST_F(DispatchTest, WhoHasRaisedAnErrorWithATextIsNotedWithMemberAndCode) {
  FakeDispatch fake(&mailType);
  fake.add(L"send", 1,
           raising({.result = DISP_E_EXCEPTION,
                    .source = "Redemption",
                    .text = "The mailbox is full.",
                    .scode = static_cast<SCODE>(0x8004060C)}));
  EXPECT_STREQ(errorOf([&] { over(fake).call(L"send"); }).what(), "The mailbox is full.");
  EXPECT_EQ(notes,
            (std::vector<std::string>{"Redemption: The mailbox is full. (send, error 8004060C)"}));
}

TEST_F(DispatchTest, ARaisedErrorIsNotNotedWhereItsOwnTextTellsItsSourceOrThereIsNone) {
  FakeDispatch fake(&mailType);
  fake.add(L"send", 1,
           raising({.result = DISP_E_EXCEPTION, .source = "Toy", .scode = DISP_E_OVERFLOW}));
  fake.add(L"save", 2,
           raising({.result = DISP_E_EXCEPTION, .text = "No source.", .scode = DISP_E_OVERFLOW}));
  errorOf([&] { over(fake).call(L"send"); });
  errorOf([&] { over(fake).call(L"save"); });
  EXPECT_TRUE(notes.empty());
}

TEST_F(DispatchTest, ARaisedErrorsTextIsFilledInWhenTheServerDefersIt) {
  FakeDispatch fake(&mailType);
  fake.add(L"send", 1, raising({.result = DISP_E_EXCEPTION, .code = 1001, .deferred = true}));
  const MailStoreError error = errorOf([&] { over(fake).call(L"send"); });
  EXPECT_STREQ(error.what(), "The text came later");
  EXPECT_EQ(error.code(), 1001);
}

TEST_F(DispatchTest, ARaisedErrorWithoutATextNamesItsSourceAndTheMember) {
  FakeDispatch fake(&mailType);
  fake.add(L"send", 1,
           raising({.result = DISP_E_EXCEPTION, .source = "Toy", .scode = DISP_E_OVERFLOW}));
  const MailStoreError error = errorOf([&] { over(fake).call(L"send"); });
  EXPECT_STREQ(error.what(), "Toy: A number is too large (send, error 8002000A)");
}

TEST_F(DispatchTest, AnUnknownNameIsToldAndNotLookedUpAgain) {
  FakeDispatch fake(&mailType);
  const Object object = over(fake);
  EXPECT_FALSE(object.has(L"LastModificationDate"));
  const MailStoreError error = errorOf([&] { object.get(L"LastModificationDate"); });
  EXPECT_NE(std::string(error.what()).find("LastModificationDate"), std::string::npos);
  EXPECT_EQ(error.code(), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(fake.lookups, 1);
}

TEST_F(DispatchTest, ABusyServerIsAskedAgainAfterAPause) {
  FakeDispatch fake(&mailType);
  fake.add(L"Subject", 7, answering(Value::ofText("text")));
  const Object object = over(fake);
  fake.refusals = {RPC_E_SERVERCALL_RETRYLATER, RPC_E_CALL_REJECTED};
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  EXPECT_EQ(pauses.size(), 2u);
}

TEST_F(DispatchTest, AServerThatStaysBusyIsToldWithinALimit) {
  FakeDispatch fake(&mailType);
  fake.add(L"Subject", 7, answering(Value::ofText("text")));
  const Object object = over(fake);
  EXPECT_TRUE(object.has(L"Subject"));
  fake.refusals.assign(1000, RPC_E_SERVERCALL_RETRYLATER);
  const MailStoreError error = errorOf([&] { object.get(L"Subject"); });
  EXPECT_NE(std::string(error.what()).find("is busy"), std::string::npos);
  milliseconds waited{0};
  for (const milliseconds pause : pauses) {
    waited += pause;
  }
  EXPECT_GT(waited, milliseconds{5000});
  EXPECT_LT(waited, milliseconds{15000});
  EXPECT_FALSE(server->gone());
}

TEST_F(DispatchTest, AServerThatStaysBusyIsWaitedForOnceUntilItTakesACallAgain) {
  FakeDispatch fake(&mailType);
  fake.add(L"Subject", 7, answering(Value::ofText("text")));
  const Object object = over(fake);
  EXPECT_TRUE(object.has(L"Subject"));
  fake.refusals.assign(1000, RPC_E_SERVERCALL_RETRYLATER);
  EXPECT_THROW(object.get(L"Subject"), MailStoreError);
  pauses.clear();
  for (int call = 0; call < 3; ++call) {
    EXPECT_THROW(object.get(L"Subject"), MailStoreError);
  }
  EXPECT_TRUE(pauses.empty());
  fake.refusals.clear();
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  fake.refusals = {RPC_E_SERVERCALL_RETRYLATER};
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  EXPECT_EQ(pauses.size(), 1u);
}

// Such as one of the library, whose own call the application has refused.
TEST_F(DispatchTest, AfterAnErrorThatMayHideARefusalARefusedCallIsNotMadeAgain) {
  FakeDispatch library(&mailType);
  FakeDispatch item(&typeNamed("_Item"));
  library.add(L"Send", 1,
              raising({.result = DISP_E_EXCEPTION, .text = "No answer", .scode = E_FAIL}));
  item.add(L"UnRead", 2, answering(Value::ofTruth(true)));
  const Object mark = over(item);
  EXPECT_TRUE(mark.has(L"UnRead"));
  EXPECT_THROW(over(library).call(L"Send"), MailStoreError);
  item.refusals = {RPC_E_SERVERCALL_RETRYLATER};
  EXPECT_TRUE(meansBusy(errorOf([&] { mark.get(L"UnRead"); }).code()));
  EXPECT_TRUE(pauses.empty());
  EXPECT_TRUE(mark.get(L"UnRead").truth());
  item.refusals = {RPC_E_SERVERCALL_RETRYLATER};
  EXPECT_TRUE(mark.get(L"UnRead").truth());
  EXPECT_EQ(pauses.size(), 1u) << "once a call was taken, the next one is waited for";
}

TEST_F(DispatchTest, AfterAnObjectThatCouldNotBeMadeARefusedCallIsNotMadeAgain) {
  FakeDispatch fake(&mailType);
  fake.add(L"UnRead", 2, answering(Value::ofTruth(true)));
  const Object object = over(fake);
  EXPECT_TRUE(object.has(L"UnRead"));
  EXPECT_THROW(server->fail(E_FAIL, "redemption.SafeMailItem"), MailStoreError);
  fake.refusals = {RPC_E_SERVERCALL_RETRYLATER};
  EXPECT_THROW(object.get(L"UnRead"), MailStoreError);
  EXPECT_TRUE(pauses.empty());
}

TEST_F(DispatchTest, AMemberThatIsNotThereHidesNoRefusal) {
  FakeDispatch fake(&mailType);
  fake.add(L"Subject", 7, answering(Value::ofText("text")));
  const Object object = over(fake);
  EXPECT_TRUE(object.has(L"Subject"));
  EXPECT_THROW(object.guess(L"EntryID", 99), MailStoreError);
  fake.refusals = {RPC_E_SERVERCALL_RETRYLATER};
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  EXPECT_EQ(pauses.size(), 1u);
}

TEST_F(DispatchTest, AServerThatWentAwayIsNotCalledAgain) {
  FakeDispatch fake(&mailType);
  fake.add(L"Subject", 7, answering(Value::ofText("text")));
  const Object object = over(fake);
  EXPECT_EQ(object.get(L"Subject").text(), "text");
  fake.refusals = {HRESULT_FROM_WIN32(RPC_S_CALL_FAILED)};
  EXPECT_EQ(errorOf([&] { object.get(L"Subject"); }).code(), static_cast<std::int32_t>(0x800706BE));
  EXPECT_TRUE(server->gone());
  const int before = fake.invokes;
  EXPECT_EQ(errorOf([&] { object.get(L"Subject"); }).code(), static_cast<std::int32_t>(0x800706BE));
  EXPECT_EQ(errorOf([&] { object.get(L"Body"); }).code(), static_cast<std::int32_t>(0x800706BE));
  EXPECT_EQ(fake.invokes, before);
}

TEST_F(DispatchTest, AServerThatGoesAwayWhileItsClassIsAskedForIsNoticed) {
  FakeDispatch fake(&mailType);
  fake.refusals = {HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE)};
  EXPECT_THROW((void)over(fake).className(), MailStoreError) << "and is not called \"Object\"";
  EXPECT_TRUE(server->gone());
}

// Its type information is called otherwise than its class, and the question who tells the class is
// refused.
class RefusingTeller : public FakeDispatch {
 public:
  RefusingTeller(FakeType* type, HRESULT refusal) : FakeDispatch(type), refusal_(refusal) {}

  STDMETHODIMP QueryInterface(REFIID identifier, void** out) override {
    if (identifier != IID_IProvideClassInfo) {
      return FakeDispatch::QueryInterface(identifier, out);
    }
    *out = nullptr;
    return std::exchange(refusal_, E_NOINTERFACE);
  }

 private:
  HRESULT refusal_;
};

TEST_F(DispatchTest, AServerThatGoesAwayWhenAskedWhoTellsItsClassIsNoticed) {
  FakeType& plain = typeNamed("IMailItem");
  RefusingTeller fake(&plain, HRESULT_FROM_WIN32(RPC_S_CALL_FAILED));
  EXPECT_THROW((void)over(fake).className(), MailStoreError) << "and is not called \"IMailItem\"";
  EXPECT_TRUE(server->gone());
}

TEST_F(DispatchTest, ABusyServerIsAskedAgainWhoTellsItsClass) {
  FakeType& plain = typeNamed("IMailItem");
  RefusingTeller fake(&plain, RPC_E_SERVERCALL_RETRYLATER);
  EXPECT_EQ(over(fake).className(), "IMailItem");
  EXPECT_EQ(pauses.size(), 1u);
}

TEST_F(DispatchTest, EveryReferenceIsGivenBack) {
  FakeDispatch parent(&mailType);
  FakeDispatch child(&mailType);
  parent.add(L"Recipients", 1, answering(Value::ofObject(&child)));
  parent.add(L"Item", 2, answering(Value()));
  {
    const Object object = over(parent);
    const Object found = object.child(L"Recipients");
    (void)object.item(L"Recipients").className();
    object.putReference(L"Item", Value::ofObject(found.dispatch()));
  }
  // The member keeps a value with a reference of its own.
  parent.add(L"Recipients", 1, answering(Value()));
  EXPECT_EQ(child.references(), 1u);
  EXPECT_EQ(parent.references(), 1u);
  server.reset();
  EXPECT_EQ(mailType.references(), 1u);
}

}  // namespace
}  // namespace relaybird::outlook
