// SPDX-License-Identifier: MIT
// The double as a program of its own, as the mail application is one:
//
// - outlook_double /regserver [FOLDER] writes the registry; started later, keeps the mailbox in the
//   folder
// - outlook_double /unregserver
// - outlook_double /stay [FOLDER] runs until a command or a signal ends it
// - outlook_double -Embedding, as COM starts it, runs while a client holds an object
#include <windows.h>

#include <objbase.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "outlook_double/class_objects.h"
#include "outlook_double/dispatch_object.h"
#include "outlook_double/double_world.h"
#include "outlook_double/lasting_stubs.h"
#include "outlook_double/objects.h"

namespace {

using namespace relaybird::outlook_double;

std::vector<std::wstring> arguments() {
  int count = 0;
  LPWSTR* const all = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::wstring> words(all + 1, all + count);
  LocalFree(all);
  return words;
}

std::wstring quoted(const std::wstring& word) {
  return L"\"" + word + L"\"";
}

int registerSelf(const std::wstring& folder) {
  wchar_t file[MAX_PATH];
  GetModuleFileNameW(nullptr, file, MAX_PATH);
  std::wstring command = quoted(file);
  if (!folder.empty()) {
    command += L" " + quoted(folder);
  }
  return registerClasses(ServerKind::kProgram, command) ? 0 : 1;
}

// As COM and other programs find this one.
class Announcement {
 public:
  explicit Announcement(IDispatch& application) {
    RegisterActiveObject(&application, doubleClasses().front().clsid, ACTIVEOBJECT_WEAK, &active_);
  }
  Announcement(const Announcement&) = delete;
  Announcement& operator=(const Announcement&) = delete;
  ~Announcement() { revoke(); }

  bool complete() const { return classes_.complete(); }
  bool revoked() const { return revoked_; }
  void revoke() {
    if (!std::exchange(revoked_, true)) {
      classes_.revoke();
      RevokeActiveObject(active_, nullptr);
    }
  }

 private:
  ClassObjects classes_ = ClassObjects::forOthers();
  DWORD active_ = 0;
  bool revoked_ = false;
};

// Ends the process at once. ExitProcess stops the other threads wherever they are and has every
// library clean up after that, where COM's may wait for ever for what one of them held; the clients
// would wait with it.
[[noreturn]] void leave(UINT status) {
  std::fflush(nullptr);
  TerminateProcess(GetCurrentProcess(), status);
  std::abort();
}

// For how long a program that nobody holds goes on: clients come and go in quick succession.
constexpr UINT kLinger = 3000;
UINT_PTR timer = 0;

void lingerFrom() {
  timer = SetTimer(nullptr, timer, kLinger, nullptr);
}

// Serves the clients until they have been away for a while.
void serveClients(Announcement& announcement) {
  for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
    const bool waited = message.message == WM_TIMER && message.hwnd == nullptr;
    if (!waited || liveObjects() > 1) {  // more than the application's own object
      DispatchMessageW(&message);
    } else if (announcement.revoked()) {
      return;
    } else {
      // COM may have sent a client here a moment ago. It is served; the next one gets a new
      // program.
      announcement.revoke();
      lingerFrom();
    }
  }
}

int serve(bool stay, const std::wstring& folder) {
  auto& world = DoubleWorld::only();
  if (!folder.empty()) {
    world.keepIn(toUtf8(folder));
  }
  const LastingStubs stubs;
  // Not watched: it does not keep the program running.
  const auto application = makeComponent(relaybird::prog_id::kApplication);
  watchObjects([stay](bool) {
    if (!stay) {
      lingerFrom();
    }
  });
  Announcement announcement(*application.get());
  // In the middle of a call: nothing is answered, released or written. The system itself would
  // forget the classes of a process that has died, but not every version of COM does.
  world.calls().die = [&announcement] {
    announcement.revoke();
    leave(3);
  };
  world.calls().clearCounts();
  if (stay && !folder.empty()) {
    std::ofstream(toUtf8(folder) + "\\ready");  // for whoever waits to talk to it
  }
  serveClients(announcement);
  leave(announcement.complete() && stubs.complete() ? 0 : 1);
}

int run() {
  const auto words = arguments();
  const std::wstring first = words.empty() ? L"" : words.front();
  const std::wstring second = words.size() > 1 ? words[1] : L"";
  if (first == L"/regserver") {
    return registerSelf(second);
  }
  if (first == L"/unregserver") {
    unregisterClasses();
    return 0;
  }
  if (first == L"/stay") {
    return serve(true, second);
  }
  // COM adds its own word after those of the registry.
  return serve(false, first == L"-Embedding" ? L"" : first);
}

}  // namespace

int main() {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int result = 1;
  try {
    result = run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "outlook_double: %s\n", error.what());
  }
  CoUninitialize();
  return result;
}
