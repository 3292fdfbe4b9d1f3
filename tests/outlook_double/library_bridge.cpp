// SPDX-License-Identifier: MIT
#include "outlook_double/library_bridge.h"

#include <oaidl.h>
#include <objbase.h>
#include <oleauto.h>

#include <algorithm>

#include "outlook_double/class_objects.h"
#include "outlook_double/counted_object.h"
#include "outlook_double/type_names.h"
#include "platform/text/ascii_text.h"

namespace relaybird::outlook_double {

namespace {

long living = 0;

// An object that keeps the library loaded.
template <class Interface>
class Living : public CountedObject<Interface> {
 public:
  Living() { ++living; }

 protected:
  ~Living() override { --living; }
};

bool isOfLibrary(const DoubleClass& one) {
  return asciiLower(one.progId).starts_with("redemption.");
}

// A library has no calls between processes of its own, and so none of their errors.
bool isOfTransport(HRESULT result) {
  return HRESULT_FACILITY(result) == FACILITY_WIN32 || HRESULT_FACILITY(result) == FACILITY_RPC;
}

HRESULT raiseNoAnswer(EXCEPINFO* exception) {
  if (exception != nullptr) {
    *exception = {};
    exception->scode = E_FAIL;
    exception->bstrSource = SysAllocString(L"Safe-item library");
    exception->bstrDescription = SysAllocString(L"The mailbox does not answer");
  }
  return DISP_E_EXCEPTION;
}

class Bridge : public Living<IDispatch> {
 public:
  // `className` is empty for what an object of the library gave.
  Bridge(ComRef<IDispatch> distant, std::string className)
      : distant_(std::move(distant)), className_(std::move(className)) {}

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override {
    if (className_.empty()) {
      return distant_->GetTypeInfo(index, locale, info);
    }
    *info = interfaceInfo("_" + className_).release();
    return *info != nullptr ? S_OK : TYPE_E_LIBNOTREGISTERED;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) override {
    return distant_->GetIDsOfNames(iid, names, count, locale, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* wrong) override {
    const HRESULT code =
        distant_->Invoke(id, iid, locale, flags, parameters, result, exception, wrong);
    if (FAILED(code) && isOfTransport(code)) {
      return raiseNoAnswer(exception);
    }
    if (SUCCEEDED(code) && result != nullptr && result->vt == VT_DISPATCH &&
        result->pdispVal != nullptr) {
      result->pdispVal = new Bridge(ComRef<IDispatch>(result->pdispVal), {});
    }
    return code;
  }

 private:
  const ComRef<IDispatch> distant_;
  const std::string className_;
};

class BridgeFactory : public Living<IClassFactory> {
 public:
  explicit BridgeFactory(const DoubleClass& one) : class_(one) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    ComRef<IDispatch> distant;
    const HRESULT result = CoCreateInstance(class_.clsid, nullptr, CLSCTX_LOCAL_SERVER,
                                            IID_IDispatch, distant.outVoid());
    if (FAILED(result)) {
      return isOfTransport(result) ? E_FAIL : result;
    }
    const auto name = class_.progId.substr(class_.progId.find('.') + 1);
    const ComRef<IDispatch> made(new Bridge(std::move(distant), std::string(name)));
    return made->QueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    living += lock ? 1 : -1;
    return S_OK;
  }

 private:
  const DoubleClass& class_;
};

}  // namespace

bool registerLibrary(const std::wstring& file, bool lasting) {
  const auto& all = doubleClasses();
  return std::all_of(all.begin(), all.end(), [&](const DoubleClass& one) {
    return !isOfLibrary(one) || addServer(one, ServerKind::kLibrary, file, lasting);
  });
}

ComRef<IClassFactory> bridgeOf(REFCLSID clsid) {
  for (const auto& one : doubleClasses()) {
    if (one.clsid == clsid && isOfLibrary(one) && hasServer(one, ServerKind::kProgram)) {
      return ComRef<IClassFactory>(new BridgeFactory(one));
    }
  }
  return {};
}

long liveBridges() {
  return living;
}

}  // namespace relaybird::outlook_double
