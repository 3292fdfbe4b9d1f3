// SPDX-License-Identifier: MIT
#include "outlook_double/com_client.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>

#include <algorithm>

namespace relaybird::outlook_double {

namespace {

std::string taken(BSTR text) {
  auto words = toUtf8(text);
  SysFreeString(text);
  return words;
}

void require(HRESULT result, const std::string& what) {
  if (FAILED(result)) {
    throw CallFailed{result, S_OK, {}, what};
  }
}

}  // namespace

ComRef<IDispatch> create(std::string_view progId, DWORD context) {
  CLSID clsid{};
  ComRef<IDispatch> object;
  require(CLSIDFromProgID(toWide(progId).c_str(), &clsid), std::string(progId));
  require(CoCreateInstance(clsid, nullptr, context, IID_IDispatch, object.outVoid()),
          std::string(progId));
  return object;
}

DISPID idOf(IDispatch& object, const std::string& member) {
  std::wstring name = toWide(member);
  LPOLESTR names = name.data();
  DISPID id = DISPID_UNKNOWN;
  require(object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id), member);
  return id;
}

Value invoke(IDispatch& object, DISPID id, WORD flags, std::vector<Value> arguments) {
  // Borrowed from the values, from the last to the first.
  std::vector<VARIANTARG> given;
  std::for_each(arguments.rbegin(), arguments.rend(),
                [&](Value& value) { given.push_back(value.variant()); });
  DISPID written = DISPID_PROPERTYPUT;
  const bool puts = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  DISPPARAMS parameters{given.data(), puts ? &written : nullptr, static_cast<UINT>(given.size()),
                        puts ? 1U : 0U};
  EXCEPINFO raised{};
  Value result;
  const HRESULT code = object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                                     puts ? nullptr : &result.variant(), &raised, nullptr);
  if (FAILED(code)) {
    const bool tells = code == DISP_E_EXCEPTION;
    SysFreeString(raised.bstrHelpFile);
    throw CallFailed{code, tells ? raised.scode : S_OK, taken(raised.bstrSource),
                     taken(raised.bstrDescription)};
  }
  return result;
}

Value get(IDispatch& object, const std::string& member, std::vector<Value> arguments) {
  return invoke(object, idOf(object, member), DISPATCH_PROPERTYGET, std::move(arguments));
}

Value call(IDispatch& object, const std::string& member, std::vector<Value> arguments) {
  return invoke(object, idOf(object, member), DISPATCH_METHOD, std::move(arguments));
}

void put(IDispatch& object, const std::string& member, Value value) {
  invoke(object, idOf(object, member), DISPATCH_PROPERTYPUT, with(std::move(value)));
}

std::string tell(IDispatch& control, const std::string& command) {
  const Value answer = call(control, "Do", with(Value::text(command)));
  return toUtf8(answer.variant().bstrVal);
}

}  // namespace relaybird::outlook_double
