// SPDX-License-Identifier: MIT
// What all objects of one mail application share: what is known of their classes, and whether the
// application is still there.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/outlook/com_pointer.h"

namespace relaybird::outlook {

/// Whether a call's result says that the application has ended or cannot be reached any more.
bool meansGone(HRESULT result);
/// Whether it says that the application has refused the call for the moment.
bool meansBusy(HRESULT result);
/// A plain sentence for a result without a text of its own. `member` is the name that was called,
/// or a few words for another step.
std::string sentenceFor(HRESULT result, std::string_view member);

/// The member names of one class of objects.
struct ClassMembers {
  std::string name;  ///< "MailItem"; "Object" where the class does not tell
  /// DISPID_UNKNOWN for a name that the class does not have.
  std::map<std::wstring, DISPID, std::less<>> identifiers;
  /// By member: the other way of putting an object is taken, because the usual one is not known.
  std::map<std::wstring, bool, std::less<>> putPlainly;
  /// Whether other objects use this record too.
  bool shared = true;
};

/// User-interface thread only. Objects hold it, so it outlives them.
class Server {
 public:
  using Pause = std::function<void(std::chrono::milliseconds)>;
  using Note = std::function<void(const std::string& line)>;

  /// `pause` waits a little before a call is made again that a busy application has refused.
  /// `lasting` is held until the last object is gone. `note` takes lines for the verbose log.
  explicit Server(
      Pause pause, std::shared_ptr<void> lasting = {}, Note note = [](const std::string&) {})
      : lasting_(std::move(lasting)), pause_(std::move(pause)), note_(std::move(note)) {}

  /// Makes the call, and makes it again for some seconds while the application is busy; not where
  /// an earlier call has waited in vain, or failed with an error that may hide a refusal, and none
  /// was taken since. Returns the last result. A result that means that the application is gone is
  /// remembered.
  HRESULT call(const std::function<HRESULT()>& attempt);
  /// The same for a call that makes an object, which tells nothing of the application: many are
  /// made in this process. So it does not end the state in which refused calls are not made again.
  HRESULT create(const std::function<HRESULT()>& attempt);
  /// As call(), for a step that may fail for the caller: throws MailStoreError where the
  /// application is gone or stays busy, and returns every other result. `step` is named in the
  /// error.
  HRESULT ask(std::string_view step, const std::function<HRESULT()>& attempt);
  /// The object's interface of that identifier, by ask(); none where it has no such interface.
  template <class T>
  ComPtr<T> interfaceOf(IUnknown& object, REFIID identifier) {
    ComPtr<T> found;
    ask("QueryInterface", [&] {
      void* out = nullptr;
      const HRESULT result = object.QueryInterface(identifier, &out);
      *found.out() = static_cast<T*>(out);
      return result;
    });
    return found;
  }
  /// Throws MailStoreError where the application is known to be gone: a call would only wait for
  /// what does not come.
  void requireAlive() const;
  /// Remembers that the application is gone.
  void lose(HRESULT result);
  bool gone() const { return goneWith_.has_value(); }
  /// Throws MailStoreError with the text of `info`, which it frees, or a sentence for `result`. A
  /// text is the error's as it stands; whose it is, the application's or the library's, is noted.
  [[noreturn]] void fail(HRESULT result, EXCEPINFO& info, std::string_view member);
  [[noreturn]] void fail(HRESULT result, std::string_view member);

  /// The record of the class of that name, made at first use. The caller knows that all objects
  /// that it uses the name for are of one class.
  std::shared_ptr<ClassMembers> classNamed(const std::string& name);
  /// The record of the object's class, by its type information, whose name loses one "_" at its
  /// beginning, or by what the object itself tells; a record of its own for an object without. This
  /// is the dearest call of all.
  std::shared_ptr<ClassMembers> classOf(IDispatch& object);

 private:
  struct KnownType {
    ComPtr<ITypeInfo> type;
    std::shared_ptr<ClassMembers> members;
  };

  void noteFailure(HRESULT result);
  std::string nameOf(IDispatch& object, ITypeInfo& type);
  std::string documentedName(ITypeInfo& type);

  std::shared_ptr<void> lasting_;  ///< above what it must outlive
  Pause pause_;
  Note note_;
  std::optional<HRESULT> goneWith_;
  bool mayWait_ = true;  ///< if the application refuses the next call
  std::map<std::string, std::shared_ptr<ClassMembers>, std::less<>> classes_;
  std::vector<KnownType> types_;
};

}  // namespace relaybird::outlook
