// SPDX-License-Identifier: MIT
// The events of a synchronisation object of the test's own, which has two event interfaces and
// numbers its events as it likes.
#include "stores/outlook/sync_events.h"

#include <gmock/gmock.h>
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

// What one of the steps to an event answers in place of doing it. The fakes ask for it by the name
// of the call.
struct Refusal {
  std::string step;
  HRESULT result = S_OK;
  int times = 0;

  HRESULT at(const char* name) {
    if (step != name || times == 0) {
      return S_OK;
    }
    --times;
    return result;
  }
};

// Lives in the test, which counts no references.
class FakePoint : public IConnectionPoint {
 public:
  explicit FakePoint(IID events, Refusal* refusal = nullptr) : events_(events), refusal_(refusal) {}

  ComPtr<IDispatch> sink;
  int unadvised = 0;

  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetConnectionInterface(IID* events) override {
    if (const HRESULT refused = at("GetConnectionInterface"); FAILED(refused)) {
      return refused;
    }
    *events = events_;
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Advise(IUnknown* listener, DWORD* cookie) override {
    if (const HRESULT refused = at("Advise"); FAILED(refused)) {
      return refused;
    }
    sink = ComPtr<IUnknown>(listener).as<IDispatch>(events_);
    *cookie = 5;
    return sink ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    unadvised += cookie == 5 ? 1 : 0;
    if (const HRESULT refused = at("Unadvise"); FAILED(refused)) {
      return refused;
    }
    sink = {};
    return S_OK;
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  HRESULT at(const char* name) { return refusal_ == nullptr ? S_OK : refusal_->at(name); }

  const IID events_;
  Refusal* refusal_;
};

// The description of the events: type information, its library, the interface of the events. All
// live in the test.
class FakeEventType : public FakeType {
 public:
  explicit FakeEventType(Refusal& refusal) : FakeType("SyncObjectEvents"), refusal_(refusal) {}

  STDMETHODIMP GetIDsOfNames(LPOLESTR* names, UINT, MEMBERID* number) override {
    if (const HRESULT refused = refusal_.at("GetIDsOfNames"); FAILED(refused)) {
      return refused;
    }
    *number = kOwnNumber;
    return std::wstring(names[0]) == L"SyncEnd" ? S_OK : DISP_E_UNKNOWNNAME;
  }

 private:
  Refusal& refusal_;
};

class FakeLibrary : public ITypeLib {
 public:
  FakeLibrary(Refusal& refusal, FakeEventType& events) : refusal_(refusal), events_(events) {}

  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetTypeInfoOfGuid(REFGUID events, ITypeInfo** out) override {
    if (const HRESULT refused = refusal_.at("GetTypeInfoOfGuid"); FAILED(refused)) {
      return refused;
    }
    if (events != kSyncEvents) {
      return TYPE_E_ELEMENTNOTFOUND;
    }
    *out = &events_;
    events_.AddRef();
    return S_OK;
  }
  STDMETHODIMP_(UINT) GetTypeInfoCount() override { return 0; }
  STDMETHODIMP GetTypeInfo(UINT, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfoType(UINT, TYPEKIND*) override { return E_NOTIMPL; }
  STDMETHODIMP GetLibAttr(TLIBATTR**) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
  STDMETHODIMP GetDocumentation(INT, BSTR*, BSTR*, DWORD*, BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP IsName(LPOLESTR, ULONG, BOOL*) override { return E_NOTIMPL; }
  STDMETHODIMP FindName(LPOLESTR, ULONG, ITypeInfo**, MEMBERID*, USHORT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP_(void) ReleaseTLibAttr(TLIBATTR*) override {}

 private:
  Refusal& refusal_;
  FakeEventType& events_;
};

class FakeObjectType : public FakeType {
 public:
  FakeObjectType(Refusal& refusal, FakeLibrary& library)
      : FakeType("_SyncObject"), refusal_(refusal), library_(library) {}

  STDMETHODIMP GetContainingTypeLib(ITypeLib** out, UINT* place) override {
    if (const HRESULT refused = refusal_.at("GetContainingTypeLib"); FAILED(refused)) {
      return refused;
    }
    *out = &library_;
    *place = 0;
    return S_OK;
  }

 private:
  Refusal& refusal_;
  FakeLibrary& library_;
};

class FakeSync : public FakeDispatch, public IConnectionPointContainer, IEnumConnectionPoints {
 public:
  explicit FakeSync(Refusal& refusal) : refusal_(refusal) {}

  std::vector<FakePoint*> points;
  ComPtr<ITypeInfo> type;

  STDMETHODIMP QueryInterface(REFIID identifier, void** out) override {
    if (identifier == IID_IConnectionPointContainer) {
      *out = nullptr;
      if (const HRESULT refused = refusal_.at("QueryInterface"); FAILED(refused)) {
        return refused;
      }
      *out = static_cast<IConnectionPointContainer*>(this);
      AddRef();
      return S_OK;
    }
    return FakeDispatch::QueryInterface(identifier, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return FakeDispatch::AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return FakeDispatch::Release(); }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** out) override {
    if (const HRESULT refused = refusal_.at("GetTypeInfo"); FAILED(refused)) {
      return refused;
    }
    if (!type) {
      return E_NOTIMPL;
    }
    *out = type.get();
    type->AddRef();
    return S_OK;
  }
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** out) override {
    if (const HRESULT refused = refusal_.at("EnumConnectionPoints"); FAILED(refused)) {
      return refused;
    }
    next_ = 0;
    *out = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP FindConnectionPoint(REFIID, IConnectionPoint**) override { return E_NOTIMPL; }
  STDMETHODIMP Next(ULONG, IConnectionPoint** out, ULONG*) override {
    if (const HRESULT refused = refusal_.at("Next"); FAILED(refused)) {
      return refused;
    }
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
  Refusal& refusal_;
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

  int pauses = 0;
  std::shared_ptr<Server> server =
      std::make_shared<Server>([this](std::chrono::milliseconds) { ++pauses; });
  Refusal refusal;
  ComPtr<ICreateTypeLib2> library;
  FakePoint other{kOtherEvents, &refusal};
  FakePoint own{kSyncEvents, &refusal};
  FakeSync sync{refusal};
  int ends = 0;
};

// Every step from the object to its event.
class SyncEventsStep : public SyncEventsTest, public testing::WithParamInterface<const char*> {
 protected:
  SyncEventsStep() {
    sync.type = ComPtr<ITypeInfo>(&objectType_);
    sync.points = {&own};
  }
  ~SyncEventsStep() override { sync.type = {}; }
  void refuse(HRESULT result, int times) { refusal = {GetParam(), result, times}; }
  std::string errorOfListening() {
    try {
      const SyncEvents events(object(), [] {});
    } catch (const MailStoreError& error) {
      return error.what();
    }
    return {};
  }

 private:
  FakeEventType eventType_{refusal};
  FakeLibrary library_{refusal, eventType_};
  FakeObjectType objectType_{refusal, library_};
};

INSTANTIATE_TEST_SUITE_P(, SyncEventsStep,
                         testing::Values("QueryInterface", "EnumConnectionPoints", "Next",
                                         "GetConnectionInterface", "GetTypeInfo",
                                         "GetContainingTypeLib", "GetTypeInfoOfGuid",
                                         "GetIDsOfNames", "Advise"),
                         [](const auto& step) { return std::string(step.param); });

TEST_P(SyncEventsStep, ThatABusyApplicationRefusesIsMadeAgain) {
  refuse(RPC_E_SERVERCALL_RETRYLATER, 2);
  const SyncEvents events(object(), [this] { ++ends; });
  EXPECT_EQ(pauses, 2);
  fire(own, kOwnNumber);
  EXPECT_EQ(ends, 1) << "the event is found as if nothing had been";
}

TEST_P(SyncEventsStep, ThatIsRefusedForTooLongTellsThatTheApplicationIsBusy) {
  refuse(RPC_E_CALL_REJECTED, 1000);
  EXPECT_THAT(errorOfListening(), testing::HasSubstr("is busy"));
  EXPECT_GT(pauses, 0);
  EXPECT_FALSE(server->gone());
  EXPECT_FALSE(own.sink);
}

TEST_P(SyncEventsStep, DuringWhichTheApplicationEndsIsTheLastOne) {
  refuse(HRESULT_FROM_WIN32(RPC_S_CALL_FAILED), 1);
  EXPECT_THAT(errorOfListening(), testing::HasSubstr("ended during the call"));
  EXPECT_TRUE(server->gone());
  EXPECT_EQ(pauses, 0);
  EXPECT_FALSE(own.sink);
}

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

TEST_F(SyncEventsTest, AnApplicationThatEndsWhenListeningEndsIsRememberedAsGone) {
  sync.points = {&own};
  {
    const SyncEvents events(object(), [] {});
    refusal = {"Unadvise", HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE), 1};
  }
  EXPECT_TRUE(server->gone());
}

TEST_F(SyncEventsTest, ListeningEndsWithoutWaitingForAnApplicationThatIsBusy) {
  sync.points = {&own};
  {
    const SyncEvents events(object(), [] {});
    refusal = {"Unadvise", RPC_E_SERVERCALL_RETRYLATER, 1};
  }
  EXPECT_EQ(own.unadvised, 1);
  EXPECT_EQ(pauses, 0);
  EXPECT_FALSE(server->gone());
}

TEST_F(SyncEventsTest, AnObjectWithoutEventsIsAnError) {
  EXPECT_THROW(SyncEvents(object(), [] {}), MailStoreError);
}

}  // namespace
}  // namespace relaybird::outlook
