// SPDX-License-Identifier: MIT
// The events of a synchronisation object of the test's own, which has two event interfaces and
// numbers its events as it likes.
#include "stores/outlook/sync_events.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fake_dispatch.h"
#include "mail/mail_store.h"

namespace relaybird::outlook {
namespace {

constexpr IID kOtherEvents = {0x11111111, 0, 0, {1, 1, 1, 1, 1, 1, 1, 1}};
constexpr IID kSyncEvents = {0x22222222, 0, 0, {2, 2, 2, 2, 2, 2, 2, 2}};
constexpr DISPID kOwnNumber = 77;
constexpr DISPID kDocumentedNumber = 0xF004;

// Lives in the test, which counts no references.
class FakePoint : public IConnectionPoint {
 public:
  explicit FakePoint(IID events) : events_(events) {}

  ComPtr<IDispatch> sink;
  int unadvised = 0;

  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetConnectionInterface(IID* events) override {
    *events = events_;
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Advise(IUnknown* listener, DWORD* cookie) override {
    sink = ComPtr<IUnknown>(listener).as<IDispatch>(events_);
    *cookie = 5;
    return sink ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    unadvised += cookie == 5 ? 1 : 0;
    sink = {};
    return S_OK;
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  const IID events_;
};

class FakeSync : public FakeDispatch, public IConnectionPointContainer, IEnumConnectionPoints {
 public:
  std::vector<FakePoint*> points;
  ComPtr<ITypeInfo> type;

  STDMETHODIMP QueryInterface(REFIID identifier, void** out) override {
    if (identifier == IID_IConnectionPointContainer) {
      *out = static_cast<IConnectionPointContainer*>(this);
      AddRef();
      return S_OK;
    }
    return FakeDispatch::QueryInterface(identifier, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return FakeDispatch::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return FakeDispatch::Release(); }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** out) override {
    if (!type) {
      return E_NOTIMPL;
    }
    *out = type.get();
    type->AddRef();
    return S_OK;
  }
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** out) override {
    next_ = 0;
    *out = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP FindConnectionPoint(REFIID, IConnectionPoint**) override { return E_NOTIMPL; }
  STDMETHODIMP Next(ULONG, IConnectionPoint** out, ULONG*) override {
    if (next_ == points.size()) {
      return S_FALSE;
    }
    *out = points[next_++];
    return S_OK;
  }
  STDMETHODIMP Skip(ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Reset() override { return E_NOTIMPL; }
  STDMETHODIMP Clone(IEnumConnectionPoints**) override { return E_NOTIMPL; }

 private:
  std::size_t next_ = 0;
};

void addInterface(ICreateTypeLib2& library, const wchar_t* name, REFGUID identifier,
                  const wchar_t* event, DISPID number, ComPtr<ITypeInfo>& made) {
  ComPtr<ICreateTypeInfo> info;
  std::wstring writable(name);
  ASSERT_EQ(library.CreateTypeInfo(writable.data(), TKIND_DISPATCH, info.out()), S_OK);
  info->SetGuid(identifier);
  if (event != nullptr) {
    FUNCDESC function{};
    function.memid = number;
    function.funckind = FUNC_DISPATCH;
    function.invkind = INVOKE_FUNC;
    function.callconv = CC_STDCALL;
    function.elemdescFunc.tdesc.vt = VT_VOID;
    std::wstring eventName(event);
    LPOLESTR names[] = {eventName.data()};
    ASSERT_EQ(info->AddFuncDesc(0, &function), S_OK);
    ASSERT_EQ(info->SetFuncAndParamNames(0, names, 1), S_OK);
  }
  info->LayOut();
  made = info.as<ITypeInfo>(IID_ITypeInfo);
}

class SyncEventsTest : public testing::Test {
 protected:
  void describeEvents() {
    ComPtr<ITypeInfo> unused;
    ASSERT_EQ(CreateTypeLib2(SYS_WIN64, L"sync_events_test.tlb", library.out()), S_OK);
    addInterface(*library.get(), L"OtherEvents", kOtherEvents, L"Other", kOwnNumber, unused);
    addInterface(*library.get(), L"SyncObjectEvents", kSyncEvents, L"SyncEnd", kOwnNumber, unused);
    addInterface(*library.get(), L"_SyncObject", {0x33333333, 0, 0, {}}, nullptr, 0, sync.type);
  }
  Object object() { return {sync.pointer(), server}; }
  static void fire(FakePoint& point, DISPID number) {
    ASSERT_TRUE(point.sink);
    DISPPARAMS none{};
    EXPECT_EQ(point.sink->Invoke(number, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none,
                                 nullptr, nullptr, nullptr),
              S_OK);
  }

  std::shared_ptr<Server> server = std::make_shared<Server>([](std::chrono::milliseconds) {});
  ComPtr<ICreateTypeLib2> library;
  FakePoint other{kOtherEvents};
  FakePoint own{kSyncEvents};
  FakeSync sync;
  int ends = 0;
};

TEST_F(SyncEventsTest, TheEventIsFoundByItsNameAmongSeveralInterfaces) {
  describeEvents();
  sync.points = {&other, &own};
  const SyncEvents events(object(), [this] { ++ends; });
  EXPECT_FALSE(other.sink);
  fire(own, kDocumentedNumber);
  EXPECT_EQ(ends, 0);
  fire(own, kOwnNumber);
  EXPECT_EQ(ends, 1);
}

TEST_F(SyncEventsTest, WithoutADescriptionTheDocumentedNumberIsTaken) {
  sync.points = {&own};
  const SyncEvents events(object(), [this] { ++ends; });
  fire(own, kOwnNumber);
  EXPECT_EQ(ends, 0);
  fire(own, kDocumentedNumber);
  EXPECT_EQ(ends, 1);
}

TEST_F(SyncEventsTest, TheSinkAnswersItsOwnInterfacesAlone) {
  sync.points = {&own};
  const SyncEvents events(object(), [] {});
  EXPECT_TRUE(own.sink.as<IUnknown>(IID_IUnknown));
  EXPECT_TRUE(own.sink.as<IDispatch>(IID_IDispatch));
  EXPECT_TRUE(own.sink.as<IDispatch>(kSyncEvents));
  EXPECT_FALSE(own.sink.as<IDispatch>(kOtherEvents));
}

TEST_F(SyncEventsTest, ListeningEndsWithTheListenerButAnApplicationThatHasGoneIsNotCalled) {
  sync.points = {&own};
  {
    const SyncEvents events(object(), [] {});
  }
  EXPECT_EQ(own.unadvised, 1);
  {
    const SyncEvents events(object(), [] {});
    server->lose(RPC_E_SERVER_DIED);
  }
  EXPECT_EQ(own.unadvised, 1);
  EXPECT_EQ(sync.references(), 1u);
}

TEST_F(SyncEventsTest, AnObjectWithoutEventsIsAnError) {
  EXPECT_THROW(SyncEvents(object(), [] {}), MailStoreError);
}

}  // namespace
}  // namespace relaybird::outlook
