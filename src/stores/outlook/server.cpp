// SPDX-License-Identifier: MIT
// A mail application that has been closed refuses every later call, some at once and some after a
// wait, so the first such result is kept and answers the rest. What was learnt of its classes is
// dropped with the Server: the next application may be another version.
#include "stores/outlook/server.h"

#include <ocidl.h>

#include <cstdio>
#include <utility>

#include "mail/mail_store.h"
#include "platform/win32/win32_text.h"
#include "stores/outlook/value.h"

namespace relaybird::outlook {
namespace {

// A dialog box of the mail application makes it refuse calls. It may stay open for hours, so the
// call fails after some seconds, and the next check tries again. The windows take no input while
// the store waits: events must not run inside any call. So only the first of the refused calls
// waits; a step that fails is followed by others, and each would wait as long.
//
// The safe-item library is loaded into this process and calls the application by itself. A refusal
// that it meets comes out as an error of its own, which nothing tells from others. If the next call
// waited until the box is closed, the library's error would pass for the item's.
constexpr int kAttempts = 40;
constexpr std::chrono::milliseconds kPauseWhileBusy{250};
// A server may make new type information for each object; only some are remembered.
constexpr std::size_t kMostTypes = 32;

struct Known {
  HRESULT result;
  const char* sentence;
};

constexpr HRESULT kCallFailed = HRESULT_FROM_WIN32(RPC_S_CALL_FAILED);
constexpr HRESULT kCallFailedUnmade = HRESULT_FROM_WIN32(RPC_S_CALL_FAILED_DNE);
constexpr HRESULT kUnavailable = HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE);

constexpr Known kGone[] = {
    // The first is the result of the call during which the application ends, the others of later
    // ones.
    {kCallFailed, "The mail application ended during the call"},
    {kCallFailedUnmade, "The mail application ended before the call"},
    {kUnavailable, "The mail application has been closed"},
    {RPC_E_DISCONNECTED, "The mail application has been closed"},
    {RPC_E_SERVER_DIED, "The mail application ended during the call"},
    {RPC_E_SERVER_DIED_DNE, "The mail application ended before the call"},
    {CO_E_OBJNOTCONNECTED, "The mail application has been closed"},
};

constexpr Known kBusy[] = {
    {RPC_E_SERVERCALL_RETRYLATER,
     "The mail application is busy, perhaps because one of its windows waits for an answer"},
    {RPC_E_CALL_REJECTED,
     "The mail application is busy, perhaps because one of its windows waits for an answer"},
};

constexpr Known kOthers[] = {
    {REGDB_E_CLASSNOTREG, "It is not installed on this computer"},
    {CO_E_CLASSSTRING, "It is not installed on this computer"},
    {CO_E_SERVER_EXEC_FAILURE,
     "It could not be started, or it runs with other rights (as an administrator, for example)"},
    {CO_E_APPNOTFOUND, "Its program was not found"},
    {CO_E_APPSINGLEUSE, "It runs already and cannot be started again"},
    {E_ACCESSDENIED, "Access was denied"},
    {E_OUTOFMEMORY, "Out of memory"},
    {DISP_E_UNKNOWNNAME, "The mail application does not have this member"},
    {DISP_E_MEMBERNOTFOUND, "The mail application does not have this member"},
    {DISP_E_TYPEMISMATCH, "The mail application expects a value of another type"},
    {DISP_E_PARAMNOTOPTIONAL, "The mail application expects another value"},
    {DISP_E_BADPARAMCOUNT, "The mail application expects another number of values"},
    {DISP_E_BADINDEX, "There is no object of this number"},
    {DISP_E_OVERFLOW, "A number is too large"},
};

template <std::size_t N>
const Known* find(const Known (&table)[N], HRESULT result) {
  for (const Known& known : table) {
    if (known.result == result) {
      return &known;
    }
  }
  return nullptr;
}

std::string placeOf(HRESULT result, std::string_view member) {
  char code[16];
  std::snprintf(code, sizeof code, "%08lX", static_cast<unsigned long>(result));
  return " (" + std::string(member) + ", error " + code + ")";
}

// An error of the form of a call is none that the application's state could cause.
bool mayHideRefusal(HRESULT result) {
  return result == DISP_E_EXCEPTION || HRESULT_FACILITY(result) != FACILITY_DISPATCH;
}

void freeTexts(EXCEPINFO& info) {
  SysFreeString(info.bstrSource);
  SysFreeString(info.bstrDescription);
  SysFreeString(info.bstrHelpFile);
  info = {};
}

}  // namespace

bool meansGone(HRESULT result) {
  return find(kGone, result) != nullptr;
}

bool meansBusy(HRESULT result) {
  return find(kBusy, result) != nullptr;
}

std::string sentenceFor(HRESULT result, std::string_view member) {
  const std::string where = placeOf(result, member);
  if (const Known* known = find(kGone, result)) {
    return known->sentence + where;
  }
  if (const Known* known = find(kBusy, result)) {
    return known->sentence + where;
  }
  if (const Known* known = find(kOthers, result)) {
    return known->sentence + where;
  }
  return "The mail application reported an error without a text" + where;
}

HRESULT Server::call(const std::function<HRESULT()>& attempt) {
  requireAlive();
  HRESULT result = attempt();
  // The refused call was not begun, so it can be made again, whatever it does.
  for (int tries = 1; meansBusy(result) && mayWait_ && tries < kAttempts; ++tries) {
    pause_(kPauseWhileBusy);
    result = attempt();
  }
  mayWait_ = !meansBusy(result);
  if (meansGone(result)) {
    lose(result);
  }
  return result;
}

HRESULT Server::create(const std::function<HRESULT()>& attempt) {
  const bool mightWait = mayWait_;
  const HRESULT result = call(attempt);
  mayWait_ = mayWait_ && mightWait;
  return result;
}

HRESULT Server::ask(std::string_view step, const std::function<HRESULT()>& attempt) {
  const HRESULT result = call(attempt);
  if (meansGone(result) || meansBusy(result)) {
    fail(result, step);
  }
  return result;
}

void Server::requireAlive() const {
  if (goneWith_) {
    throw MailStoreError(sentenceFor(*goneWith_, "an earlier call"), *goneWith_);
  }
}

void Server::lose(HRESULT result) {
  if (!goneWith_) {
    goneWith_ = result;
  }
}

void Server::noteFailure(HRESULT result) {
  if (mayHideRefusal(result)) {
    mayWait_ = false;
  }
}

void Server::fail(HRESULT result, EXCEPINFO& info, std::string_view member) {
  // A server may leave the texts to be filled in when somebody wants them.
  if (result == DISP_E_EXCEPTION && info.pfnDeferredFillIn != nullptr) {
    info.pfnDeferredFillIn(&info);
  }
  HRESULT code = result;
  if (result == DISP_E_EXCEPTION) {
    // A server gives one of the two; the short one is a number of its own.
    code = info.scode != 0 ? info.scode : info.wCode != 0 ? HRESULT{info.wCode} : result;
  }
  noteFailure(result);
  std::string text = fromAutomationText(info.bstrDescription);
  const std::string source = fromAutomationText(info.bstrSource);
  freeTexts(info);
  if (meansGone(code)) {
    lose(code);
  }
  if (text.empty()) {
    text = sentenceFor(code, member);
    if (!source.empty()) {
      text = source + ": " + text;
    }
  } else if (!source.empty()) {
    note_(source + ": " + text + placeOf(code, member));
  }
  throw MailStoreError(text, code, source);
}

void Server::fail(HRESULT result, std::string_view member) {
  noteFailure(result);
  throw MailStoreError(sentenceFor(result, member), result);
}

std::shared_ptr<ClassMembers> Server::classNamed(const std::string& name) {
  std::shared_ptr<ClassMembers>& members = classes_[name];
  if (!members) {
    members = std::make_shared<ClassMembers>();
    members->name = name;
  }
  return members;
}

std::shared_ptr<ClassMembers> Server::classOf(IDispatch& object) {
  ComPtr<ITypeInfo> type;
  const HRESULT result =
      ask("GetTypeInfo", [&] { return object.GetTypeInfo(0, LOCALE_USER_DEFAULT, type.out()); });
  if (SUCCEEDED(result) && type) {
    // The same class mostly has the same type information, which saves asking for its name.
    for (const KnownType& known : types_) {
      if (known.type.get() == type.get()) {
        return known.members;
      }
    }
    const std::string name = nameOf(object, *type.get());
    if (!name.empty()) {
      auto members = classNamed(name);
      if (types_.size() < kMostTypes) {
        types_.push_back({type, members});
      }
      return members;
    }
  }
  // Objects of different classes are all called so; nothing can be shared between them.
  auto members = std::make_shared<ClassMembers>();
  members->name = "Object";
  members->shared = false;
  return members;
}

std::string Server::nameOf(IDispatch& object, ITypeInfo& type) {
  std::string name = documentedName(type);
  // The type information is that of the default interface. Its name is that of the class with a "_"
  // before it, or any other, and then the object may tell its class.
  if (name.starts_with('_')) {
    return name.substr(1);
  }
  ComPtr<ITypeInfo> classType;
  const auto teller = interfaceOf<IProvideClassInfo>(object, IID_IProvideClassInfo);
  if (teller &&
      SUCCEEDED(ask("GetClassInfo", [&] { return teller->GetClassInfo(classType.out()); })) &&
      classType) {
    if (std::string told = documentedName(*classType.get()); !told.empty()) {
      return told;
    }
  }
  return name;
}

std::string Server::documentedName(ITypeInfo& type) {
  BSTR text = nullptr;
  ask("GetDocumentation",
      [&] { return type.GetDocumentation(MEMBERID_NIL, &text, nullptr, nullptr, nullptr); });
  std::string name = fromAutomationText(text);
  SysFreeString(text);
  return name;
}

}  // namespace relaybird::outlook
