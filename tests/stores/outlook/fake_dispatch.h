// SPDX-License-Identifier: MIT
// A small automation object whose members are calls of the test.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <cwctype>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "stores/outlook/com_pointer.h"
#include "stores/outlook/value.h"

namespace relaybird::outlook {

/// What an automation call got.
struct FakeCall {
  WORD flags;
  std::vector<Value> arguments;  ///< in the order of the caller
};

/// What it answers.
struct FakeAnswer {
  HRESULT result = S_OK;
  Value value = {};
  // Of an error DISP_E_EXCEPTION.
  std::string source = {};
  std::string text = {};
  SCODE scode = 0;
  WORD code = 0;
  bool deferred = false;  ///< the texts are filled in only when asked for
};

/// Type information that knows its name and nothing else.
class FakeType : public ITypeInfo {
 public:
  explicit FakeType(std::string name) : name_(std::move(name)) {}

  int namesAsked = 0;

  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override { return --references_; }
  STDMETHODIMP GetDocumentation(MEMBERID member, BSTR* name, BSTR*, DWORD*, BSTR*) override {
    ++namesAsked;
    if (member != MEMBERID_NIL) {
      return E_INVALIDARG;
    }
    *name = AutomationText(name_).release();
    return S_OK;
  }
  ULONG references() const { return references_; }

  STDMETHODIMP GetTypeAttr(TYPEATTR**) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
  STDMETHODIMP GetFuncDesc(UINT, FUNCDESC**) override { return E_NOTIMPL; }
  STDMETHODIMP GetVarDesc(UINT, VARDESC**) override { return E_NOTIMPL; }
  STDMETHODIMP GetNames(MEMBERID, BSTR*, UINT, UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetRefTypeOfImplType(UINT, HREFTYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP GetImplTypeFlags(UINT, INT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(LPOLESTR*, UINT, MEMBERID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(PVOID, MEMBERID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) override { return E_NOTIMPL; }
  STDMETHODIMP GetRefTypeInfo(HREFTYPE, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP AddressOfMember(MEMBERID, INVOKEKIND, PVOID*) override { return E_NOTIMPL; }
  STDMETHODIMP CreateInstance(IUnknown*, REFIID, PVOID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetMops(MEMBERID, BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetContainingTypeLib(ITypeLib**, UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP_(void) ReleaseTypeAttr(TYPEATTR*) override {}
  STDMETHODIMP_(void) ReleaseFuncDesc(FUNCDESC*) override {}
  STDMETHODIMP_(void) ReleaseVarDesc(VARDESC*) override {}

 private:
  std::string name_;
  ULONG references_ = 1;
};

/// Lives on the test's stack; the test sees whether all references were given back.
class FakeDispatch : public IDispatch {
 public:
  using Member = std::function<FakeAnswer(const FakeCall&)>;

  /// `type` null: the object has no type information.
  explicit FakeDispatch(FakeType* type = nullptr) : type_(type) {}

  /// Compared without regard to case. A number of 0 is the default member.
  void add(const std::wstring& name, DISPID number, Member member) {
    numbers_[lower(name)] = number;
    members_[number] = std::move(member);
  }

  int lookups = 0;   ///< calls of GetIDsOfNames
  int invokes = 0;   ///< calls of Invoke
  int typeAsks = 0;  ///< calls of GetTypeInfo
  /// Results that the next calls of any kind have in place of their own.
  std::vector<HRESULT> refusals;

  ULONG references() const { return references_; }
  ComPtr<IDispatch> pointer() { return ComPtr<IDispatch>(this); }

  STDMETHODIMP QueryInterface(REFIID identifier, void** out) override {
    if (identifier == IID_IUnknown || identifier == IID_IDispatch) {
      AddRef();
      *out = this;
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override { return --references_; }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = type_ == nullptr ? 0 : 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** type) override {
    ++typeAsks;
    if (const HRESULT refused = nextRefusal(); FAILED(refused)) {
      return refused;
    }
    *type = type_;
    if (type_ == nullptr) {
      return E_NOTIMPL;
    }
    type_->AddRef();
    return S_OK;
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* numbers) override {
    ++lookups;
    if (const HRESULT refused = nextRefusal(); FAILED(refused)) {
      return refused;
    }
    const auto found = numbers_.find(lower(names[0]));
    *numbers = found == numbers_.end() ? DISPID_UNKNOWN : found->second;
    return found == numbers_.end() ? DISP_E_UNKNOWNNAME : S_OK;
  }
  STDMETHODIMP Invoke(DISPID number, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                      VARIANT* result, EXCEPINFO* info, UINT*) override {
    ++invokes;
    if (const HRESULT refused = nextRefusal(); FAILED(refused)) {
      return refused;
    }
    const auto found = members_.find(number);
    if (found == members_.end()) {
      return DISP_E_MEMBERNOTFOUND;
    }
    FakeCall call{flags, {}};
    for (UINT i = parameters->cArgs; i > 0; --i) {
      VariantCopy(call.arguments.emplace_back().out(), &parameters->rgvarg[i - 1]);
    }
    FakeAnswer answer = found->second(call);
    if (result != nullptr) {
      VARIANT from = answer.value.variant();
      VariantCopy(result, &from);
    }
    if (answer.result == DISP_E_EXCEPTION) {
      info->scode = answer.scode;
      info->wCode = answer.code;
      if (answer.deferred) {
        info->pfnDeferredFillIn = &fillInLater;
      } else {
        fill(*info, answer.source, answer.text);
      }
    }
    return answer.result;
  }

 private:
  static std::wstring lower(std::wstring text) {
    for (wchar_t& letter : text) {
      letter = static_cast<wchar_t>(std::towlower(letter));
    }
    return text;
  }
  static void fill(EXCEPINFO& info, const std::string& source, const std::string& text) {
    info.bstrSource = source.empty() ? nullptr : AutomationText(source).release();
    info.bstrDescription = text.empty() ? nullptr : AutomationText(text).release();
  }
  static HRESULT WINAPI fillInLater(EXCEPINFO* info) {
    fill(*info, "Later", "The text came later");
    return S_OK;
  }
  HRESULT nextRefusal() {
    if (refusals.empty()) {
      return S_OK;
    }
    const HRESULT refused = refusals.front();
    refusals.erase(refusals.begin());
    return refused;
  }

  FakeType* type_;
  std::map<std::wstring, DISPID> numbers_;
  std::map<DISPID, Member> members_;
  ULONG references_ = 1;
};

}  // namespace relaybird::outlook
