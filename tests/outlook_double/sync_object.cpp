// SPDX-License-Identifier: MIT
// The synchronisation object and its events, which go out over a connection point. SyncStart is
// told inside the call that starts the synchronisation, so that it reaches a client in the middle
// of its own call; SyncEnd comes later, from the events of this thread. What a client calls to
// listen is counted and planned as members are.
#include <windows.h>

#include <olectl.h>

#include <map>
#include <utility>

#include "outlook_double/counted_object.h"
#include "outlook_double/double_world.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {

namespace {

class EventSource : public SyncPoint, public std::enable_shared_from_this<EventSource> {
 public:
  explicit EventSource(std::shared_ptr<SyncObject> sync) : sync_(std::move(sync)) {}

  void listenForEnd() {
    sync_->onSyncEnd([held = weak_from_this()] {
      if (const auto self = held.lock()) {
        self->ended();
      }
    });
  }

  void start() override {
    sync_->Start();
    waiting_ = DoubleWorld::only().behaviour().startsJoin ? 1 : waiting_ + 1;
    fire(kSyncStartEvent);
    DoubleWorld::only().syncBegan();
  }

  void fire(SyncEvent event, std::int32_t code, const std::string& text) override {
    // A copy: a listener may leave meanwhile.
    const auto sinks = sinks_;
    for (const auto& [cookie, sink] : sinks) {
      if (isGone(tell(*sink.get(), event, code, text))) {
        sinks_.erase(cookie);
      }
    }
  }
  using SyncPoint::fire;
  void fire(SyncEvent event) { fire(event, 0, {}); }

  std::size_t listeners() const override { return sinks_.size(); }
  std::size_t waiting() const override { return waiting_ + telling_; }

  DWORD add(ComRef<IDispatch> sink) {
    sinks_.emplace(++lastCookie_, std::move(sink));
    return lastCookie_;
  }
  bool remove(DWORD cookie) { return sinks_.erase(cookie) > 0; }

 private:
  void ended() {
    // They wait until they are told. Telling serves other calls, which may start the next one.
    const auto ends = std::exchange(waiting_, 0);
    telling_ += ends;
    for (auto left = ends; left > 0; --left) {
      fire(kSyncEndEvent);
      --telling_;
    }
  }

  static HRESULT tell(IDispatch& sink, SyncEvent event, std::int32_t code,
                      const std::string& text) {
    Value arguments[] = {Value::text(text), Value::number(code)};
    VARIANTARG given[] = {arguments[0].variant(), arguments[1].variant()};
    DISPPARAMS parameters{given, nullptr, event == kErrorEvent ? 2U : 0U, 0};
    return sink.Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                       nullptr, nullptr);
  }
  static bool isGone(HRESULT result) {
    return result == RPC_E_DISCONNECTED || result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) ||
           result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED);
  }

  std::shared_ptr<SyncObject> sync_;
  std::map<DWORD, ComRef<IDispatch>> sinks_;
  DWORD lastCookie_ = 0;
  std::size_t waiting_ = 0;
  std::size_t telling_ = 0;
};

class ConnectionPoint : public CountedObject<IConnectionPoint> {
 public:
  ConnectionPoint(ComRef<IConnectionPointContainer> owner, std::shared_ptr<EventSource> source)
      : owner_(std::move(owner)), source_(std::move(source)) {}

  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
    return plannedStep("ConnectionPoint.GetConnectionInterface", [&] {
      *iid = kSyncEvents;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE
  GetConnectionPointContainer(IConnectionPointContainer** owner) override {
    *owner = ComRef(owner_).release();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
    return plannedStep("ConnectionPoint.Advise", [&] {
      ComRef<IDispatch> listener;
      // Of another process the event interface itself cannot be had without a registered type
      // library.
      if (FAILED(sink->QueryInterface(kSyncEvents, listener.outVoid())) &&
          FAILED(sink->QueryInterface(IID_IDispatch, listener.outVoid()))) {
        return CONNECT_E_CANNOTCONNECT;
      }
      *cookie = source_->add(std::move(listener));
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
    return source_->remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
  }
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  ComRef<IConnectionPointContainer> owner_;
  std::shared_ptr<EventSource> source_;
};

// Lists the one connection point.
class ConnectionPoints : public CountedObject<IEnumConnectionPoints> {
 public:
  ConnectionPoints(ComRef<IConnectionPoint> point, ULONG next)
      : point_(std::move(point)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG wanted, IConnectionPoint** points, ULONG* got) override {
    return plannedStep("EnumConnectionPoints.Next", [&] {
      const ULONG given = wanted > 0 && next_ == 0 ? 1 : 0;
      if (given == 1) {
        points[0] = ComRef(point_).release();
        ++next_;
      }
      if (got != nullptr) {
        *got = given;
      }
      return given == wanted ? S_OK : S_FALSE;
    });
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG wanted) override {
    const bool all = wanted <= 1 - next_;
    next_ = 1;
    return all ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** copy) override {
    *copy = new ConnectionPoints(point_, next_);
    return S_OK;
  }

 private:
  ComRef<IConnectionPoint> point_;
  ULONG next_;
};

class SyncObjectDouble : public DispatchObject, public IConnectionPointContainer {
 public:
  explicit SyncObjectDouble(std::shared_ptr<EventSource> source)
      : DispatchObject(members(), "SyncObject"), source_(std::move(source)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid != IID_IConnectionPointContainer) {
      return DispatchObject::QueryInterface(iid, object);
    }
    *object = nullptr;
    return plannedStep("SyncObject.QueryInterface",
                       [&] { return DispatchObject::QueryInterface(iid, object); });
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return DispatchObject::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return DispatchObject::Release(); }

  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override {
    *points = nullptr;
    return plannedStep("SyncObject.EnumConnectionPoints", [&] {
      *points = new ConnectionPoints(point(), 0);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** found) override {
    *found = iid == kSyncEvents ? point().release() : nullptr;
    return *found != nullptr ? S_OK : CONNECT_E_NOCONNECTION;
  }

 protected:
  IUnknown* further(REFIID iid) override {
    return iid == IID_IConnectionPointContainer ? static_cast<IConnectionPointContainer*>(this)
                                                : nullptr;
  }

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("SyncObject")
            .method("Start", 0, 0, on<SyncObjectDouble>([](auto& o, const Arguments&) {
                      o.source_->start();
                      return Value();
                    }));
    return table;
  }

  ComRef<IConnectionPoint> point() {
    return ComRef<IConnectionPoint>(
        new ConnectionPoint(shared(static_cast<IConnectionPointContainer*>(this)), source_));
  }

  std::shared_ptr<EventSource> source_;
};

}  // namespace

std::shared_ptr<SyncPoint> makeSyncPoint(const std::shared_ptr<SyncObject>& sync) {
  auto source = std::make_shared<EventSource>(sync);
  source->listenForEnd();
  return source;
}

ComRef<IDispatch> makeSyncObject(std::shared_ptr<SyncPoint> point) {
  return ComRef<IDispatch>(
      new SyncObjectDouble(std::static_pointer_cast<EventSource>(std::move(point))));
}

}  // namespace relaybird::outlook_double
