// SPDX-License-Identifier: MIT
// The double's classes, as COM finds them: by identifiers in the registry, or registered with the
// process.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// Identifier of the object that takes a test's commands (commands.h).
inline constexpr std::string_view kControl = "MailDouble.Control";

struct DoubleClass {
  std::string_view progId;
  CLSID clsid;
};

/// Every class but the scripting runtime's dictionary, which the system itself has.
const std::vector<DoubleClass>& doubleClasses();

/// The factory of a class; null for a class that is not the double's. The dictionary's class,
/// whatever the system calls it, has one too.
ComRef<IClassFactory> factoryOf(REFCLSID clsid);

/// References that clients hold on factories, with LockServer, beside those on objects.
long factoryLocks();

/// How the registry says where the classes are.
enum class ServerKind { kLibrary, kProgram };

/// Registers all classes for the machine, in place of what was registered: `command` is the
/// library's file, or the program's command line. False where the registry cannot be written.
/// `lasting` keys stay when the session ends.
bool registerClasses(ServerKind kind, const std::wstring& command, bool lasting = true);
void unregisterClasses();
/// The same for one class that is registered already, beside what is there.
bool addServer(const DoubleClass& one, ServerKind kind, const std::wstring& command,
               bool lasting = true);
bool hasServer(const DoubleClass& one, ServerKind kind);
/// Takes away the one identifier, as if its component had not been installed.
void unregisterIdentifier(std::string_view progId);

/// While one lives, this process makes the double's objects itself. COM must
/// have been initialised on this thread. The registry then needs the identifiers alone, which this
/// writes too where they are missing.
class ClassObjects {
 public:
  /// All classes for clients of this process, the dictionary included.
  ClassObjects();
  /// All classes but the dictionary for clients of other processes.
  static ClassObjects forOthers() { return {doubleClasses(), CLSCTX_LOCAL_SERVER}; }
  /// The dictionary alone, for clients of this process.
  static ClassObjects dictionary();
  ClassObjects(const ClassObjects&) = delete;
  ClassObjects& operator=(const ClassObjects&) = delete;
  ~ClassObjects() { revoke(); }
  /// COM sends no further client here. Those that it has sent may still be on their way.
  void revoke();
  /// Whether every class could be registered.
  bool complete() const { return complete_; }

 private:
  ClassObjects(const std::vector<DoubleClass>& classes, DWORD context);

  std::vector<DWORD> registered_;
  bool complete_ = true;
};

}  // namespace relaybird::outlook_double
