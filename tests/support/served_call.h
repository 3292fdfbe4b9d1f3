// SPDX-License-Identifier: MIT
// A call of another thread to an object of the test's thread, as the mail application calls the
// program's event sink. It returns only while the test's thread serves calls.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>
// Why here: they need windows.h.
#include <objbase.h>
#include <oleauto.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/win32/object_handle.h"
#include "platform/win32/serving_sleeper.h"

namespace relaybird {

/// An object that COM can carry to another thread. Lives on the test's stack.
class CalledObject : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    calledOn = ::GetCurrentThreadId();
    ::SetEvent(called_.get());
    onCall();
    return S_OK;
  }

  /// Set from the first call on.
  HANDLE called() const { return called_.get(); }

  std::atomic<DWORD> calledOn = 0;
  std::function<void()> onCall = [] {};

 private:
  const ObjectHandle called_{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// The test's thread has an apartment of its own, and another thread is on its way to call sink().
class ServedCall : public testing::Test {
 protected:
  ServedCall() {
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    IStream* stream = nullptr;
    EXPECT_EQ(::CoMarshalInterThreadInterfaceInStream(IID_IDispatch, &sink_, &stream), S_OK);
    caller_ = std::thread([this, stream] {
      result_ = callThrough(stream);
      ::SetEvent(returned_.get());
    });
  }
  ~ServedCall() override {
    // The caller waits for an answer, also after a failure.
    (void)waitServingCalls(returned_.get(), std::chrono::seconds(60));
    caller_.join();
    ::CoDisconnectObject(&sink_, 0);
    ::CoUninitialize();
  }

  CalledObject& sink() { return sink_; }
  /// Set when the caller has its answer.
  HANDLE returned() const { return returned_.get(); }
  bool done() const { return ::WaitForSingleObject(returned_.get(), 0) == WAIT_OBJECT_0; }
  HRESULT result() const { return result_; }

 private:
  static HRESULT callThrough(IStream* stream) {
    HRESULT result = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IDispatch* object = nullptr;
    if (SUCCEEDED(result)) {
      result = ::CoGetInterfaceAndReleaseStream(stream, IID_IDispatch,
                                                reinterpret_cast<void**>(&object));
    }
    if (SUCCEEDED(result)) {
      DISPPARAMS none{};
      result = object->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
      object->Release();
    }
    ::CoUninitialize();
    return result;
  }

  const ObjectHandle returned_{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  CalledObject sink_;
  std::atomic<HRESULT> result_ = E_PENDING;
  std::thread caller_;
};

}  // namespace relaybird
