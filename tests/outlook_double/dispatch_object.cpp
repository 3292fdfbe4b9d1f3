// SPDX-License-Identifier: MIT
#include "outlook_double/dispatch_object.h"

#include <windows.h>

#include <oleauto.h>

#include <algorithm>
#include <cwctype>

#include "outlook_double/double_world.h"
#include "outlook_double/type_names.h"

namespace relaybird::outlook_double {

namespace {

constexpr DISPID kFirstId = 0x60;

std::size_t living = 0;
std::function<void(bool)> watcher;

void objectChanged(bool made) {
  living += made ? 1U : static_cast<std::size_t>(-1);
  if (watcher) {
    watcher(made);
  }
}

std::wstring lower(std::wstring name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](wchar_t letter) { return static_cast<wchar_t>(std::towlower(letter)); });
  return name;
}

// What the system itself returns for an application that is lost.
bool isLost(std::int32_t code) {
  const auto result = static_cast<HRESULT>(code);
  return result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) ||
         result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED) || result == RPC_E_DISCONNECTED;
}

BSTR bstr(const std::string& text) {
  const std::wstring wide = toWide(text);
  return SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

HRESULT raise(const Raised& error, EXCEPINFO* exception) {
  if (exception != nullptr) {
    *exception = {};
    exception->scode = error.code;
    exception->bstrSource = bstr(error.source);
    exception->bstrDescription = bstr(error.text);
  }
  return DISP_E_EXCEPTION;
}

void requireCount(const Arguments& arguments, const Member& member) {
  if (arguments.count() < member.least || arguments.count() > member.most) {
    throw Returned{DISP_E_BADPARAMCOUNT};
  }
}

bool isPut(WORD flags) {
  return (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
}

// What the member has for this kind of call; null for nothing.
const Member::Action* actionFor(const Member& member, WORD flags) {
  if (isPut(flags)) {
    return member.put ? &member.put : nullptr;
  }
  if ((flags & DISPATCH_METHOD) != 0 && member.method) {
    return &member.method;
  }
  return (flags & DISPATCH_PROPERTYGET) != 0 && member.get ? &member.get : nullptr;
}

bool namesTheValue(const DISPPARAMS& parameters) {
  return parameters.cNamedArgs == 1 && parameters.rgdispidNamedArgs != nullptr &&
         parameters.rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
}

}  // namespace

Member& MemberTable::add(const std::string& name, DISPID id) {
  const auto key = lower(toWide(name));
  const auto [found, added] = ids_.emplace(
      key, id != DISPID_UNKNOWN ? id : kFirstId + static_cast<DISPID>(members_.size()));
  if (added) {
    Member& member = members_.emplace_back();
    member.call = label_ + "." + name;
    member.write = member.call + "=";
    member.id = found->second;
  }
  return const_cast<Member&>(*find(found->second));
}

MemberTable& MemberTable::get(const std::string& name, Member::Action action) {
  add(name, DISPID_UNKNOWN).get = std::move(action);
  return *this;
}

MemberTable& MemberTable::put(const std::string& name, Member::Action action) {
  add(name, DISPID_UNKNOWN).put = std::move(action);
  return *this;
}

MemberTable& MemberTable::method(const std::string& name, std::size_t least, std::size_t most,
                                 Member::Action action) {
  Member& member = add(name, DISPID_UNKNOWN);
  member.method = std::move(action);
  member.least = least;
  member.most = most;
  return *this;
}

MemberTable& MemberTable::indexed(const std::string& name, Member::Action action) {
  Member& member = add(name, DISPID_UNKNOWN);
  member.get = std::move(action);
  member.least = member.most = 1;
  return *this;
}

MemberTable& MemberTable::byDefault(const std::string& name, Member::Action action) {
  Member& member = add(name, DISPID_VALUE);
  // The mail application declares these as methods, clients read them as properties: both is right.
  member.get = action;
  member.method = std::move(action);
  member.least = member.most = 1;
  return *this;
}

const Member* MemberTable::find(DISPID id) const {
  const auto found = std::find_if(members_.begin(), members_.end(),
                                  [id](const Member& member) { return member.id == id; });
  return found == members_.end() ? nullptr : &*found;
}

DISPID MemberTable::idOf(const std::wstring& name) const {
  const auto found = ids_.find(lower(name));
  return found == ids_.end() ? DISPID_UNKNOWN : found->second;
}

DispatchObject::DispatchObject(const MemberTable& members, std::string className)
    : members_(members), className_(std::move(className)) {
  objectChanged(true);
}

DispatchObject::~DispatchObject() {
  objectChanged(false);
}

HRESULT DispatchObject::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  const bool tellsClass = DoubleWorld::only().behaviour().typeNames == TypeNames::kClass;
  *object = nullptr;
  if (iid == IID_IUnknown || iid == IID_IDispatch) {
    *object = static_cast<IDispatch*>(this);
  } else if (iid == IID_IProvideClassInfo && tellsClass) {
    *object = static_cast<IProvideClassInfo*>(this);
  } else {
    *object = further(iid);
  }
  if (*object == nullptr) {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG DispatchObject::AddRef() {
  return ++references_;
}

ULONG DispatchObject::Release() {
  const ULONG left = --references_;
  if (left == 0) {
    delete this;
  }
  return left;
}

HRESULT DispatchObject::GetTypeInfoCount(UINT* count) {
  *count = DoubleWorld::only().behaviour().typeNames == TypeNames::kNone ? 0 : 1;
  return S_OK;
}

HRESULT DispatchObject::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  *info = nullptr;
  return plannedStep("type information", [&] {
    const auto names = DoubleWorld::only().behaviour().typeNames;
    if (names == TypeNames::kNone) {
      return E_NOTIMPL;
    }
    if (index != 0) {
      return DISP_E_BADINDEX;
    }
    *info = interfaceInfo((names == TypeNames::kClass ? "I" : "_") + className_).release();
    return *info != nullptr ? S_OK : TYPE_E_LIBNOTREGISTERED;
  });
}

HRESULT DispatchObject::GetClassInfo(ITypeInfo** info) {
  *info = nullptr;
  return plannedStep("class information", [&] {
    *info = classInfo(className_).release();
    return *info != nullptr ? S_OK : TYPE_E_LIBNOTREGISTERED;
  });
}

HRESULT DispatchObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  auto& world = DoubleWorld::only();
  world.calls().count("name " + members_.label() + "." + toUtf8(std::wstring_view(names[0])));
  // Arguments have no names here.
  std::fill_n(ids, count, DISPID_UNKNOWN);
  ids[0] = members_.idOf(names[0]);
  return ids[0] != DISPID_UNKNOWN && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT DispatchObject::Invoke(DISPID id, REFIID, LCID locale, WORD flags, DISPPARAMS* parameters,
                               VARIANT* result, EXCEPINFO* exception, UINT*) {
  const Member* const member = members_.find(id);
  if (member == nullptr) {
    return DISP_E_MEMBERNOTFOUND;
  }
  // The call may drop the last reference of the client.
  const auto self = shared(static_cast<IDispatch*>(this));
  try {
    const bool passesOn = !isPut(flags) && member->get && member->most == 0 &&
                          parameters->cArgs > 0 && (flags & DISPATCH_PROPERTYGET) != 0;
    if (passesOn) {
      // object.Items(2): the arguments belong to the default member of the property's value.
      const DISPPARAMS none{};
      const Value owner = perform(*member, DISPATCH_PROPERTYGET, none);
      return owner.dispatch() == nullptr
                 ? DISP_E_BADPARAMCOUNT
                 : owner.dispatch()->Invoke(DISPID_VALUE, IID_NULL, locale, flags, parameters,
                                            result, exception, nullptr);
    }
    Value value = perform(*member, flags, *parameters);
    if (result != nullptr) {
      *result = value.release();
    }
    return S_OK;
  } catch (const Returned& code) {
    return code.code;
  } catch (const Raised& error) {
    return raise(error, exception);
  } catch (const MailStoreError& error) {
    if (isLost(error.code())) {
      return error.code();
    }
    return raise({error.code() == 0 ? E_FAIL : error.code(), "Mail application", error.what()},
                 exception);
  } catch (const std::exception& error) {
    return raise({E_UNEXPECTED, "Mail application", error.what()}, exception);
  }
}

Value DispatchObject::perform(const Member& member, WORD flags, const DISPPARAMS& parameters) {
  auto& calls = DoubleWorld::only().calls();
  const Arguments arguments(parameters);
  const bool put = isPut(flags);
  const auto* const action = actionFor(member, flags);
  if (action == nullptr) {
    throw Returned{DISP_E_MEMBERNOTFOUND};
  }
  if (put && !namesTheValue(parameters)) {
    throw Returned{DISP_E_PARAMNOTFOUND};
  }
  if (!put) {
    requireCount(arguments, member);
  }
  const std::string& call = put ? member.write : member.call;
  calls.before(call);
  Value value = (*action)(*this, arguments);
  calls.after(call);
  return value;
}

HRESULT plannedStep(const std::string& name, const std::function<HRESULT()>& work) {
  auto& calls = DoubleWorld::only().calls();
  try {
    calls.before(name);
    const HRESULT result = work();
    calls.after(name);
    return result;
  } catch (const Returned& planned) {
    return planned.code;
  } catch (const Raised& planned) {
    return planned.code;
  }
}

void watchObjects(std::function<void(bool)> function) {
  watcher = std::move(function);
}

std::size_t liveObjects() {
  return living;
}

}  // namespace relaybird::outlook_double
