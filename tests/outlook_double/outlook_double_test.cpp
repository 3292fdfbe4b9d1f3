// SPDX-License-Identifier: MIT
// The double by itself, called by the plainest client: in this process, and in a process of its
// own.
#include <gtest/gtest.h>
#include <windows.h>

#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>

#include "outlook_double/class_objects.h"
#include "outlook_double/com_client.h"
#include "outlook_double/commands.h"
#include "outlook_double/double_server.h"
#include "outlook_double/lasting_stubs.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {
namespace {

constexpr auto kBusy = static_cast<HRESULT>(0x8001010A);
constexpr auto kCallFailed = static_cast<HRESULT>(0x800706BE);
constexpr auto kServerUnavailable = static_cast<HRESULT>(0x800706BA);

enum class Place { kHere, kElsewhere };

std::string textOf(const Value& value) {
  return toUtf8(value.variant().bstrVal);
}

ComRef<IDispatch> objectOf(const Value& value) {
  return shared(value.dispatch());
}

void serveMessages() {
  for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;) {
    DispatchMessageW(&message);
  }
}

// A listener that notes what it is told.
class Sink : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == IID_IDispatch;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  // On the stack of its test.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    told.push_back(id);
    if (id == kSyncEndEvent && atEnd) {
      std::exchange(atEnd, nullptr)();
    }
    return S_OK;
  }

  std::vector<DISPID> told;
  std::function<void()> atEnd;  // once
};

class OutlookDouble : public testing::TestWithParam<Place> {
 protected:
  OutlookDouble() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (GetParam() == Place::kHere) {
      here_ = std::make_unique<ClassObjects>();
      EXPECT_TRUE(here_->complete());
    } else {
      server_ = std::make_unique<DoubleServer>();
    }
    control_ = make(kControl);
    tell("reset");
  }
  ~OutlookDouble() override {
    control_ = {};
    here_.reset();
    server_.reset();
    CoUninitialize();
  }

  ComRef<IDispatch> make(std::string_view progId) {
    return create(progId, GetParam() == Place::kHere ? CLSCTX_INPROC_SERVER : CLSCTX_LOCAL_SERVER);
  }
  std::string tell(const std::string& command) {
    return outlook_double::tell(*control_.get(), command);
  }
  CommandLine answer(const std::string& command) { return CommandLine(tell(command)); }
  ComRef<IDispatch> application() { return make("outlook.application"); }
  ComRef<IDispatch> mapi() {
    return objectOf(call(*application().get(), "GetNamespace", with(Value::text("MAPI"))));
  }
  ComRef<IDispatch> items() {
    const auto inbox = objectOf(call(*mapi().get(), "GetDefaultFolder", with(Value::number(6))));
    return objectOf(get(*inbox.get(), "Items"));
  }
  ComRef<IDispatch> first() {
    return objectOf(get(*items().get(), "Item", with(Value::number(1))));
  }
  ComRef<IDispatch> sync() {
    const auto objects = objectOf(get(*mapi().get(), "SyncObjects"));
    return objectOf(get(*objects.get(), "Item", with(Value::number(1))));
  }
  // The answer of a call that fails.
  template <class Work>
  CallFailed failure(Work work) {
    try {
      work();
    } catch (const CallFailed& failed) {
      return failed;
    }
    ADD_FAILURE() << "the call did not fail";
    return {};
  }
  static std::string className(IDispatch& object) {
    ComRef<ITypeInfo> info;
    BSTR name = nullptr;
    if (FAILED(object.GetTypeInfo(0, LOCALE_USER_DEFAULT, info.out())) ||
        FAILED(info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr))) {
      return {};
    }
    const auto text = toUtf8(name);
    SysFreeString(name);
    return text;
  }
  std::size_t count(const std::string& call) {
    const std::string all = tell("counts");
    const auto line = all.find("call=" + call + "\t");
    return line == std::string::npos ? 0 : std::stoul(all.substr(all.find("count=", line) + 6));
  }

  ComRef<IDispatch> control_;

 private:
  std::unique_ptr<ClassObjects> here_;
  std::unique_ptr<DoubleServer> server_;
};

TEST_P(OutlookDouble, FiltersTheInboxAndTellsAnItem) {
  tell("deliver\tsubject=Grüße\tbody=Zeile%0Azwei\tunread=0");
  tell("deliver\tsubject=new\tsender=Wren\taddress=wren@writer.example");
  const auto unread =
      objectOf(call(*items().get(), "restrict", with(Value::text("[Unread]=true"))));
  EXPECT_EQ(get(*unread.get(), "COUNT").variant().lVal, 1);
  const auto item = objectOf(get(*unread.get(), "Item", with(Value::number(1))));
  EXPECT_EQ(textOf(get(*item.get(), "Subject")), "new");
  EXPECT_EQ(textOf(get(*item.get(), "Fields", with(Value::number(0x0C1F001E)))),
            "wren@writer.example");
  EXPECT_EQ(textOf(get(*first().get(), "Subject")), "Grüße");
  EXPECT_EQ(textOf(get(*first().get(), "Body")), "Zeile\nzwei");
}

TEST_P(OutlookDouble, TheDefaultMemberTakesTheIndexAlsoThroughTheProperty) {
  tell("deliver\tsubject=one");
  tell("deliver\tsubject=two");
  const WORD read = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  const auto second = objectOf(invoke(*items().get(), DISPID_VALUE, read, with(Value::number(2))));
  EXPECT_EQ(textOf(get(*second.get(), "Subject")), "two");
  const auto inbox = objectOf(call(*mapi().get(), "GetDefaultFolder", with(Value::number(6))));
  const auto again =
      objectOf(invoke(*inbox.get(), idOf(*inbox.get(), "Items"), read, with(Value::number(2))));
  EXPECT_EQ(textOf(get(*again.get(), "Subject")), "two");
}

TEST_P(OutlookDouble, AnswersToTheKindOfCallThatAMemberIs) {
  tell("deliver\tsubject=one");
  const auto item = first();
  EXPECT_EQ(failure([&] { get(*item.get(), "Forward"); }).code, DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(failure([&] { call(*item.get(), "Subject"); }).code, DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(failure([&] { put(*item.get(), "EntryID", Value::text("x")); }).code,
            DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(failure([&] { get(*item.get(), "Nothing"); }).code, DISP_E_UNKNOWNNAME);
  EXPECT_EQ(failure([&] { call(*item.get(), "GetAssociatedTask"); }).code, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(failure([&] { get(*item.get(), "Fields", with(Value::text("no number"))); }).code,
            DISP_E_TYPEMISMATCH);
}

TEST_P(OutlookDouble, TellsClassNamesAsItIsSetTo) {
  tell("deliver\tkind=TaskRequestItem");
  EXPECT_EQ(className(*first().get()), "_TaskRequestItem");
  EXPECT_EQ(className(*make("redemption.SafeMailItem").get()), "_SafeMailItem");
  tell("show\ttypes=none");
  EXPECT_EQ(className(*first().get()), "");
}

TEST_P(OutlookDouble, NamesTheDateOfAChangeAsItIsSetTo) {
  tell("deliver\tmodified=1795184645000000");
  EXPECT_EQ(failure([&] { get(*first().get(), "LastModificationDate"); }).code, DISP_E_UNKNOWNNAME);
  EXPECT_EQ(get(*first().get(), "LastModificationTime").variant().vt, VT_DATE);
  tell("show\tdates=date");
  EXPECT_EQ(failure([&] { get(*first().get(), "LastModificationTime"); }).code, DISP_E_UNKNOWNNAME);
  const Value date = get(*first().get(), "LastModificationDate");
  SYSTEMTIME time{};
  ASSERT_TRUE(VariantTimeToSystemTime(date.variant().date, &time));
  EXPECT_EQ(time.wYear, 2026);
  EXPECT_EQ(time.wSecond, 5);
}

TEST_P(OutlookDouble, ADateThatIsNotKnownIsTheFirstOfJanuary4501) {
  tell("deliver");
  EXPECT_EQ(get(*first().get(), "ReceivedTime").variant().date, 949998.0);
}

TEST_P(OutlookDouble, SendsThroughASafeItem) {
  tell("deliver\tsubject=tea\tbody=five\tfile=a.txt:abc");
  const auto forward = objectOf(call(*first().get(), "Forward"));
  const auto safe = make("redemption.SafeMailItem");
  invoke(*safe.get(), idOf(*safe.get(), "Item"), DISPATCH_PROPERTYPUTREF,
         with(Value::object(forward)));
  const auto recipients = objectOf(get(*safe.get(), "Recipients"));
  const auto added = objectOf(call(*recipients.get(), "Add", with(Value::text("ann@example.org"))));
  put(*added.get(), "Type", Value::number(3));
  EXPECT_NE(call(*recipients.get(), "ResolveAll").variant().boolVal, VARIANT_FALSE);
  call(*safe.get(), "send");
  const auto sent = answer("sent");
  EXPECT_EQ(sent.value("subject"), "FW: tea");
  EXPECT_EQ(sent.value("recipient"), "3:ann@example.org");
  EXPECT_EQ(sent.value("file"), "a.txt:abc");
}

TEST_P(OutlookDouble, ASafeItemWithoutItsItemRaisesAnErrorWithSourceAndText) {
  const auto failed = failure([&] { get(*make("redemption.SafeMailItem").get(), "Body"); });
  EXPECT_EQ(failed.code, DISP_E_EXCEPTION);
  EXPECT_EQ(failed.scode, E_FAIL);
  EXPECT_EQ(failed.source, "Safe-item library");
  EXPECT_EQ(failed.text, "No item has been set.");
}

TEST_P(OutlookDouble, TakesTheApplicationsSessionAndNoOther) {
  const auto session = objectOf(get(*application().get(), "Session"));
  const auto library = make("Redemption.RDOSession");
  put(*library.get(), "MAPIOBJECT", get(*session.get(), "MAPIOBJECT"));
  EXPECT_EQ(answer("state").value("sessions"), "1");
  EXPECT_EQ(failure([&] { put(*library.get(), "MAPIOBJECT", Value::object(application())); }).code,
            DISP_E_EXCEPTION);
}

TEST_P(OutlookDouble, RaisesAndRefusesAsPlannedAndAsOftenAsPlanned) {
  tell("deliver\tsubject=one");
  const auto item = first();
  tell("raise\tcall=mailitem.subject\tcode=8004010F\ttext=Not found\tsource=Here\ttimes=1");
  const auto failed = failure([&] { get(*item.get(), "Subject"); });
  EXPECT_EQ(failed.scode, static_cast<HRESULT>(0x8004010F));
  EXPECT_EQ(failed.text, "Not found");
  EXPECT_EQ(failed.source, "Here");
  EXPECT_EQ(textOf(get(*item.get(), "Subject")), "one");
  tell("return\tcall=MailItem.UnRead=\tcode=8001010A\ttimes=2");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(failure([&] { put(*item.get(), "UnRead", Value::boolean(false)); }).code, kBusy);
  }
  EXPECT_NO_THROW(put(*item.get(), "UnRead", Value::boolean(false)));
}

TEST_P(OutlookDouble, AMissingComponentIsNotRegistered) {
  tell("missing\tcomponent=redemption.mapiutils");
  EXPECT_EQ(failure([&] { make("Redemption.MAPIUtils"); }).code, REGDB_E_CLASSNOTREG);
  EXPECT_TRUE(make("Redemption.RDOSession"));
  tell("calm");
  EXPECT_TRUE(make("Redemption.MAPIUtils"));
}

TEST_P(OutlookDouble, CountsCallsByMember) {
  tell("deliver");
  tell("counts\tclear=1");
  const auto item = first();
  get(*item.get(), "UnRead");
  get(*item.get(), "UnRead");
  put(*item.get(), "UnRead", Value::boolean(false));
  EXPECT_EQ(count("MailItem.UnRead"), 2u);
  EXPECT_EQ(count("MailItem.UnRead="), 1u);
  EXPECT_EQ(count("Items.Item"), 1u);
  EXPECT_EQ(count("create outlook.application"), 1u);
}

TEST_P(OutlookDouble, TellsTheStartOfASynchronisationInsideTheCallAndItsEndLater) {
  tell("syncs\tend=told");
  const auto object = sync();
  ComRef<IConnectionPointContainer> container;
  ASSERT_EQ(object->QueryInterface(IID_IConnectionPointContainer, container.outVoid()), S_OK);
  ComRef<IEnumConnectionPoints> points;
  ASSERT_EQ(container->EnumConnectionPoints(points.out()), S_OK);
  ComRef<IConnectionPoint> point;
  ULONG got = 0;
  ASSERT_EQ(points->Next(1, point.out(), &got), S_OK);
  IID iid{};
  ASSERT_EQ(point->GetConnectionInterface(&iid), S_OK);
  EXPECT_TRUE(IsEqualIID(iid, kSyncEvents));
  Sink sink;
  DWORD cookie = 0;
  ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
  call(*object.get(), "Start");
  EXPECT_EQ(sink.told, std::vector<DISPID>{kSyncStartEvent});
  tell("end");
  for (int waits = 0; waits < 200 && sink.told.size() < 2; ++waits) {
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
    serveMessages();
  }
  EXPECT_EQ(sink.told, (std::vector<DISPID>{kSyncStartEvent, kSyncEndEvent}));
  EXPECT_EQ(point->Unadvise(cookie), S_OK);
  EXPECT_EQ(point->Unadvise(cookie), static_cast<HRESULT>(0x80040200));
}

TEST_P(OutlookDouble, ASynchronisationThatIsStartedByTheEndOfAnotherIsNotCountedAsEnded) {
  tell("syncs\tend=told");
  const auto object = sync();
  ComRef<IConnectionPointContainer> container;
  ASSERT_EQ(object->QueryInterface(IID_IConnectionPointContainer, container.outVoid()), S_OK);
  ComRef<IConnectionPoint> point;
  ASSERT_EQ(container->FindConnectionPoint(kSyncEvents, point.out()), S_OK);
  Sink sink;
  sink.atEnd = [&] { call(*object.get(), "Start"); };
  DWORD cookie = 0;
  ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
  call(*object.get(), "Start");
  tell("end");
  for (int waits = 0; waits < 200 && sink.told.size() < 3; ++waits) {
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
    serveMessages();
  }
  EXPECT_EQ(sink.told, (std::vector<DISPID>{kSyncStartEvent, kSyncEndEvent, kSyncStartEvent}));
  EXPECT_EQ(answer("state").value("running"), "1");
  EXPECT_EQ(point->Unadvise(cookie), S_OK);
}

TEST_P(OutlookDouble, NamesItsEventsInItsTypeInformation) {
  ComRef<ITypeInfo> info;
  ASSERT_EQ(sync()->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.out()), S_OK);
  ComRef<ITypeLib> library;
  UINT index = 0;
  ASSERT_EQ(info->GetContainingTypeLib(library.out(), &index), S_OK);
  ComRef<ITypeInfo> events;
  ASSERT_EQ(library->GetTypeInfoOfGuid(kSyncEvents, events.out()), S_OK);
  // ITypeInfo::GetIDsOfNames does not leave its process; the names of an identifier do.
  for (const auto& [name, id] :
       {std::pair("SyncEnd", kSyncEndEvent), std::pair("SyncStart", kSyncStartEvent)}) {
    BSTR found = nullptr;
    UINT count = 0;
    EXPECT_EQ(events->GetNames(id, &found, 1, &count), S_OK);
    EXPECT_EQ(toUtf8(found), name);
    SysFreeString(found);
  }
}

TEST_P(OutlookDouble, AnApplicationThatEndsInTheMiddleOfACallIsLost) {
  tell("deliver\tsubject=one");
  const auto held = application();
  const auto item = first();
  tell("die\tcall=MailItem.Subject\tskip=1");
  EXPECT_EQ(textOf(get(*item.get(), "Subject")), "one");
  const auto id = idOf(*item.get(), "Subject");
  EXPECT_EQ(failure([&] { invoke(*item.get(), id, DISPATCH_PROPERTYGET); }).code, kCallFailed);
  EXPECT_EQ(failure([&] { get(*held.get(), "Version"); }).code, kServerUnavailable);
  const auto next = application();
  EXPECT_EQ(textOf(get(*next.get(), "Version")), "16.0.0.1");
}

TEST(OutlookDoubleClasses, CanBeRegisteredAfterATestThatWasStoppedWithItsKeysOfTheSession) {
  ASSERT_TRUE(registerClasses(ServerKind::kProgram, L"stopped.exe", false));
  EXPECT_TRUE(registerClasses(ServerKind::kLibrary, L"next.dll"));
  unregisterClasses();
}

TEST(OutlookDoubleStubs, StandForEveryInterfaceThatLeavesItsProcess) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  EXPECT_TRUE(LastingStubs().complete());
  CoUninitialize();
}

INSTANTIATE_TEST_SUITE_P(Places, OutlookDouble, testing::Values(Place::kHere, Place::kElsewhere),
                         [](const auto& one) {
                           return one.param == Place::kHere ? "InThisProcess" : "InItsOwn";
                         });

}  // namespace
}  // namespace relaybird::outlook_double
