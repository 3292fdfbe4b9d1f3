// SPDX-License-Identifier: MIT
// The base of the double's objects: IDispatch over a table of members. A member is found by its
// name in any case, or by its identifier. It is a property that is read, perhaps with arguments, a
// property that is written, or a method, and answers only to the kind of call that it is, as the
// mail application's members do.
//
// Whatever a member throws becomes what automation has for it: Returned the code of the call;
// Raised and MailStoreError an EXCEPINFO. A lost application is a code of the call too, as the
// system would return it.
//
// One thread, that of the apartment.
#pragma once

#include <ocidl.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

class DispatchObject;

struct Member {
  using Action = std::function<Value(DispatchObject&, const Arguments&)>;

  std::string call;   ///< as it is counted: "MailItem.Subject"
  std::string write;  ///< "MailItem.Subject="
  DISPID id = DISPID_UNKNOWN;
  Action get;  ///< empty where the member cannot be read
  Action put;
  Action method;
  std::size_t least = 0;  ///< arguments of get and method
  std::size_t most = 0;
};

/// The members of one class of objects.
class MemberTable {
 public:
  explicit MemberTable(std::string label) : label_(std::move(label)) {}

  /// A property that is read.
  MemberTable& get(const std::string& name, Member::Action action);
  /// Makes a property writable; the value is argument 0.
  MemberTable& put(const std::string& name, Member::Action action);
  MemberTable& method(const std::string& name, std::size_t least, std::size_t most,
                      Member::Action action);
  /// A property with one argument.
  MemberTable& indexed(const std::string& name, Member::Action action);
  /// As indexed, and the one that is meant where a client names none.
  MemberTable& byDefault(const std::string& name, Member::Action action);

  const std::string& label() const { return label_; }
  /// Null if there is none.
  const Member* find(DISPID id) const;
  DISPID idOf(const std::wstring& name) const;

 private:
  Member& add(const std::string& name, DISPID id);

  std::string label_;
  std::vector<Member> members_;
  std::map<std::wstring, DISPID> ids_;  ///< by name in lower case
};

/// Action of a member for objects of class T.
template <class T, class Work>
Member::Action on(Work work) {
  return [work](DispatchObject& object, const Arguments& arguments) {
    return work(static_cast<T&>(object), arguments);
  };
}

class DispatchObject : public IDispatch, public IProvideClassInfo {
 public:
  /// `members` must outlive the object. `className` is what a client is told: "MailItem".
  DispatchObject(const MemberTable& members, std::string className);
  DispatchObject(const DispatchObject&) = delete;
  DispatchObject& operator=(const DispatchObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* badArgument) override;

  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override;

 protected:
  virtual ~DispatchObject();
  /// Further interfaces; not counted. Null for none.
  virtual IUnknown* further(REFIID) { return nullptr; }

 private:
  Value perform(const Member& member, WORD flags, const DISPPARAMS& parameters);

  const MemberTable& members_;
  std::string className_;
  ULONG references_ = 1;
};

/// A step that is no call of a member: counts it and does what is planned for it, then the work. A
/// step that is refused, or ends the application, returns the code of it.
HRESULT plannedStep(const std::string& name, const std::function<HRESULT()>& work);

/// Objects of the double that live; reported to the function at every change.
void watchObjects(std::function<void(bool made)> watcher);
std::size_t liveObjects();

}  // namespace relaybird::outlook_double
