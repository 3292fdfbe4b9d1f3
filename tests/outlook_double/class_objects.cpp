// SPDX-License-Identifier: MIT
#include "outlook_double/class_objects.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "outlook_double/counted_object.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {

namespace {

long locks = 0;

constexpr CLSID numbered(unsigned char number) {
  return {0x6e31c0a2, 0x4b7d, 0x4f19, {0xa8, 0x53, 0x0c, 0x9e, 0x71, 0xd2, 0x35, number}};
}

std::wstring textOf(REFCLSID clsid) {
  wchar_t text[40];
  StringFromGUID2(clsid, text, 40);
  return text;
}

// Machine-wide: the user's own classes are not looked at by every version of COM.
const std::wstring kClasses = L"Software\\Classes\\";

bool writeKey(const std::wstring& key, const wchar_t* name, const std::wstring& value,
              bool lasting) {
  HKEY opened = nullptr;
  const DWORD options = lasting ? REG_OPTION_NON_VOLATILE : REG_OPTION_VOLATILE;
  auto result = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str(), 0, nullptr, options,
                                KEY_WRITE, nullptr, &opened, nullptr);
  if (result == ERROR_SUCCESS) {
    const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    result =
        RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), size);
    RegCloseKey(opened);
  }
  if (result != ERROR_SUCCESS) {
    std::fprintf(stderr, "outlook_double: the key %ls cannot be written, error %ld\n", key.c_str(),
                 static_cast<long>(result));
  }
  return result == ERROR_SUCCESS;
}

std::wstring classKey(const DoubleClass& one) {
  return L"CLSID\\" + textOf(one.clsid);
}

std::wstring serverKey(const DoubleClass& one, ServerKind kind) {
  return classKey(one) + (kind == ServerKind::kLibrary ? L"\\InprocServer32" : L"\\LocalServer32");
}

bool writeIdentifier(const DoubleClass& one, bool lasting) {
  return writeKey(toWide(one.progId), nullptr, toWide(one.progId), lasting) &&
         writeKey(toWide(one.progId) + L"\\CLSID", nullptr, textOf(one.clsid), lasting);
}

class Factory : public CountedObject<IClassFactory> {
 public:
  explicit Factory(std::string_view progId) : progId_(progId) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer != nullptr) {
      return CLASS_E_NOAGGREGATION;
    }
    try {
      const auto made = progId_ == kControl ? makeControl() : makeComponent(progId_);
      return made->QueryInterface(iid, object);
    } catch (const Returned& code) {
      return code.code;
    } catch (const Raised& error) {
      return error.code;
    } catch (const MailStoreError& error) {
      return error.code() != 0 ? error.code() : E_FAIL;
    }
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    locks += lock ? 1 : -1;
    return S_OK;
  }

 private:
  std::string progId_;
};

// The identifier that the system has given the dictionary; none where it has none.
CLSID dictionaryClass() {
  CLSID clsid{};
  CLSIDFromProgID(toWide(prog_id::kDictionary).c_str(), &clsid);
  return clsid;
}

std::vector<DoubleClass> withDictionary(std::vector<DoubleClass> classes) {
  classes.push_back({prog_id::kDictionary, dictionaryClass()});
  return classes;
}

}  // namespace

const std::vector<DoubleClass>& doubleClasses() {
  static const std::vector<DoubleClass> classes = {
      {prog_id::kApplication, numbered(1)},    {prog_id::kMailItem, numbered(2)},
      {prog_id::kSafeMailItem, numbered(3)},   {prog_id::kSafeMeetingItem, numbered(4)},
      {prog_id::kSafeTaskItem, numbered(5)},   {prog_id::kUtility, numbered(6)},
      {prog_id::kLibrarySession, numbered(7)}, {kControl, numbered(8)},
  };
  return classes;
}

ComRef<IClassFactory> factoryOf(REFCLSID clsid) {
  for (const auto& one : doubleClasses()) {
    if (one.clsid == clsid) {
      return ComRef<IClassFactory>(new Factory(one.progId));
    }
  }
  const bool dictionary = dictionaryClass() == clsid;
  return ComRef<IClassFactory>(dictionary ? new Factory(prog_id::kDictionary) : nullptr);
}

long factoryLocks() {
  return locks;
}

bool addServer(const DoubleClass& one, ServerKind kind, const std::wstring& command, bool lasting) {
  const std::wstring key = serverKey(one, kind);
  return writeKey(key, nullptr, command, lasting) &&
         (kind == ServerKind::kProgram || writeKey(key, L"ThreadingModel", L"Apartment", lasting));
}

bool hasServer(const DoubleClass& one, ServerKind kind) {
  HKEY opened = nullptr;
  const auto key = kClasses + serverKey(one, kind);
  const bool there =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) == ERROR_SUCCESS;
  RegCloseKey(opened);
  return there;
}

bool registerClasses(ServerKind kind, const std::wstring& command, bool lasting) {
  // What a test has left that was stopped: a lasting key cannot be made below one of the session.
  unregisterClasses();
  return std::all_of(doubleClasses().begin(), doubleClasses().end(), [&](const DoubleClass& one) {
    return writeIdentifier(one, lasting) &&
           writeKey(classKey(one), nullptr, toWide(one.progId), lasting) &&
           addServer(one, kind, command, lasting);
  });
}

void unregisterClasses() {
  for (const auto& one : doubleClasses()) {
    unregisterIdentifier(one.progId);
    const auto key = kClasses + classKey(one);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
  }
}

void unregisterIdentifier(std::string_view progId) {
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClasses + toWide(progId)).c_str());
}

ClassObjects::ClassObjects()
    : ClassObjects(withDictionary(doubleClasses()), CLSCTX_INPROC_SERVER) {}

ClassObjects ClassObjects::dictionary() {
  return {withDictionary({}), CLSCTX_INPROC_SERVER};
}

ClassObjects::ClassObjects(const std::vector<DoubleClass>& classes, DWORD context) {
  for (const auto& one : classes) {
    CLSID known{};
    if (FAILED(CLSIDFromProgID(toWide(one.progId).c_str(), &known))) {
      complete_ = complete_ && writeIdentifier(one, false);
    }
    DWORD cookie = 0;
    const auto result = CoRegisterClassObject(one.clsid, factoryOf(one.clsid).get(), context,
                                              REGCLS_MULTIPLEUSE, &cookie);
    complete_ = complete_ && SUCCEEDED(result);
    registered_.push_back(cookie);
  }
}

void ClassObjects::revoke() {
  for (const auto cookie : std::exchange(registered_, {})) {
    CoRevokeClassObject(cookie);
  }
}

}  // namespace relaybird::outlook_double
