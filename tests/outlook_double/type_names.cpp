// SPDX-License-Identifier: MIT
#include "outlook_double/type_names.h"

#include <windows.h>

#include <oleauto.h>

#include <map>

namespace relaybird::outlook_double {

const IID kSyncEvents = {
    0x5d2e6c10, 0x8f0b, 0x4c5a, {0x9b, 0x61, 0x27, 0xd4, 0x3e, 0x90, 0x6c, 0xf1}};

namespace {

// Identifiers in the order of making; they need to differ within the library only.
GUID nextIdentifier() {
  static unsigned long next = 0;
  GUID identifier = kSyncEvents;
  identifier.Data1 += ++next;
  return identifier;
}

void addEvent(ICreateTypeInfo& info, UINT index, const wchar_t* name, DISPID id) {
  FUNCDESC function{};
  function.memid = id;
  function.funckind = FUNC_DISPATCH;
  function.invkind = INVOKE_FUNC;
  function.callconv = CC_STDCALL;
  function.elemdescFunc.tdesc.vt = VT_VOID;
  info.AddFuncDesc(index, &function);
  auto* words = const_cast<wchar_t*>(name);
  info.SetFuncAndParamNames(index, &words, 1);
}

class Library {
 public:
  Library() {
    CreateTypeLib2(SYS_WIN64, L"outlook_double.tlb", library_.out());
    if (library_) {
      auto name = toWide("Outlook");
      library_->SetName(name.data());
      const auto events = make("SyncObjectEvents", TKIND_DISPATCH, kSyncEvents);
      addEvent(*events.get(), 0, L"SyncStart", kSyncStartEvent);
      addEvent(*events.get(), 1, L"Progress", kProgressEvent);
      addEvent(*events.get(), 2, L"OnError", kErrorEvent);
      addEvent(*events.get(), 3, L"SyncEnd", kSyncEndEvent);
      events->LayOut();
    }
  }

  ComRef<ITypeInfo> find(const std::string& name, TYPEKIND kind) {
    auto& found = infos_[{name, kind}];
    if (!found && library_) {
      const auto info = make(name, kind, nextIdentifier());
      info->LayOut();
      info->QueryInterface(IID_ITypeInfo, found.outVoid());
    }
    return found;
  }

 private:
  ComRef<ICreateTypeInfo> make(const std::string& name, TYPEKIND kind, const GUID& identifier) {
    ComRef<ICreateTypeInfo> info;
    auto wide = toWide(name);
    library_->CreateTypeInfo(wide.data(), kind, info.out());
    info->SetGuid(identifier);
    return info;
  }

  ComRef<ICreateTypeLib2> library_;
  std::map<std::pair<std::string, TYPEKIND>, ComRef<ITypeInfo>> infos_;
};

Library& library() {
  // Never destroyed: the system's libraries may be gone when the program's statics end.
  static auto* const all = new Library;
  return *all;
}

}  // namespace

ComRef<ITypeInfo> interfaceInfo(const std::string& name) {
  return library().find(name, TKIND_DISPATCH);
}

ComRef<ITypeInfo> classInfo(const std::string& name) {
  return library().find(name, TKIND_COCLASS);
}

}  // namespace relaybird::outlook_double
