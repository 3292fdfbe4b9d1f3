// SPDX-License-Identifier: MIT
// One automation object, used by the names of its members. All of the mail application is reached
// through this class: no type library is compiled in, so every version of it will do.
//
// Each call throws MailStoreError with the object's own text and code where it fails, or a plain
// sentence where the object gives none. A call that a busy application refuses is made again for
// some seconds.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "stores/outlook/com_pointer.h"
#include "stores/outlook/server.h"
#include "stores/outlook/value.h"

namespace relaybird::outlook {

class Object {
 public:
  /// "Nothing": every call on it throws.
  Object() = default;
  /// `members` null: the class is asked for when it is needed.
  Object(ComPtr<IDispatch> dispatch, std::shared_ptr<Server> server,
         std::shared_ptr<ClassMembers> members = nullptr)
      : server_(std::move(server)), dispatch_(std::move(dispatch)), members_(std::move(members)) {}

  bool nothing() const { return !dispatch_; }
  IDispatch* dispatch() const { return dispatch_.get(); }
  Server& server() const { return *server_; }
  const std::shared_ptr<Server>& sharedServer() const { return server_; }

  /// By type information, with one "_" dropped from its beginning; "Object" where there is none.
  /// Asked for once for each object.
  std::string className() const { return members().name; }
  /// Whether the class has a member of that name.
  bool has(std::wstring_view member) const;
  /// The number of the member; DISPID_UNKNOWN where the class does not have it.
  DISPID identifier(std::wstring_view member) const;
  /// The record of the object's class, for another object of the same class; null where it has not
  /// been asked for.
  const std::shared_ptr<ClassMembers>& knownMembers() const { return members_; }

  /// The value of a property, or the result of a method: automation does not tell them apart when
  /// reading.
  Value get(std::wstring_view member) const;
  Value get(std::wstring_view member, Value argument) const;
  /// The value of the property of that number. The class is not asked for, so the caller must find
  /// out whether the number was that of `member`. Calls no method.
  Value guess(std::wstring_view member, DISPID identifier) const;
  /// The default member with an index: what "object(index)" means.
  Value at(std::int32_t index) const;
  /// An object that the member gives, which is always of the same class. Throws for "Nothing".
  Object child(std::wstring_view member) const;
  Object child(std::wstring_view member, Value argument) const;
  /// The object that the default member gives for an index; of any class.
  Object item(std::int32_t index) const;
  /// The same for a member that gives objects of several classes, such as the items of a folder.
  Object item(std::wstring_view member) const;
  Object item(std::wstring_view member, Value argument) const;
  /// The same where the class of the object is known.
  Object item(std::wstring_view member, Value argument,
              std::shared_ptr<ClassMembers> members) const;
  /// Calls a method whose result is not used.
  void call(std::wstring_view member) const;
  void call(std::wstring_view member, Value argument) const;
  void call(std::wstring_view member, Value first, Value second) const;
  /// Sets a property.
  void put(std::wstring_view member, Value value) const;
  /// Sets a property to an object itself and not to its default value ("Set a.b = c").
  void putReference(std::wstring_view member, Value object) const;

 private:
  ClassMembers& members() const;
  Value invoke(std::wstring_view member, DISPID identifier, WORD flags,
               std::span<const Value> arguments) const;
  HRESULT tryInvoke(DISPID identifier, WORD flags, std::span<const Value> arguments, Value* result,
                    EXCEPINFO& info) const;
  ComPtr<IDispatch> objectFrom(const Value& value, std::wstring_view member) const;
  std::shared_ptr<ClassMembers> classOfChild(std::wstring_view member) const;

  std::shared_ptr<Server> server_;  ///< above the reference, which it outlives
  ComPtr<IDispatch> dispatch_;
  mutable std::shared_ptr<ClassMembers> members_;
};

}  // namespace relaybird::outlook
