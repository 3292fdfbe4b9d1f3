// SPDX-License-Identifier: MIT
// A call by name is two calls: one for the number of the name, one that does it. The numbers are
// the same for all objects of a class, so they are kept by class. The class of an object that came
// from a member which always gives the same one follows from where it came from, which costs
// nothing; that of an item is asked for.
#include "stores/outlook/dispatch.h"

#include <array>
#include <utility>

#include "mail/mail_store.h"
#include "platform/win32/win32_text.h"

namespace relaybird::outlook {
namespace {

constexpr WORD kRead = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
constexpr std::size_t kMostArguments = 2;

std::span<const Value> one(const Value& argument) {
  return {&argument, 1};
}

}  // namespace

ClassMembers& Object::members() const {
  if (!members_) {
    if (nothing()) {
      throw MailStoreError("The mail application gave no object");
    }
    members_ = server_->classOf(*dispatch_.get());
  }
  return *members_;
}

DISPID Object::identifier(std::wstring_view member) const {
  auto& known = members().identifiers;
  if (const auto found = known.find(member); found != known.end()) {
    return found->second;
  }
  std::wstring name(member);
  LPOLESTR names = name.data();
  DISPID identifier = DISPID_UNKNOWN;
  const HRESULT result = server_->call([&] {
    return dispatch_->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &identifier);
  });
  if (result == DISP_E_UNKNOWNNAME) {
    identifier = DISPID_UNKNOWN;
  } else if (FAILED(result)) {
    server_->fail(result, fromWide(member));
  }
  known.emplace(std::move(name), identifier);
  return identifier;
}

bool Object::has(std::wstring_view member) const {
  return identifier(member) != DISPID_UNKNOWN;
}

HRESULT Object::tryInvoke(DISPID identifier, WORD flags, std::span<const Value> arguments,
                          Value* result, EXCEPINFO& info) const {
  DISPID put = DISPID_PROPERTYPUT;
  // From the last to the first. Copies of the records without copies of what they refer to: the
  // callee frees nothing.
  std::array<VARIANT, kMostArguments> passed{};
  DISPPARAMS parameters{};
  parameters.rgvarg = passed.data();
  for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument) {
    passed[parameters.cArgs++] = argument->variant();
  }
  if ((flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  return server_->call([&] {
    info = {};
    UINT wrongArgument = 0;
    return dispatch_->Invoke(identifier, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                             result == nullptr ? nullptr : result->out(), &info, &wrongArgument);
  });
}

Value Object::invoke(std::wstring_view member, DISPID identifier, WORD flags,
                     std::span<const Value> arguments) const {
  server_->requireAlive();
  if (identifier == DISPID_UNKNOWN) {
    server_->fail(DISP_E_UNKNOWNNAME, fromWide(member));
  }
  Value result;
  EXCEPINFO info{};
  const HRESULT outcome =
      tryInvoke(identifier, flags, arguments, (flags & kRead) != 0 ? &result : nullptr, info);
  if (FAILED(outcome)) {
    server_->fail(outcome, info, fromWide(member));
  }
  return result;
}

Value Object::get(std::wstring_view member) const {
  return invoke(member, identifier(member), kRead, {});
}

Value Object::get(std::wstring_view member, Value argument) const {
  return invoke(member, identifier(member), kRead, one(argument));
}

// Not as a method: of another class it may be one that deletes or sends.
Value Object::guess(std::wstring_view member, DISPID identifier) const {
  if (nothing()) {
    throw MailStoreError("The mail application gave no object");
  }
  return invoke(member, identifier, DISPATCH_PROPERTYGET, {});
}

Value Object::at(std::int32_t index) const {
  if (nothing()) {
    throw MailStoreError("The mail application gave no object");
  }
  return invoke(L"default member", DISPID_VALUE, kRead, one(Value::ofNumber(index)));
}

void Object::call(std::wstring_view member) const {
  invoke(member, identifier(member), DISPATCH_METHOD, {});
}

void Object::call(std::wstring_view member, Value argument) const {
  invoke(member, identifier(member), DISPATCH_METHOD, one(argument));
}

void Object::call(std::wstring_view member, Value first, Value second) const {
  const std::array<Value, 2> both{std::move(first), std::move(second)};
  invoke(member, identifier(member), DISPATCH_METHOD, both);
}

void Object::put(std::wstring_view member, Value value) const {
  invoke(member, identifier(member), DISPATCH_PROPERTYPUT, one(value));
}

void Object::putReference(std::wstring_view member, Value object) const {
  const DISPID id = identifier(member);
  if (id == DISPID_UNKNOWN) {
    server_->fail(DISP_E_UNKNOWNNAME, fromWide(member));
  }
  auto& plainly = members().putPlainly;
  if (plainly.find(member) == plainly.end()) {
    EXCEPINFO info{};
    const HRESULT result = tryInvoke(id, DISPATCH_PROPERTYPUTREF, one(object), nullptr, info);
    if (SUCCEEDED(result)) {
      return;
    }
    if (result != DISP_E_MEMBERNOTFOUND) {
      server_->fail(result, info, fromWide(member));
    }
    // The server knows this property by the other way alone.
    plainly.emplace(member, true);
  }
  put(member, std::move(object));
}

ComPtr<IDispatch> Object::objectFrom(const Value& value, std::wstring_view member) const {
  ComPtr<IDispatch> object = value.object();
  if (!object) {
    throw MailStoreError("The mail application gave no object (" + fromWide(member) + ")");
  }
  return object;
}

std::shared_ptr<ClassMembers> Object::classOfChild(std::wstring_view member) const {
  const ClassMembers& own = members();
  return own.shared ? server_->classNamed(own.name + "." + fromWide(member)) : nullptr;
}

Object Object::child(std::wstring_view member) const {
  return {objectFrom(get(member), member), server_, classOfChild(member)};
}

Object Object::child(std::wstring_view member, Value argument) const {
  return {objectFrom(get(member, std::move(argument)), member), server_, classOfChild(member)};
}

Object Object::item(std::int32_t index) const {
  return {objectFrom(at(index), L"default member"), server_};
}

Object Object::item(std::wstring_view member) const {
  return {objectFrom(get(member), member), server_};
}

Object Object::item(std::wstring_view member, Value argument) const {
  return item(member, std::move(argument), nullptr);
}

Object Object::item(std::wstring_view member, Value argument,
                    std::shared_ptr<ClassMembers> members) const {
  return {objectFrom(get(member, std::move(argument)), member), server_, std::move(members)};
}

}  // namespace relaybird::outlook
