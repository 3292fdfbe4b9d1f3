// SPDX-License-Identifier: MIT
// The double as a library that COM loads into the client: `regsvr32 outlook_double.dll`. With
// `regsvr32 /n /i outlook_double.dll` it is the safe-item library alone, over the program that is
// registered for the mail application.
#include <windows.h>

#include <olectl.h>

#include "outlook_double/class_objects.h"
#include "outlook_double/dispatch_object.h"
#include "outlook_double/library_bridge.h"

namespace {

HINSTANCE self = nullptr;

std::wstring ownFile() {
  wchar_t file[MAX_PATH];
  GetModuleFileNameW(self, file, MAX_PATH);
  return file;
}

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
  self = instance;
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
  *object = nullptr;
  using namespace relaybird::outlook_double;
  auto factory = bridgeOf(clsid);
  if (!factory) {
    factory = factoryOf(clsid);
  }
  return factory ? factory->QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  using namespace relaybird::outlook_double;
  return liveObjects() == 0 && factoryLocks() == 0 && liveBridges() == 0 ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
  using namespace relaybird::outlook_double;
  return registerClasses(ServerKind::kLibrary, ownFile()) ? S_OK : SELFREG_E_CLASS;
}

// The program's own command removes all classes, these included.
STDAPI DllInstall(BOOL install, LPCWSTR) {
  return install && relaybird::outlook_double::registerLibrary(ownFile()) ? S_OK : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() {
  relaybird::outlook_double::unregisterClasses();
  return S_OK;
}
}
