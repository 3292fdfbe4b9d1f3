// SPDX-License-Identifier: MIT
// The double as a library that COM loads into the client: `regsvr32 outlook_double.dll`.
#include <windows.h>

#include <olectl.h>

#include "outlook_double/class_objects.h"
#include "outlook_double/dispatch_object.h"

namespace {

HINSTANCE self = nullptr;

}  // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
  self = instance;
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* object) {
  *object = nullptr;
  const auto factory = relaybird::outlook_double::factoryOf(clsid);
  return factory ? factory->QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  using namespace relaybird::outlook_double;
  return liveObjects() == 0 && factoryLocks() == 0 ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
  wchar_t file[MAX_PATH];
  GetModuleFileNameW(self, file, MAX_PATH);
  using namespace relaybird::outlook_double;
  return registerClasses(ServerKind::kLibrary, file) ? S_OK : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() {
  relaybird::outlook_double::unregisterClasses();
  return S_OK;
}
}
