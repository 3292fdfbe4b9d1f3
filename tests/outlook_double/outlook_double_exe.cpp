// SPDX-License-Identifier: MIT
// The double as a program of its own, as the mail application is one:
//
//   outlook_double /regserver [FOLDER]   writes the registry; started later, keeps the mailbox in
//   the folder outlook_double /unregserver outlook_double /stay [FOLDER]        runs until a
//   command or a signal ends it outlook_double -Embedding            as COM starts it: runs while a
//   client holds an object
#include <windows.h>

#include <objbase.h>
#include <shellapi.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "outlook_double/class_objects.h"
#include "outlook_double/dispatch_object.h"
#include "outlook_double/double_world.h"
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

// For how long a program that nobody holds goes on.
constexpr UINT kLinger = 3000;
UINT_PTR timer = 0;

int serve(bool stay, const std::wstring& folder) {
  auto& world = DoubleWorld::only();
  if (!folder.empty()) {
    world.keepIn(toUtf8(folder));
  }
  // In the middle of a call: nothing is answered, released or written.
  world.calls().die = [] { ExitProcess(3); };
  // Not watched: it does not keep the program running.
  const auto application = makeComponent(relaybird::prog_id::kApplication);
  watchObjects([stay](bool) {
    if (!stay) {
      // Not at once: clients come and go in quick succession, and COM goes on sending them here.
      timer = SetTimer(nullptr, timer, kLinger, nullptr);
    }
  });
  const auto classes = ClassObjects::forOthers();
  DWORD active = 0;
  RegisterActiveObject(application.get(), doubleClasses().front().clsid, ACTIVEOBJECT_WEAK,
                       &active);
  world.calls().clearCounts();
  if (stay && !folder.empty()) {
    std::ofstream(toUtf8(folder) + "\\ready");  // for whoever waits to talk to it
  }
  for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) {
    if (message.message == WM_TIMER && message.hwnd == nullptr && liveObjects() <= 1) {
      break;  // only the application's own object is left
    }
    DispatchMessageW(&message);
  }
  RevokeActiveObject(active, nullptr);
  watchObjects(nullptr);
  return classes.complete() ? 0 : 1;
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
