// SPDX-License-Identifier: MIT
// Events come as calls of a sink, by number. The number of SyncEnd is looked up in the type
// information of the object's event interface; where there is none, the documented number is used.
#include "stores/outlook/sync_events.h"

#include <atomic>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/mail_store.h"

namespace relaybird::outlook {
namespace {

// The event's number in the mail application's documentation of its events.
constexpr DISPID kDocumentedSyncEnd = 0xF004;

// COM counts its references; the mail application may keep it longer than the listener lives.
class Sink : public IDispatch {
 public:
  Sink(IID events, DISPID syncEnd, std::function<void()> ended)
      : events_(events), syncEnd_(syncEnd), ended_(std::move(ended)) {}

  STDMETHODIMP QueryInterface(REFIID identifier, void** out) override {
    if (identifier != IID_IUnknown && identifier != IID_IDispatch && identifier != events_) {
      *out = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    *out = static_cast<IDispatch*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    if (member == syncEnd_) {
      ended_();
    }
    return S_OK;
  }

 private:
  virtual ~Sink() = default;

  const IID events_;
  const DISPID syncEnd_;
  const std::function<void()> ended_;
  std::atomic<ULONG> references_{0};
};

// The number of SyncEnd in an event interface, by the library that describes the object.
std::optional<DISPID> numberIn(Server& server, IDispatch& sync, REFIID events) {
  const auto works = [&server](std::string_view step, const std::function<HRESULT()>& attempt) {
    return SUCCEEDED(server.ask(step, attempt));
  };
  ComPtr<ITypeInfo> type;
  ComPtr<ITypeLib> library;
  UINT place = 0;
  ComPtr<ITypeInfo> eventType;
  if (!works("GetTypeInfo", [&] { return sync.GetTypeInfo(0, LOCALE_USER_DEFAULT, type.out()); }) ||
      !type ||
      !works("GetContainingTypeLib",
             [&] { return type->GetContainingTypeLib(library.out(), &place); }) ||
      !library ||
      !works("GetTypeInfoOfGuid",
             [&] { return library->GetTypeInfoOfGuid(events, eventType.out()); }) ||
      !eventType) {
    return std::nullopt;
  }
  wchar_t name[] = L"SyncEnd";
  LPOLESTR names[] = {name};
  MEMBERID number = MEMBERID_NIL;
  if (!works("GetIDsOfNames", [&] { return eventType->GetIDsOfNames(names, 1, &number); })) {
    return std::nullopt;
  }
  return number;
}

std::vector<ComPtr<IConnectionPoint>> connectionPoints(Server& server, IDispatch& sync) {
  std::vector<ComPtr<IConnectionPoint>> points;
  const auto container =
      server.interfaceOf<IConnectionPointContainer>(sync, IID_IConnectionPointContainer);
  ComPtr<IEnumConnectionPoints> all;
  if (!container ||
      FAILED(server.ask("EnumConnectionPoints",
                        [&] { return container->EnumConnectionPoints(all.out()); })) ||
      !all) {
    return points;
  }
  ComPtr<IConnectionPoint> point;
  while (server.ask("Next", [&] { return all->Next(1, point.out(), nullptr); }) == S_OK && point) {
    points.push_back(point);
  }
  return points;
}

}  // namespace

SyncEvents::SyncEvents(const Object& sync, std::function<void()> ended)
    : server_(sync.sharedServer()) {
  server_->requireAlive();
  IID events{};
  std::optional<DISPID> number;
  for (const auto& point : connectionPoints(*server_, *sync.dispatch())) {
    IID offered{};
    if (FAILED(server_->ask("GetConnectionInterface",
                            [&] { return point->GetConnectionInterface(&offered); }))) {
      continue;
    }
    const auto found = numberIn(*server_, *sync.dispatch(), offered);
    // The first one, or the one that is known to have the event.
    if (!point_ || (found && !number)) {
      point_ = point;
      events = offered;
      number = found;
    }
  }
  if (!point_) {
    throw MailStoreError("The mail application does not tell when a synchronisation ends");
  }
  const ComPtr<Sink> sink(new Sink(events, number.value_or(kDocumentedSyncEnd), std::move(ended)));
  const HRESULT result = server_->call([&] { return point_->Advise(sink.get(), &cookie_); });
  if (FAILED(result)) {
    server_->fail(result, "SyncEnd");
  }
}

SyncEvents::~SyncEvents() {
  // An application that has gone would be waited for. One that is busy is not: an event that still
  // comes reaches a sink that posts for nobody.
  if (server_->gone()) {
    return;
  }
  if (const HRESULT result = point_->Unadvise(cookie_); meansGone(result)) {
    server_->lose(result);
  }
}

}  // namespace relaybird::outlook
