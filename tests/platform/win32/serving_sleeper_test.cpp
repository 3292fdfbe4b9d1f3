// SPDX-License-Identifier: MIT
// Waiting on a thread with objects that other threads call, as the mail application calls the
// program's event sink. The waits end when the call has come; their limits are only for a failure.
#include "platform/win32/serving_sleeper.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <oleauto.h>

#include <atomic>
#include <thread>

#include "platform/win32/object_handle.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

// An object that COM can carry to another thread; sets an event when it is called.
class Sink : public IDispatch {
 public:
  explicit Sink(HANDLE called) : called_(called) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }  // lives on the test's stack
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
    ::SetEvent(called_);
    return S_OK;
  }

  std::atomic<DWORD> calledOn = 0;

 private:
  HANDLE called_;
};

ObjectHandle newEvent() {
  return ObjectHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

// Calls the object that the stream carries, from a thread of its own.
HRESULT callThrough(IStream* stream) {
  HRESULT result = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  IDispatch* object = nullptr;
  if (SUCCEEDED(result)) {
    result =
        ::CoGetInterfaceAndReleaseStream(stream, IID_IDispatch, reinterpret_cast<void**>(&object));
  }
  if (SUCCEEDED(result)) {
    DISPPARAMS none{};
    result = object->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
    object->Release();
  }
  ::CoUninitialize();
  return result;
}

// A thread with an object that another thread calls.
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
    (void)waitServingCalls(returned_.get(), 60s);
    caller_.join();
    ::CoDisconnectObject(&sink_, 0);
    ::CoUninitialize();
  }
  bool done() const { return ::WaitForSingleObject(returned_.get(), 0) == WAIT_OBJECT_0; }

  const ObjectHandle called_ = newEvent();
  const ObjectHandle returned_ = newEvent();
  Sink sink_{called_.get()};
  std::atomic<HRESULT> result_ = E_PENDING;
  std::thread caller_;
};

TEST_F(ServedCall, OfAnotherThreadReturnsWhileThisOneWaits) {
  EXPECT_TRUE(waitServingCalls(called_.get(), 60s));
  EXPECT_TRUE(waitServingCalls(returned_.get(), 60s));
  EXPECT_EQ(result_, S_OK);
  EXPECT_EQ(sink_.calledOn, ::GetCurrentThreadId());
}

// Sleeps until it has come, a little each time: a sleep always lasts its time.
TEST_F(ServedCall, OfAnotherThreadReturnsWhileThisOneSleeps) {
  ServingSleeper sleeper;
  const auto limit = steadyTime() + 20s;
  while (!done() && steadyTime() < limit) {
    sleeper.sleep(1ms);
  }
  EXPECT_EQ(result_, S_OK);
  EXPECT_EQ(sink_.calledOn, ::GetCurrentThreadId());
}

TEST(ServingSleeperTest, AThreadWithoutComWaitsToo) {
  const ObjectHandle event = newEvent();
  EXPECT_FALSE(waitServingCalls(event.get(), 0ms));
  EXPECT_FALSE(waitServingCalls(event.get(), -1ms));
  ::SetEvent(event.get());
  EXPECT_TRUE(waitServingCalls(event.get(), 60s));
}

TEST(ServingSleeperTest, ClicksAndOtherMessagesWait) {
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_APP + 7, 0, 0));
  const ObjectHandle never = newEvent();
  EXPECT_FALSE(waitServingCalls(never.get(), 1ms));
  MSG message{};
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP + 7, WM_APP + 7, PM_REMOVE));
  EXPECT_EQ(message.message, static_cast<UINT>(WM_APP + 7));
  ::CoUninitialize();
}

// As Windows does for a thread that is told to quit, and Wine does not.
TEST(ServingSleeperTest, ASleepLastsItsTimeWhereTheWaitEndsEarly) {
  ServingSleeper sleeper([](HANDLE, std::chrono::milliseconds) { return false; });
  const auto before = steadyTime();
  sleeper.sleep(20ms);
  EXPECT_GE(steadyTime() - before, 19ms);
}

TEST(ServingSleeperTest, ASleepLastsItsTimeAlsoForAThreadThatIsToldToQuit) {
  ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ServingSleeper sleeper;
  sleeper.sleep(-1ms);
  ::PostQuitMessage(0);
  const auto before = steadyTime();
  sleeper.sleep(20ms);
  EXPECT_GE(steadyTime() - before, 19ms);
  MSG message{};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
  }
  ::CoUninitialize();
}

}  // namespace
}  // namespace relaybird
